// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/LineBlock.h"

#include "app/editor/Colors.h"
#include "app/editor/Strings.h"
#include "base/TextSummary.h"
#include "text/Characters.h"
#include "text/TextSnapshot.h"
#include "text/highlight/ColorScheme.h"

#include <QGlyphRun>
#include <QPainter>
#include <QTextOption>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <utility>

namespace penmark {

namespace {

bool isRightToLeftUnit(char16_t unit)
{
    return (unit >= 0x0590 && unit <= 0x08FF) || (unit >= 0xFB1D && unit <= 0xFDFF) ||
           (unit >= 0xFE70 && unit <= 0xFEFE) || unit == 0x200F || unit == 0x202B || unit == 0x202E || unit == 0x2067 ||
           unit == 0xD802 || unit == 0xD803 || unit == 0xD83A || unit == 0xD83B;
}

// Controls get their pictures, and separators, which are no line ends here, must not break the line.
QString displayed(const std::string& utf8)
{
    QString text = toQString(utf8);
    for (qsizetype index = 0; index < text.size(); ++index) {
        const char16_t unit = text.at(index).unicode();
        if (unit >= 0x20 && unit < 0x7F)
            continue;
        if (unit < 0x20 && unit != '\t')
            text[index] = QChar(0x2400 + unit);
        else if (unit == 0x7F)
            text[index] = QChar(0x2421);
        else if (unit == 0x85 || unit == 0x2028 || unit == 0x2029)
            text[index] = QChar(0x2424);
    }
    return text;
}

}  // namespace

LineBlock::LineBlock(std::string utf8, Direction direction)
    : utf8_(std::move(utf8)), ascii_(std::all_of(utf8_.begin(), utf8_.end(), [](char byte) { return byte >= 0; })),
      mixed_(false), direction_(direction)
{
    const QString text = displayed(utf8_);
    if (!ascii_)
        mixed_ = std::any_of(text.begin(), text.end(), [](QChar unit) { return isRightToLeftUnit(unit.unicode()); });
    rightToLeft_ =
        direction_ == Direction::rightToLeft || (direction_ == Direction::byContent && mixed_ && text.isRightToLeft());
    layout_.setText(text);
    layout_.setCacheEnabled(true);
}

bool LineBlock::setTokens(std::vector<Token> tokens)
{
    if (tokens == tokens_)
        return false;
    tokens_ = std::move(tokens);
    laidOutFor_ = 0;
    return true;
}

bool LineBlock::setPreedit(std::size_t offset, const Preedit& preedit)
{
    if (preeditAt_ == offset && preedit_ == preedit && preedit_.formats == preedit.formats)
        return false;
    preeditAt_ = offset;
    preedit_ = preedit;
    laidOutFor_ = 0;
    return true;
}

bool LineBlock::clearPreedit()
{
    if (preedit_.text.isEmpty() && preedit_.formats.isEmpty())
        return false;
    preedit_ = {};
    laidOutFor_ = 0;
    return true;
}

void LineBlock::applyFormats(const ColorScheme& colors)
{
    QList<QTextLayout::FormatRange> formats;
    formats.reserve(static_cast<qsizetype>(tokens_.size()) + preedit_.formats.size());
    for (const Token& token : tokens_) {
        if (token.end() > utf8_.size())
            break;
        QTextLayout::FormatRange range;
        range.start = toLayout(token.start);
        range.length = toLayout(token.end()) - range.start;
        range.format = tokenFormat(colors, token.kind);
        formats.append(range);
    }
    for (QTextLayout::FormatRange range : preedit_.formats) {
        range.start += static_cast<int>(utf16At(preeditAt_));
        formats.append(range);
    }
    layout_.setFormats(formats);
}

void LineBlock::layOut(const BlockStyle& style, std::uint64_t styleVersion)
{
    if (laidOutFor_ == styleVersion)
        return;
    laidOutFor_ = styleVersion;
    static std::atomic<std::uint64_t> serials = 0;  // what is printed may be laid out on another thread
    serial_ = ++serials;
    rowHashes_.clear();
    rowHeight_ = style.rowHeight;
    if (layout_.font() != style.font)
        layout_.setFont(style.font);
    layout_.setPreeditArea(preedit_.text.isEmpty() ? -1 : static_cast<int>(utf16At(preeditAt_)), preedit_.text);
    applyFormats(*style.colors);
    QTextOption option;
    option.setTextDirection(rightToLeft_ ? Qt::RightToLeft : Qt::LeftToRight);
    option.setWrapMode(style.wrapWidth > 0 ? QTextOption::WrapAtWordBoundaryOrAnywhere : QTextOption::NoWrap);
    if (rightToLeft_)
        option.setAlignment(Qt::AlignRight | Qt::AlignAbsolute);
    option.setTabStopDistance(style.tabWidth);
    layout_.setTextOption(option);
    width_ = 0;
    layout_.beginLayout();
    for (QTextLine line = layout_.createLine(); line.isValid(); line = layout_.createLine()) {
        line.setLineWidth(style.wrapWidth > 0 ? style.wrapWidth : 1e7);
        if (style.wrapWidth <= 0 && rightToLeft_)
            line.setLineWidth(std::max(style.viewWidth, std::ceil(line.naturalTextWidth())));
        line.setPosition(QPointF(0, line.lineNumber() * rowHeight_ + style.baseline - line.ascent()));
        width_ = std::max(width_, line.naturalTextWidth());
    }
    layout_.endLayout();
}

std::size_t LineBlock::utf16At(std::size_t offset) const
{
    offset = std::min(offset, utf8_.size());
    return ascii_ ? offset : utf16Length(std::string_view(utf8_).substr(0, offset));
}

std::size_t LineBlock::offsetAt(std::size_t utf16) const
{
    return ascii_ ? std::min(utf16, utf8_.size()) : byteOfUtf16Unit(utf8_, utf16);
}

// The layout's text contains the preedit, the block's does not.
int LineBlock::toLayout(std::size_t offset) const
{
    auto position = static_cast<int>(utf16At(offset));
    if (!preedit_.text.isEmpty() && offset >= preeditAt_) {
        if (offset > preeditAt_)
            position += static_cast<int>(preedit_.text.size());
        else if (preedit_.cursor > 0)
            position += preedit_.cursor;
    }
    return position;
}

std::size_t LineBlock::fromLayout(int position) const
{
    if (!preedit_.text.isEmpty()) {
        const auto start = static_cast<int>(utf16At(preeditAt_));
        if (position > start)
            position = std::max(start, position - static_cast<int>(preedit_.text.size()));
    }
    return offsetAt(static_cast<std::size_t>(std::max(position, 0)));
}

int LineBlock::rowOf(std::size_t offset, CaretAffinity affinity) const
{
    const int position = toLayout(offset);
    int low = 0;
    int high = rows() - 1;
    while (low < high) {
        const int middle = (low + high + 1) / 2;
        if (layout_.lineAt(middle).textStart() <= position)
            low = middle;
        else
            high = middle - 1;
    }
    if (affinity == CaretAffinity::upstream && low > 0 && layout_.lineAt(low).textStart() == position)
        --low;
    return std::max(low, 0);
}

std::size_t LineBlock::rowStart(int row) const
{
    return fromLayout(layout_.lineAt(row).textStart());
}

std::size_t LineBlock::rowEnd(int row) const
{
    const QTextLine line = layout_.lineAt(row);
    return fromLayout(line.textStart() + line.textLength());
}

std::uint64_t LineBlock::rowHash(int row) const
{
    rowHashes_.resize(static_cast<std::size_t>(std::max(rows(), 1)));
    std::uint64_t& hash = rowHashes_[static_cast<std::size_t>(row)];
    if (hash)
        return hash;
    if (hasRightToLeft() || !preedit_.text.isEmpty()) {
        // How a row looks depends on more than what stands in it.
        hash = qHashMulti(0, serial_, row) | 1U;
        return hash;
    }
    const std::size_t start = rowStart(row);
    const std::size_t end = rowEnd(row);
    hash = qHashBits(utf8_.data() + start, end - start, 1);
    const auto first =
        std::partition_point(tokens_.begin(), tokens_.end(), [&](const Token& token) { return token.end() <= start; });
    for (auto token = first; token != tokens_.end() && token->start < end; ++token)
        hash = qHashMulti(hash, std::max<std::size_t>(token->start, start) - start,
                          std::min<std::size_t>(token->end(), end) - start, static_cast<int>(token->kind));
    hash = qHashMulti(hash, end - start, laidOutFor_) | 1U;
    return hash;
}

double LineBlock::caretX(std::size_t offset, CaretAffinity affinity) const
{
    const QTextLine line = layout_.lineAt(rowOf(offset, affinity));
    return line.isValid() ? line.cursorToX(toLayout(offset)) : 0;
}

QRectF LineBlock::preeditCaret() const
{
    const int position = static_cast<int>(utf16At(preeditAt_)) + std::max(preedit_.cursor, 0);
    const QTextLine line = layout_.lineForTextPosition(position);
    return {line.cursorToX(position), line.lineNumber() * rowHeight_, 1, rowHeight_};
}

LineBlock::Hit LineBlock::hit(int row, double x) const
{
    const QTextLine line = layout_.lineAt(std::clamp(row, 0, rows() - 1));
    int position = line.xToCursor(x, QTextLine::CursorBetweenCharacters);
    if (hasRightToLeft()) {
        // Where directions mix the engine is off by a character now and then, so the nearest place is looked for.
        const int rowEndPosition = line.textStart() + line.textLength();
        const bool isShort = line.textLength() <= 400;
        const int last = isShort ? rowEndPosition : std::min(rowEndPosition, position + 4);
        const auto distance = [&](int at) { return std::abs(line.cursorToX(at) - x); };
        // Characters end where this program says, which is not everywhere where the engine would put a caret.
        const TextSnapshot own{std::string_view(utf8_)};
        const auto isBorder = [&](int at) {
            const Utf8Offset offset(fromLayout(at));
            return graphemeStart(own, offset) == offset;
        };
        int best = position;
        double nearest = isBorder(position) ? distance(position) : std::numeric_limits<double>::infinity();
        for (int at = isShort ? line.textStart() : std::max(line.textStart(), position - 4); at <= last; ++at) {
            if (!layout_.isValidCursorPosition(at))
                continue;
            if (const double here = distance(at); here < nearest - .01 && isBorder(at)) {
                nearest = here;
                best = at;
            }
        }
        position = best;
    }
    // Right of a wrapped row the engine stops before its last character.
    const int behind = line.textStart() + line.textLength();
    if (!hasRightToLeft() && std::abs(line.cursorToX(behind) - x) < std::abs(line.cursorToX(position) - x))
        position = behind;
    const bool atRowEnd = position == line.textStart() + line.textLength() && line.lineNumber() + 1 < rows();
    return {fromLayout(position), atRowEnd ? CaretAffinity::upstream : CaretAffinity::downstream};
}

LineBlock::Hit LineBlock::characterHit(int row, double x) const
{
    const QTextLine line = layout_.lineAt(std::clamp(row, 0, rows() - 1));
    return {fromLayout(line.xToCursor(x, QTextLine::CursorOnCharacter)), CaretAffinity::downstream};
}

void LineBlock::appendRects(std::vector<QRectF>& to, std::size_t from, std::size_t end, bool withLineEnd) const
{
    const int first = rowOf(from, CaretAffinity::downstream);
    const int last = rowOf(end, from == end ? CaretAffinity::downstream : CaretAffinity::upstream);
    for (int row = first; row <= last; ++row) {
        const QTextLine line = layout_.lineAt(row);
        const double top = row * rowHeight_;
        const int start = std::max(toLayout(from), line.textStart());
        const int stop = std::min(toLayout(end), line.textStart() + line.textLength());
        if (!hasRightToLeft()) {
            const double left = line.cursorToX(start);
            const double right = line.cursorToX(stop);
            if (right > left)
                to.emplace_back(left, top, right - left, rowHeight_);
        } else {
            for (const QGlyphRun& run : line.glyphRuns(start, stop - start)) {
                const QRectF box = run.boundingRect();
                const QRectF part(box.left(), top, box.width(), rowHeight_);
                if (!to.empty() && to.back().top() == top && std::abs(to.back().right() - part.left()) < .5)
                    to.back() |= part;
                else
                    to.push_back(part);
            }
        }
        if (withLineEnd && row == rows() - 1) {
            const double space = rowHeight_ / 3;
            const double edge = line.cursorToX(line.textStart() + line.textLength());
            to.emplace_back(rightToLeft_ ? edge - space : edge, top, space, rowHeight_);
        }
    }
}

QRectF LineBlock::drawnRect(std::size_t from, std::size_t end) const
{
    const int row = rowOf(from, CaretAffinity::downstream);
    const int start = toLayout(from);
    QRectF rect;
    for (const QGlyphRun& run : layout_.lineAt(row).glyphRuns(start, toLayout(end) - start)) {
        const QRectF box = run.boundingRect();
        rect |= QRectF(box.left(), row * rowHeight_, box.width(), rowHeight_);
    }
    return rect;
}

// The place of the row that follows as it is seen. Borders between directions stand at one place each, so the engine's
// own order would jump back and forth there.
std::size_t LineBlock::visualStep(std::size_t offset, bool toRight) const
{
    const int from = toLayout(offset);
    const int row = rowOf(offset, CaretAffinity::downstream);
    const QTextLine line = layout_.lineAt(row);
    if (!line.isValid() || line.textLength() > 400)
        return fromLayout(toRight ? layout_.rightCursorPosition(from) : layout_.leftCursorPosition(from));
    const double x = line.cursorToX(from);
    int best = -1;
    double nearest = 0;
    // The end of a row that goes on below is drawn there.
    const int last = line.textStart() + line.textLength() - (row + 1 < rows() ? 1 : 0);
    for (int at = line.textStart(); at <= last; ++at) {
        if (!layout_.isValidCursorPosition(at))
            continue;
        const double distance = toRight ? line.cursorToX(at) - x : x - line.cursorToX(at);
        if (distance > .01 && (best < 0 || distance < nearest)) {
            best = at;
            nearest = distance;
        }
    }
    if (best >= 0)
        return fromLayout(best);
    if (toRight != rightToLeft_)
        return row + 1 < rows() ? rowEnd(row) : offset;
    return row > 0 ? fromLayout(layout_.previousCursorPosition(line.textStart())) : offset;
}

std::size_t LineBlock::visualLeft(std::size_t offset) const
{
    return visualStep(offset, false);
}

std::size_t LineBlock::visualRight(std::size_t offset) const
{
    return visualStep(offset, true);
}

void LineBlock::draw(QPainter& painter, QPointF at, const QRectF& clip) const
{
    layout_.draw(&painter, at, {}, clip);
}

void LineBlock::drawRows(QPainter& painter, QPointF at, int first, int end) const
{
    at.ry() -= first * rowHeight_;
    for (int row = first; row < std::min(end, rows()); ++row)
        layout_.lineAt(row).draw(&painter, at);
}

}  // namespace penmark
