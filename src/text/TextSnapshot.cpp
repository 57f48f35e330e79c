// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/TextSnapshot.h"

#include "text/TextEdit.h"
#include "text/TextNode.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <stdexcept>

namespace penmark {

using detail::asInner;
using detail::asLeaf;
using detail::PieceCollector;
using detail::TextInner;
using detail::TextLeaf;
using detail::TextNode;
using detail::TextNodePointer;

namespace {

bool continuesCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

char32_t decode(const char* at)
{
    const auto byte = [at](int index) { return static_cast<unsigned char>(at[index]); };
    const auto rest = [&](int index) { return static_cast<char32_t>(byte(index) & 0x3F); };
    const char32_t first = byte(0);
    if (first < 0x80)
        return first;
    if (first < 0xE0)
        return (first & 0x1F) << 6 | rest(1);
    if (first < 0xF0)
        return (first & 0x0F) << 12 | rest(1) << 6 | rest(2);
    return (first & 0x07) << 18 | rest(1) << 12 | rest(2) << 6 | rest(3);
}

std::size_t characterBytes(char first)
{
    const auto byte = static_cast<unsigned char>(first);
    return byte < 0x80 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

/// A leaf and what stands before it.
struct LeafPlace {
    const TextLeaf* leaf;
    std::size_t start;
};

// At a border, the leaf behind it; at the end of the text, the last one.
LeafPlace leafAt(const TextNode& root, std::size_t offset)
{
    const TextNode* node = &root;
    std::size_t start = 0;
    while (node->height) {
        const TextInner& inner = asInner(*node);
        std::size_t index = 0;
        while (index + 1 < inner.count && offset - start >= inner.children[index]->summary.bytes)
            start += inner.children[index++]->summary.bytes;
        node = inner.children[index].get();
    }
    return {&asLeaf(*node), start};
}

/// What is counted before a byte.
TextSummary summaryBefore(const TextNode& root, std::size_t offset)
{
    TextSummary before;
    const TextNode* node = &root;
    while (node->height) {
        const TextInner& inner = asInner(*node);
        std::size_t index = 0;
        while (index + 1 < inner.count && offset - before.bytes >= inner.children[index]->summary.bytes)
            before += inner.children[index++]->summary;
        node = inner.children[index].get();
    }
    const std::string_view text = asLeaf(*node).text();
    return before += summarize(text.substr(0, offset - before.bytes));
}

// Behind the n-th line feed of the text, which has as many; n counts from 1.
std::size_t behindLineFeed(std::string_view text, std::size_t n)
{
    constexpr std::size_t stride = 512;
    std::size_t at = 0;
    while (text.size() - at > stride) {
        const std::size_t found = countByte(text.substr(at, stride), '\n');
        if (found >= n)
            break;
        n -= found;
        at += stride;
    }
    for (;; --n) {
        const void* found = std::memchr(text.data() + at, '\n', text.size() - at);
        assert(found);
        at = static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) + 1;
        if (n == 1)
            return at;
    }
}

// Where the n-th line end is complete, n at least 1 and not more than there are.
std::size_t behindLineEnd(const TextNode& root, std::size_t n)
{
    TextSummary before;
    bool lineFeedFollows = false;  // behind the node
    const TextNode* node = &root;
    while (node->height) {
        const TextInner& inner = asInner(*node);
        std::size_t index = 0;
        for (;; ++index) {
            const bool last = index + 1 == inner.count;
            const bool follows = last ? lineFeedFollows : inner.children[index + 1]->summary.startsWithLineFeed;
            const TextSummary after = before + inner.children[index]->summary;
            // A CR whose LF comes next does not end a line yet.
            if (last || after.lineEnds() - (after.endsWithCarriageReturn && follows ? 1 : 0) >= n) {
                lineFeedFollows = follows;
                break;
            }
            before = after;
        }
        node = inner.children[index].get();
    }
    const std::string_view text = asLeaf(*node).text();
    const TextSummary& counts = node->summary;
    std::size_t found = before.lineEnds() - (before.endsWithCarriageReturn && counts.startsWithLineFeed ? 1 : 0);
    if (counts.carriageReturns == counts.pairs)
        return before.bytes + behindLineFeed(text, n - found);
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool paired = at + 1 < text.size() ? text[at + 1] == '\n' : lineFeedFollows;
        if ((text[at] == '\n' || (text[at] == '\r' && !paired)) && ++found == n)
            return before.bytes + at + 1;
    }
    assert(false);
    return before.bytes + text.size();
}

}  // namespace

TextSnapshot::TextSnapshot(std::string_view utf8)
{
    PieceCollector pieces;
    pieces.copy(utf8);
    root_ = std::move(pieces).build();
}

