// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Console.h"

#include "base/SystemError.h"
#include "cli/DisplayText.h"
#include "cli/Interruption.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace penmark::cli {

namespace {

constexpr std::size_t bufferSize = 65'536;
constexpr std::size_t surelyTaken = PIPE_BUF;  // bytes, by a pipe that has room at all
constexpr std::size_t widestField = 44;        // columns; an identifier takes 36
constexpr auto progressInterval = std::chrono::milliseconds(100);
constexpr auto firstProgress = std::chrono::milliseconds(300);

bool understandsEscapes()
{
    const char* terminal = std::getenv("TERM");
    return terminal != nullptr && std::string_view(terminal) != "dumb";
}

std::string_view escapeFor(Colour colour)
{
    switch (colour) {
    case Colour::plain:
        return "\x1b[m";
    case Colour::red:
        return "\x1b[31m";
    case Colour::green:
        return "\x1b[32m";
    case Colour::cyan:
        return "\x1b[36m";
    case Colour::magenta:
        return "\x1b[35m";
    case Colour::boldRed:
        return "\x1b[1;31m";
    }
    return {};
}

bool wantsColours()
{
    const char* refused = std::getenv("NO_COLOR");
    return refused == nullptr || *refused == '\0';
}

// Standard error is the last resort: if it cannot be written to, there is nobody to tell.
void writeError(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t put = ::write(STDERR_FILENO, bytes.data(), bytes.size());
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return;
        bytes.remove_prefix(static_cast<std::size_t>(put));
    }
}

// A signal that comes just before a write that blocks would not end it, so nothing is written that might block.
void waitForRoom()
{
    constexpr int moment = 20;  // milliseconds
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    while (poll(&output, 1, moment) <= 0)
        stopIfInterrupted();
}

}  // namespace

Console::Console()
    : isOutputTerminal_(isatty(STDOUT_FILENO) == 1), showsProgress_(isatty(STDERR_FILENO) == 1 && understandsEscapes()),
      showsColours_(isOutputTerminal_ && understandsEscapes() && wantsColours()),
      nextProgress_(std::chrono::steady_clock::now() + firstProgress)
{}

void Console::print(std::string_view bytes)
{
    if (pending_.size() + bytes.size() > bufferSize) {
        flush();
        if (bytes.size() > bufferSize) {
            writeOut(bytes);
            return;
        }
    }
    pending_ += bytes;
}

void Console::printLine(std::string_view text)
{
    print(isOutputTerminal_ ? printable(text) : std::string(text));
    print("\n");
}

void Console::printTextLine(std::string_view line, Colour colour)
{
    printTextLine(std::array{ColouredText{line, colour}});
}

void Console::printTextLine(std::span<const ColouredText> parts)
{
    for (const auto& [text, colour] : parts) {
        const bool isColoured = showsColours_ && colour != Colour::plain && !text.empty();
        if (isColoured)
            print(escapeFor(colour));
        if (isOutputTerminal_)
            print(printableLine(text));
        else
            print(text);
        if (isColoured)
            print("\x1b[m");
    }
    print("\n");
}

void Console::printRecord(std::string_view json)
{
    // Line breaks in a JSON text are blanks between its parts, and here a record is one line.
    std::string line = isOutputTerminal_ ? printableJson(json) : std::string(json);
    std::replace(line.begin(), line.end(), '\n', ' ');
    print(line);
    print("\n");
}

void Console::printTable(const std::vector<Row>& rows, const std::vector<std::size_t>& rightAligned)
{
    if (!isOutputTerminal_) {
        for (const Row& row : rows) {
            std::string line;
            for (std::size_t column = 0; column < row.size(); ++column)
                line.append(column > 0 ? "\t" : "").append(escapedField(row[column]));
            print(line += '\n');
        }
        return;
    }

    std::vector<Row> shown = rows;
    std::vector<std::size_t> widths;
    for (Row& row : shown) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column) {
            row[column] = escapedField(row[column]);
            if (column + 1 < row.size())
                row[column] = shortened(row[column], widestField);
            widths[column] = std::max(widths[column], displayWidth(row[column]));
        }
    }
    for (const Row& row : shown) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            const std::string blanks(widths[column] - displayWidth(row[column]), ' ');
            const bool isRight = std::find(rightAligned.begin(), rightAligned.end(), column) != rightAligned.end();
            line.append(column > 0 ? "  " : "").append(isRight ? blanks : "").append(row[column]);
            line.append(isRight ? "" : blanks);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        print(line += '\n');
    }
}

void Console::flush()
{
    if (pending_.empty())
        return;
    if (isOutputTerminal_)
        endProgress();
    std::string bytes;
    bytes.swap(pending_);
    writeOut(bytes);
}

void Console::writeOut(std::string_view bytes)
{
    for (std::size_t written = 0; !bytes.empty();) {
        waitForRoom();
        const ssize_t put = ::write(STDOUT_FILENO, bytes.data(), std::min(bytes.size(), surelyTaken));
        if (put >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(put));
            written += static_cast<std::size_t>(put);
            if (!bytes.empty() && written >= bufferSize)
                stopIfInterrupted();
        } else if (errno == EINTR) {
            stopIfInterrupted();
        } else if (errno == EPIPE) {
            throw OutputClosed();
        } else if (errno != EAGAIN) {  // some programs leave what they shared with us in non-blocking mode
            throw SystemError(errno, "standard output");
        }
    }
}

void Console::say(std::string_view message)
{
    message = message.substr(0, message.find_last_not_of("\r\n") + 1);  // what other programs say ends in one
    sayPlainly("penmarkctl: " + std::string(message));
}

void Console::sayPlainly(std::string_view line)
{
    endProgress();
    writeError(printable(line) + "\n");
}

void Console::progress(std::size_t done, std::size_t total, std::string_view what)
{
    const auto now = std::chrono::steady_clock::now();
    if (!showsProgress_ || now < nextProgress_ || total == 0)
        return;
    nextProgress_ = now + progressInterval;

    winsize size{};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    const std::size_t width = isKnown ? size.ws_col : 80;
    constexpr std::size_t barWidth = 20;
    const std::size_t filled = barWidth * std::min(done, total) / total;
    std::string line = "[" + std::string(filled, '#') + std::string(barWidth - filled, '.') + "] ";
    line += std::to_string(done) + "/" + std::to_string(total) + "  " + printable(what);
    writeError("\r" + shortened(line, width - 1) + "\x1b[K");
    progressDrawn_ = true;
}

void Console::endProgress()
{
    if (progressDrawn_)
        writeError("\r\x1b[K");
    progressDrawn_ = false;
}

}  // namespace penmark::cli
