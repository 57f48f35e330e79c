// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"
#include "base/TextPosition.h"
#include "base/TextSummary.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace penmark {

class TextEdit;

namespace detail {
class TextNode;
class PieceCollector;

/// Shares a node of the tree; the last one deletes it. Counting is atomic, so nodes can be shared between threads.
class TextNodePointer {
public:
    TextNodePointer() noexcept = default;
    explicit TextNodePointer(const TextNode* adopted) noexcept : node_(adopted) {}
    TextNodePointer(const TextNodePointer& other) noexcept;
    TextNodePointer(TextNodePointer&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
    TextNodePointer& operator=(TextNodePointer other) noexcept
    {
        std::swap(node_, other.node_);
        return *this;
    }
    ~TextNodePointer();

    const TextNode* get() const noexcept { return node_; }
    const TextNode* operator->() const noexcept { return node_; }
    const TextNode& operator*() const noexcept { return *node_; }
    explicit operator bool() const noexcept { return node_ != nullptr; }

private:
    const TextNode* node_ = nullptr;
};
}  // namespace detail

/// Where a line stands. A line ends at LF, CR LF, CR or the end of the text; U+2028 is an ordinary character.
struct TextLine {
    LineNumber number;
    Utf8Offset start;
    Utf8Offset end;   ///< before its line end
    Utf8Offset next;  ///< behind its line end: the start of the next line, or the end of the text

    Utf8Range content() const { return {start, end}; }
    Utf8Range whole() const { return {start, next}; }
};

/// How the lines of a text end.
struct LineEndCounts {
    std::size_t lf = 0;
    std::size_t crlf = 0;
    std::size_t cr = 0;

    friend bool operator==(const LineEndCounts&, const LineEndCounts&) = default;
};

/// A text that never changes: valid UTF-8 in a balanced tree of pieces, whose nodes count bytes, UTF-16 units and line
/// ends. An edit makes another snapshot that shares all but the touched pieces.
///
/// Copying, moving and dropping one is free; it can be read from any thread while other copies of it are edited.
/// Look-ups and conversions take O(log n), about a microsecond in 1 GB. Offsets behind the end are taken as the end;
/// offsets inside a character are the caller's mistake unless a function says otherwise.
class TextSnapshot {
public:
    TextSnapshot() noexcept = default;
    /// A copy of valid UTF-8.
    explicit TextSnapshot(std::string_view utf8);
    /// Takes the string over without a copy if it is large. The text must be valid UTF-8.
    explicit TextSnapshot(std::string&& utf8);
    /// Refers to valid UTF-8 that `owner` keeps alive and unchanged; counts it on all cores.
    TextSnapshot(std::shared_ptr<const void> owner, std::string_view utf8);

    bool empty() const noexcept { return !root_; }
    Utf8Offset end() const noexcept { return Utf8Offset(summary().bytes); }
    Utf16Offset utf16End() const noexcept { return Utf16Offset(summary().utf16Units); }
    /// At least 1: a text that ends in a line end has an empty last line.
    std::size_t lineCount() const noexcept { return summary().lineEnds() + 1; }
    LineEndCounts lineEnds() const noexcept;

    Utf16Offset toUtf16(Utf8Offset offset) const;
    Utf16Range toUtf16(Utf8Range range) const { return {toUtf16(range.start), toUtf16(range.end)}; }
    /// Within a surrogate pair: where the pair begins.
    Utf8Offset toUtf8(Utf16Offset offset) const;
    Utf8Range toUtf8(Utf16Range range) const { return {toUtf8(range.start), toUtf8(range.end)}; }

    /// The line that contains the offset; between CR and LF, the line that they end.
    LineNumber lineAt(Utf8Offset offset) const;
    Utf8Offset lineStart(LineNumber line) const;  ///< the end of the text if there are not as many lines
    TextLine line(LineNumber line) const;         ///< the last line if there are not as many
    /// The line that follows, found faster than by its number; the same one for the last.
    TextLine lineAfter(const TextLine& line) const;
    TextLine lineContaining(Utf8Offset offset) const { return line(lineAt(offset)); }

    std::string text() const;
    std::string text(Utf8Range range) const;
    void append(std::string& to, Utf8Range range) const;

    /// The byte at the offset, '\0' at the end.
    char at(Utf8Offset offset) const;
    /// The character that begins at the offset, U+FFFF (a noncharacter) at the end.
    char32_t characterAt(Utf8Offset offset) const;
    /// The character that ends at the offset, U+FFFF at the start.
    char32_t characterBefore(Utf8Offset offset) const;
    /// The start of the character that contains the offset: itself unless it is inside of one.
    Utf8Offset characterStart(Utf8Offset offset) const;

    /// Calls with one adjoining piece after another until it returns false; returns whether it never did. Pieces are
    /// cut at characters, save where the range itself begins or ends inside of one, and valid while the snapshot lives.
    bool forEachPiece(Utf8Range range, FunctionRef<bool(std::string_view piece)> call) const;
    /// The piece that contains the offset (at the end: the last one) and where it starts. Empty for an empty text.
    std::pair<Utf8Offset, std::string_view> pieceAt(Utf8Offset offset) const;

    /// That part as a text of its own, which shares the pieces.
    TextSnapshot slice(Utf8Range range) const;
    /// The edited text. O(k log n) for k replacements near one another or far apart.
    TextSnapshot apply(const TextEdit& edit) const;

    /// Same text, however it is cut. At once if both stem from the same snapshot without an edit.
    friend bool operator==(const TextSnapshot& left, const TextSnapshot& right);
    /// Whether both are the same by sharing, without looking at the text.
    bool isSameAs(const TextSnapshot& other) const noexcept { return root_.get() == other.root_.get(); }

    /// Bytes of memory for the tree itself, without the texts that its pieces refer to; walks the whole tree.
    std::size_t treeBytes() const;
    /// Throws std::logic_error if the tree is not as it must be; walks the whole text. For tests.
    void checkInvariants() const;

private:
    friend class TextBuilder;

    explicit TextSnapshot(detail::TextNodePointer root) noexcept : root_(std::move(root)) {}
    const TextSummary& summary() const noexcept;
    TextLine lineFrom(LineNumber number, Utf8Offset start) const;

    detail::TextNodePointer root_;  // none for the empty text
};

/// Puts a text together from parts of others, which it shares where they are large.
class TextBuilder {
public:
    TextBuilder();
    ~TextBuilder();

    void append(std::string_view utf8);
    void append(const TextSnapshot& text, Utf8Range range);
    TextSnapshot build() &&;

private:
    std::unique_ptr<detail::PieceCollector> pieces_;
};

/// Walks a snapshot by characters in either direction; a step costs a few nanoseconds. The snapshot must outlive it.
class TextReader {
public:
    static constexpr char32_t none = 0xFFFF;  ///< a noncharacter; what is read beyond either end

    explicit TextReader(const TextSnapshot& text, Utf8Offset position = {});

    Utf8Offset position() const { return pieceStart_ + at_; }
    void seek(Utf8Offset position);

    char32_t next();      ///< the character at the position, which moves behind it
    char32_t previous();  ///< the character before the position, which moves before it
    char32_t peekNext();
    char32_t peekPrevious();

private:
    void loadAt(Utf8Offset position);

    const TextSnapshot* text_;
    Utf8Offset pieceStart_;
    std::string_view piece_;
    std::size_t at_ = 0;  // in the piece
};

}  // namespace penmark