TextSnapshot::TextSnapshot(std::string&& utf8)
{
    if (utf8.size() <= detail::ownPieceBytes) {
        *this = TextSnapshot(std::string_view(utf8));
        return;
    }
    const auto owner = std::make_shared<const std::string>(std::move(utf8));
    root_ = detail::treeOver(owner, *owner);
}

TextSnapshot::TextSnapshot(std::shared_ptr<const void> owner, std::string_view utf8)
    : root_(detail::treeOver(owner, utf8))
{}

const TextSummary& TextSnapshot::summary() const noexcept
{
    static const TextSummary none;
    return root_ ? root_->summary : none;
}

LineEndCounts TextSnapshot::lineEnds() const noexcept
{
    const TextSummary& counts = summary();
    return {counts.lineFeeds - counts.pairs, counts.pairs, counts.carriageReturns - counts.pairs};
}

Utf16Offset TextSnapshot::toUtf16(Utf8Offset offset) const
{
    if (offset >= end())
        return utf16End();
    return Utf16Offset(summaryBefore(*root_, offset.value).utf16Units);
}

Utf8Offset TextSnapshot::toUtf8(Utf16Offset offset) const
{
    if (offset >= utf16End())
        return end();
    const TextNode* node = root_.get();
    std::size_t bytes = 0;
    std::size_t units = 0;
    while (node->height) {
        const TextInner& inner = asInner(*node);
        std::size_t index = 0;
        for (; index + 1 < inner.count; ++index) {
            const TextSummary& counts = inner.children[index]->summary;
            if (offset.value - units < counts.utf16Units)
                break;
            units += counts.utf16Units;
            bytes += counts.bytes;
        }
        node = inner.children[index].get();
    }
    return Utf8Offset(bytes + byteOfUtf16Unit(asLeaf(*node).text(), offset.value - units));
}

LineNumber TextSnapshot::lineAt(Utf8Offset offset) const
{
    if (offset >= end())
        return LineNumber(summary().lineEnds());
    const TextSummary before = summaryBefore(*root_, offset.value);
    const bool insidePair = before.endsWithCarriageReturn && at(offset) == '\n';
    return LineNumber(before.lineEnds() - (insidePair ? 1 : 0));
}

Utf8Offset TextSnapshot::lineStart(LineNumber line) const
{
    if (line.value == 0)
        return Utf8Offset(0);
    if (line.value >= lineCount())
        return end();
    return Utf8Offset(behindLineEnd(*root_, line.value));
}

TextLine TextSnapshot::line(LineNumber number) const
{
    number = std::min(number, LineNumber(lineCount() - 1));
    return lineFrom(number, lineStart(number));
}

TextLine TextSnapshot::lineAfter(const TextLine& line) const
{
    return line.number.value + 1 < lineCount() ? lineFrom(line.number + 1, line.next) : line;
}

TextLine TextSnapshot::lineFrom(LineNumber number, Utf8Offset start) const
{
    TextLine line;
    line.number = number;
    line.start = start;
    // Most lines end soon in the piece that they begin in; others are left to the tree.
    constexpr std::size_t nearby = 1024;
    const auto [pieceStart, piece] = pieceAt(line.start);
    const std::string_view rest = piece.substr(line.start - pieceStart);
    const std::string_view near = rest.substr(0, nearby);
    std::size_t length = near.find('\n');
    if (length != near.npos) {
        const std::size_t carriageReturn = near.substr(0, length).find('\r');
        const bool pair = carriageReturn != near.npos && carriageReturn + 1 == length;
        if (carriageReturn != near.npos)
            length = carriageReturn;
        line.end = line.start + length;
        line.next = line.end + (pair ? 2 : 1);
        return line;
    }
    line.next = lineStart(line.number + 1);
    line.end = line.next;
    // The last line has no line end.
    if (line.number.value + 1 < lineCount()) {
        const bool pair = at(line.end - 1) == '\n' && line.end - line.start > 1 && at(line.end - 2) == '\r';
        line.end -= pair ? 2 : 1;
    }
    return line;
}

std::string TextSnapshot::text() const
{
    return text({Utf8Offset(0), end()});
}

std::string TextSnapshot::text(Utf8Range range) const
{
    std::string result;
    append(result, range);
    return result;
}

void TextSnapshot::append(std::string& to, Utf8Range range) const
{
    range.end = std::min(range.end, end());
    if (range.end <= range.start)
        return;
    to.reserve(to.size() + range.size());
    forEachPiece(range, [&](std::string_view piece) {
        to += piece;
        return true;
    });
}

char TextSnapshot::at(Utf8Offset offset) const
{
    if (offset >= end())
        return '\0';
    const LeafPlace place = leafAt(*root_, offset.value);
    return place.leaf->text()[offset.value - place.start];
}

char32_t TextSnapshot::characterAt(Utf8Offset offset) const
{
    if (offset >= end())
        return TextReader::none;
    const LeafPlace place = leafAt(*root_, offset.value);
    return decode(place.leaf->data + (offset.value - place.start));
}

