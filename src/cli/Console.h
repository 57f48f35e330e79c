// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace penmark::cli {

/// Whoever reads standard output has gone away. No failure: nobody is left to be told.
struct OutputClosed {};

/// Of a line, or of a part of one, where colours are wanted.
enum class Colour { plain, red, green, cyan, magenta, boldRed };

/// A part of a line.
struct ColouredText {
    std::string_view text;
    Colour colour = Colour::plain;
};

/// Standard output, standard error and the progress line, which may all be the same terminal. One thread.
class Console {
public:
    Console();
    ~Console() { endProgress(); }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    bool isOutputTerminal() const noexcept { return isOutputTerminal_; }

    /// Adds to standard output, byte for byte. Nothing is written at exit by itself: see flush.
    void print(std::string_view bytes);

    /// A line with a text: as it stands into a pipe or a file, printable on a terminal.
    void printLine(std::string_view text);

    /// A line of a document's text. On a terminal tabs stay, what else could steer it is made printable, and the line
    /// has the colour, unless NO_COLOR is set or the terminal knows none.
    void printTextLine(std::string_view line, Colour colour);

    /// The same of parts with colours of their own.
    void printTextLine(std::span<const ColouredText> parts);

    /// A stored record on a line of its own: the bytes as they are kept.
    void printRecord(std::string_view json);

    using Row = std::vector<std::string>;

    /// Rows of equally many fields. Separated by tabs, or on a terminal aligned, with `rightAligned` naming columns of
    /// numbers and fields but the last cut at some width.
    void printTable(const std::vector<Row>& rows, const std::vector<std::size_t>& rightAligned = {});

    /// Hands everything printed to the system. Throws SystemError if that fails, OutputClosed if nobody reads it, and
    /// Cancelled if a signal waits while the output is blocked.
    void flush();

    /// "penmarkctl: " and the message as a line on standard error.
    void say(std::string_view message);

    /// The same without the program's name.
    void sayPlainly(std::string_view line);

    /// Draws how far the work is, if standard error is a terminal: at most every 100 ms, and not in its first moments.
    void progress(std::size_t done, std::size_t total, std::string_view what);
    void endProgress();

private:
    void writeOut(std::string_view bytes);

    bool isOutputTerminal_;
    bool showsProgress_;
    bool showsColours_;
    bool progressDrawn_ = false;
    std::chrono::steady_clock::time_point nextProgress_;
    std::string pending_;
};

}  // namespace penmark::cli