char32_t TextSnapshot::characterBefore(Utf8Offset offset) const
{
    offset = std::min(offset, end());
    return offset.value ? characterAt(characterStart(offset - 1)) : TextReader::none;
}

Utf8Offset TextSnapshot::characterStart(Utf8Offset offset) const
{
    if (offset >= end())
        return end();
    const LeafPlace place = leafAt(*root_, offset.value);
    std::size_t at = offset.value - place.start;
    while (at && continuesCharacter(place.leaf->data[at]))
        --at;
    return Utf8Offset(place.start + at);
}

bool TextSnapshot::forEachPiece(Utf8Range range, FunctionRef<bool(std::string_view)> call) const
{
    range.end = std::min(range.end, end());
    if (range.end <= range.start)
        return true;
    return detail::forEachLeaf(*root_, range, [&](const TextLeaf& leaf, std::size_t from, std::size_t length) {
        return call(leaf.text().substr(from, length));
    });
}

std::pair<Utf8Offset, std::string_view> TextSnapshot::pieceAt(Utf8Offset offset) const
{
    if (!root_)
        return {};
    const LeafPlace place = leafAt(*root_, std::min(offset, end()).value);
    return {Utf8Offset(place.start), place.leaf->text()};
}

TextSnapshot TextSnapshot::slice(Utf8Range range) const
{
    TextBuilder builder;
    builder.append(*this, range);
    return std::move(builder).build();
}

TextSnapshot TextSnapshot::apply(const TextEdit& edit) const
{
    if (edit.empty())
        return *this;
    assert(edit.spanBefore().end <= end());
    return TextSnapshot(detail::replace(root_, edit.replacements(), edit.inserted().root_));
}

bool operator==(const TextSnapshot& left, const TextSnapshot& right)
{
    if (left.isSameAs(right))
        return true;
    if (left.end() != right.end())
        return false;
    Utf8Offset at;
    return left.forEachPiece({Utf8Offset(0), left.end()}, [&](std::string_view piece) {
        const Utf8Offset from = at;
        at += piece.size();
        return right.forEachPiece({from, at}, [&](std::string_view other) {
            const bool same = piece.substr(0, other.size()) == other;
            piece.remove_prefix(other.size());
            return same;
        });
    });
}

std::size_t TextSnapshot::treeBytes() const
{
    return root_ ? detail::treeBytes(*root_) : 0;
}

void TextSnapshot::checkInvariants() const
{
    if (root_)
        detail::checkTree(*root_, true);
}

TextBuilder::TextBuilder() : pieces_(std::make_unique<PieceCollector>()) {}
TextBuilder::~TextBuilder() = default;

void TextBuilder::append(std::string_view utf8)
{
    pieces_->copy(utf8);
}

void TextBuilder::append(const TextSnapshot& text, Utf8Range range)
{
    range.end = std::min(range.end, text.end());
    if (range.end <= range.start)
        return;
    detail::forEachLeaf(*text.root_, range, [&](const TextLeaf& leaf, std::size_t from, std::size_t length) {
        pieces_->share(leaf, from, length);
        return true;
    });
}

TextSnapshot TextBuilder::build() &&
{
    return TextSnapshot(std::move(*pieces_).build());
}

TextReader::TextReader(const TextSnapshot& text, Utf8Offset position) : text_(&text)
{
    seek(position);
}

void TextReader::seek(Utf8Offset position)
{
    position = std::min(position, text_->end());
    if (position >= pieceStart_ && position - pieceStart_ <= piece_.size() && !piece_.empty()) {
        at_ = position - pieceStart_;
        return;
    }
    loadAt(position);
}

void TextReader::loadAt(Utf8Offset position)
{
    std::tie(pieceStart_, piece_) = text_->pieceAt(position);
    at_ = position - pieceStart_;
}

char32_t TextReader::peekNext()
{
    if (at_ == piece_.size()) {
        if (position() >= text_->end())
            return none;
        loadAt(position());
    }
    return decode(piece_.data() + at_);
}

char32_t TextReader::next()
{
    const char32_t character = peekNext();
    if (at_ < piece_.size())
        at_ += characterBytes(piece_[at_]);
    return character;
}

char32_t TextReader::previous()
{
    if (at_ == 0) {
        if (pieceStart_.value == 0)
            return none;
        const Utf8Offset here = pieceStart_;
        std::tie(pieceStart_, piece_) = text_->pieceAt(here - 1);
        at_ = here - pieceStart_;
    }
    do
        --at_;
    while (continuesCharacter(piece_[at_]));
    return decode(piece_.data() + at_);
}

char32_t TextReader::peekPrevious()
{
    const Utf8Offset here = position();
    const char32_t character = previous();
    if (position() != here)  // the text may contain what stands for none
        at_ += characterBytes(piece_[at_]);
    return character;
}

}  // namespace penmark
