// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/ViewLayout.h"

#include "text/Characters.h"
#include "text/highlight/ColorScheme.h"
#include "text/highlight/FoldSet.h"

#include <QFontMetricsF>
#include <algorithm>
#include <cmath>

namespace penmark {

namespace {
constexpr std::size_t keptBlocks = 600;  // some screens full
constexpr double caretWidth = 2;
}  // namespace

ViewLayout::ViewLayout(const TextBuffer& buffer) : buffer_(buffer) {}
ViewLayout::~ViewLayout() = default;

void ViewLayout::restyle()
{
    ++styleVersion_;
    style_.wrapWidth = wrap_ ? std::max(size_.width() - caretWidth, columnWidth_) : 0;
    style_.viewWidth = size_.width() - caretWidth;
    style_.tabWidth = columnWidth_ * static_cast<double>(tabColumns_);
    contentWidth_ = 0;
    stale();
}

void ViewLayout::setFont(const QFont& font)
{
    style_.font = font;
    const QFontMetricsF metrics(font);
    style_.rowHeight = std::ceil(metrics.height() * 1.1);
    style_.baseline = std::round((style_.rowHeight - metrics.height()) / 2 + metrics.ascent());
    columnWidth_ = metrics.horizontalAdvance(QLatin1Char('0'));
    restyle();
}

void ViewLayout::setColors(const ColorScheme& colors)
{
    style_.colors = &colors;
    restyle();
}

void ViewLayout::setSize(QSizeF size)
{
    if (size == size_)
        return;
    const bool wider = size.width() != size_.width();
    size_ = size;
    if (wider)
        restyle();
    else
        stale();
}

void ViewLayout::setWrap(bool wrap)
{
    wrap_ = wrap;
    extraRowsPerByte_ = 0;
    if (wrap)
        left_ = 0;
    restyle();
}

void ViewLayout::setTabColumns(std::size_t columns)
{
    tabColumns_ = columns;
    restyle();
}

int ViewLayout::rowsInView() const
{
    return std::max(1, static_cast<int>(size_.height() / style_.rowHeight));
}

void ViewLayout::stale()
{
    visibleValid_ = false;
}

// Places

// The piece of the line that contains the offset; at a cut, the one behind it.
ViewLayout::Spot ViewLayout::spotIn(const TextLine& line, Utf8Offset offset) const
{
    const bool isLong = line.content().size() > longLine;
    return {line, isLong ? cuts_.pieceAt(text(), line, offset) : line.content()};
}

ViewLayout::Spot ViewLayout::spotOf(Utf8Offset offset, CaretAffinity affinity) const
{
    TextLine line = text().lineContaining(std::min(offset, text().end()));
    if (folds_ && folds_->isHidden(line.number)) {
        line = text().line(folds_->visibleAtOrBefore(line.number));
        offset = line.end;
    }
    // Between two pieces, as between two rows, the caret says on which side it is.
    Spot spot = spotIn(line, offset);
    if (affinity == CaretAffinity::upstream && !spot.startsLine() && offset == spot.range.start)
        spot = *spotBefore(spot);
    return spot;
}

std::optional<ViewLayout::Spot> ViewLayout::spotAfter(const Spot& spot) const
{
    if (!spot.endsLine())
        return Spot{spot.line, {spot.range.end, cuts_.after(text(), spot.line, spot.range.end)}};
    if (spot.line.number.value + 1 >= text().lineCount())
        return std::nullopt;
    TextLine line = text().lineAfter(spot.line);
    if (folds_ && folds_->isHidden(line.number)) {
        const LineNumber next = folds_->visibleAtOrAfter(line.number);
        if (next.value >= text().lineCount())
            return std::nullopt;
        line = text().line(next);
    }
    return spotIn(line, line.start);
}

std::optional<ViewLayout::Spot> ViewLayout::spotBefore(const Spot& spot) const
{
    if (!spot.startsLine())
        return Spot{spot.line, {cuts_.before(text(), spot.line, spot.range.start), spot.range.start}};
    if (spot.line.number.value == 0)
        return std::nullopt;
    const LineNumber before = folds_ ? folds_->visibleAtOrBefore(spot.line.number - 1) : spot.line.number - 1;
    const TextLine line = text().line(before);
    if (line.content().size() <= longLine)
        return Spot{line, line.content()};
    return Spot{line, {cuts_.before(text(), line, line.end), line.end}};
}

// Blocks

LineBlock& ViewLayout::laidOut(const Spot& spot) const
{
    Entry& entry = cache_[spot.range.start.value];
    entry.used = ++clock_;
    if (!entry.block || entry.bytes != spot.range.size()) {
        auto direction = LineBlock::Direction::byContent;
        if (!spot.startsLine()) {
            // All pieces of a line run as its beginning does.
            const std::string head = text().text({spot.line.start, text().characterStart(spot.line.start + 1'000)});
            const bool rightToLeft = LineBlock(head, direction).isRightToLeft();
            direction = rightToLeft ? LineBlock::Direction::rightToLeft : LineBlock::Direction::leftToRight;
        }
        if (entry.block)
            replaced_.push_back(std::move(entry.block));
        entry.block = std::make_unique<LineBlock>(text().text(spot.range), direction);
        entry.bytes = spot.range.size();
        updateTokens(spot, *entry.block);
    }
    if (!spot.startsLine())
        cuts_.remember(spot.range.start);
    if (!spot.endsLine())
        cuts_.remember(spot.range.end);
    LineBlock& block = *entry.block;
    if (holdsPreedit(spot.range, spot.endsLine()))
        block.setPreedit(*preeditAt_ - spot.range.start, preedit_);
    else
        block.clearPreedit();
    const std::uint64_t serial = block.serial();
    block.layOut(style_, styleVersion_);
    if (block.serial() != serial)
        ++layoutsMade_;
    contentWidth_ = std::max(contentWidth_, block.width());
    return block;
}

void ViewLayout::updateTokens(const Spot& spot, LineBlock& block) const
{
    if (!tokens_ || spot.isPiece())
        return;
    std::vector<Token> tokens;
    tokens_(spot.line.number, tokens);
    block.setTokens(std::move(tokens));
}

void ViewLayout::evict() const
{
    if (cache_.size() <= keptBlocks)
        return;
    // What is seen is referred to.
    if (visibleValid_) {
        for (const Placed& placed : visible_)
            cache_[placed.range.start.value].used = clock_;
    }
    std::vector<const LineBlock*> seen;
    for (const Placed& placed : visible_)
        seen.push_back(placed.block);
    std::erase_if(cache_, [&](const auto& entry) {
        return entry.second.used + keptBlocks / 2 < clock_ &&
               std::find(seen.begin(), seen.end(), entry.second.block.get()) == seen.end();
    });
}

void ViewLayout::textChanged(const TextChange& change)
{
    stale();
    if (change.cause == TextChange::Cause::load) {
        cache_.clear();
        cuts_.clear();
        anchor_ = {};
        extraRowsPerByte_ = 0;
        contentWidth_ = 0;
        return;
    }
    anchor_.offset = change.edit.map(anchor_.offset, Stickiness::before);
    if (preeditAt_)
        preeditAt_ = change.edit.map(*preeditAt_, Stickiness::after);
    cuts_.update(change.edit);
    std::unordered_map<std::size_t, Entry> kept;
    kept.reserve(cache_.size());
    for (auto& [start, entry] : cache_) {
        if (change.edit.touches({Utf8Offset(start), Utf8Offset(start + entry.bytes)}))
            continue;
        kept.emplace(change.edit.map(Utf8Offset(start), Stickiness::after).value, std::move(entry));
    }
    cache_ = std::move(kept);
}

void ViewLayout::foldsChanged()
{
    stale();
}

const std::vector<ViewLayout::Placed>& ViewLayout::visible()
{
    if (visibleValid_)
        return visible_;
    visible_.clear();
    replaced_.clear();
    evict();
    std::optional<Spot> spot = spotOf(anchor_.offset);
    LineBlock& first = laidOut(*spot);
    const std::size_t inside = std::clamp(anchor_.offset, spot->range.start, spot->range.end) - spot->range.start;
    double top = -anchor_.scrolled - first.rowOf(inside, CaretAffinity::downstream) * style_.rowHeight;
    double rows = 0;
    double bytes = 0;
    double lines = 0;
    while (spot && top < size_.height()) {
        const LineBlock& block = laidOut(*spot);
        visible_.push_back({&block, spot->range, spot->line.number, spot->startsLine(), spot->endsLine(), top});
        top += block.height();
        rows += block.rows();
        bytes += static_cast<double>(spot->range.size()) + 1;
        lines += spot->startsLine() ? 1 : 0;
        spot = spotAfter(*spot);
    }
    // What was seen lately weighs most, since neighbours are alike.
    if (bytes > 0) {
        const double extra = std::max(0.0, rows - lines) / bytes;
        extraRowsPerByte_ = extraRowsPerByte_ == 0 ? extra : .8 * extraRowsPerByte_ + .2 * extra;
    }
    visibleValid_ = true;
    return visible_;
}

void ViewLayout::refreshTokens(std::vector<QRectF>& changed)
{
    if (!tokens_)
        return;
    std::vector<Token> tokens;
    bool rowsMoved = false;
    for (const Placed& placed : visible()) {
        if (!placed.startsLine || !placed.endsLine)
            continue;
        tokens_(placed.line, tokens);
        auto& block = const_cast<LineBlock&>(*placed.block);
        if (!block.setTokens(tokens))
            continue;
        const int rows = block.rows();
        block.layOut(style_, styleVersion_);
        rowsMoved = rowsMoved || rows != block.rows();
        changed.emplace_back(0, placed.top, size_.width(), block.height());
    }
    if (rowsMoved) {
        stale();
        changed.emplace_back(0, 0, size_.width(), size_.height());
    }
}

ViewLayout::Placed ViewLayout::blockAt(Utf8Offset offset)
{
    const Spot spot = spotOf(offset);
    for (const Placed& placed : visible()) {
        if (placed.range.start == spot.range.start && placed.line == spot.line.number)
            return placed;
    }
    evict();
    return {&laidOut(spot), spot.range, spot.line.number, spot.startsLine(), spot.endsLine(), 0};
}

// Carets and points

std::optional<QRectF> ViewLayout::caretRect(const Caret& caret)
{
    const auto& seen = visible();
    const auto found = std::partition_point(seen.begin(), seen.end(), [&](const Placed& placed) {
        return placed.endsLine || caret.affinity == CaretAffinity::upstream ? placed.range.end < caret.head
                                                                            : placed.range.end <= caret.head;
    });
    if (found == seen.end() || caret.head < found->range.start)
        return std::nullopt;
    if (caret.affinity == CaretAffinity::upstream && !found->startsLine && caret.head == found->range.start)
        return std::nullopt;  // at the end of a piece above
    const std::size_t inside = caret.head - found->range.start;
    const int row = found->block->rowOf(inside, caret.affinity);
    return QRectF(found->block->caretX(inside, caret.affinity) - left_, found->top + row * style_.rowHeight, caretWidth,
                  style_.rowHeight);
}

const ViewLayout::Placed& ViewLayout::placedAt(double y)
{
    const auto& seen = visible();
    const auto below =
        std::partition_point(seen.begin(), seen.end(), [&](const Placed& each) { return each.top <= y; });
    return below == seen.begin() ? seen.front() : *(below - 1);
}

ViewLayout::Hit ViewLayout::hit(QPointF point)
{
    const Placed& placed = placedAt(point.y());
    const LineBlock::Hit hit =
        placed.block->hit(static_cast<int>(std::floor((point.y() - placed.top) / style_.rowHeight)), point.x() + left_);
    const bool atPieceEnd = !placed.endsLine && hit.offset == placed.range.size();
    if (atPieceEnd)
        return {placed.range.end, CaretAffinity::upstream};
    return {caretPlace(placed.range.start + hit.offset), hit.affinity};
}

ViewLayout::Hit ViewLayout::characterHit(QPointF point)
{
    const Placed& placed = placedAt(point.y());
    const LineBlock::Hit inside = placed.block->characterHit(
        static_cast<int>(std::floor((point.y() - placed.top) / style_.rowHeight)), point.x() + left_);
    return {caretPlace(placed.range.start + inside.offset), inside.affinity};
}

// The engine would put carets where its own Unicode version sees borders.
Utf8Offset ViewLayout::caretPlace(Utf8Offset offset) const
{
    return graphemeStart(text(), offset);
}

// Scrolling

// Anchors the view so that the block's top is there.
void ViewLayout::anchorTo(Spot spot, double top)
{
    // Upwards until the block covers or follows the view's top, downwards until it is not above it.
    while (top > 0) {
        const std::optional<Spot> before = spotBefore(spot);
        if (!before) {
            top = 0;
            break;
        }
        spot = *before;
        top -= laidOut(spot).height();
    }
    while (top + laidOut(spot).height() <= 0) {
        const std::optional<Spot> after = spotAfter(spot);
        if (!after)
            break;
        top += laidOut(spot).height();
        spot = *after;
    }
    const LineBlock& block = laidOut(spot);
    const int row = std::clamp(static_cast<int>(-top / style_.rowHeight), 0, std::max(block.rows() - 1, 0));
    anchor_.offset = spot.range.start + block.rowStart(row);
    anchor_.scrolled = std::max(0.0, -top - row * style_.rowHeight);
    stale();
}

void ViewLayout::settle(const Spot& spot, double top)
{
    anchorTo(spot, top);
    clampToEnd();
}

// The text's end never leaves the lower edge of the view as long as there is something above to show.
void ViewLayout::clampToEnd()
{
    const auto& seen = visible();
    const Placed& last = seen.back();
    const double bottom = last.top + last.block->height();
    const bool isEnd = last.endsLine && !spotAfter(spotOf(last.range.end));
    const bool atStart = seen.front().top >= 0 && !spotBefore(spotOf(seen.front().range.start));
    if (!isEnd || bottom >= size_.height() || atStart)
        return;
    const Spot spot = spotOf(text().end());
    anchorTo(spot, size_.height() - laidOut(spot).height());
}

bool ViewLayout::scrollBy(double pixels)
{
    const Anchor before = anchor_;
    const Placed first = visible().front();
    settle(spotOf(first.range.start), first.top + pixels);
    return before.offset != anchor_.offset || before.scrolled != anchor_.scrolled;
}

void ViewLayout::scrollToStart()
{
    setAnchor({});
}

void ViewLayout::scrollToEnd()
{
    anchor_ = {text().end(), 0};
    stale();
    clampToEnd();
}

void ViewLayout::setAnchor(Anchor anchor)
{
    const Spot spot = spotOf(anchor.offset);
    const LineBlock& block = laidOut(spot);
    const std::size_t inside = std::clamp(anchor.offset, spot.range.start, spot.range.end) - spot.range.start;
    settle(spot, -anchor.scrolled - block.rowOf(inside, CaretAffinity::downstream) * style_.rowHeight);
}

void ViewLayout::center(Utf8Offset offset)
{
    const Spot spot = spotOf(offset);
    const LineBlock& block = laidOut(spot);
    const std::size_t inside = std::clamp(offset, spot.range.start, spot.range.end) - spot.range.start;
    const double row = block.rowOf(inside, CaretAffinity::downstream) * style_.rowHeight;
    settle(spot, std::floor((size_.height() - style_.rowHeight) / 2) - row);
}

bool ViewLayout::show(const Caret& caret, int marginRows)
{
    const Anchor before = anchor_;
    const double leftBefore = left_;
    const double margin =
        std::min(marginRows * style_.rowHeight,
                 std::max(0.0, std::floor((size_.height() / style_.rowHeight - 1) / 2) * style_.rowHeight));
    std::optional<QRectF> rect = caretRect(caret);
    if (!rect) {
        // Just outside it comes in by rows; from farther away to the middle.
        const auto& seen = visible();
        const std::size_t first = visibleLineIndex(seen.front().line);
        const std::size_t last = visibleLineIndex(seen.back().line);
        const std::size_t line = visibleLineIndex(text().lineAt(caret.head));
        const Spot spot = spotOf(caret.head, caret.affinity);
        const bool near = !spot.isPiece() && (line + 3 > first && line < last + 3);
        if (near) {
            const LineBlock& block = laidOut(spot);
            const double row = block.rowOf(caret.head - spot.range.start, caret.affinity) * style_.rowHeight;
            if (caret.head < seen.front().range.start)
                settle(spot, margin - row);
            else
                settle(spot, size_.height() - margin - style_.rowHeight - row);
        } else {
            center(caret.head);
        }
        rect = caretRect(caret);
    } else if (rect->top() < margin) {
        scrollBy(margin - rect->top());
    } else if (rect->bottom() > size_.height() - margin) {
        scrollBy(size_.height() - margin - rect->bottom());
    }
    if (!wrap_) {
        rect = caretRect(caret);
        if (rect) {
            const double x = rect->left() + left_;
            const double room = std::min(columnWidth_ * 4, size_.width() / 4);
            if (x < left_ + room)
                left_ = std::max(0.0, x - room);
            else if (x + room > left_ + size_.width())
                left_ = x + room - size_.width();
        }
    }
    return before.offset != anchor_.offset || before.scrolled != anchor_.scrolled || left_ != leftBefore;
}

// Estimates

std::size_t ViewLayout::visibleLineIndex(LineNumber line) const
{
    return line.value - (folds_ ? folds_->hiddenBefore(line) : 0);
}

double ViewLayout::rowsBefore(Utf8Offset offset) const
{
    return static_cast<double>(visibleLineIndex(text().lineAt(offset))) +
           extraRowsPerByte_ * static_cast<double>(offset.value);
}

double ViewLayout::estimatedHeight() const
{
    return (rowsBefore(text().end()) + 1) * style_.rowHeight;
}

double ViewLayout::estimatedTop() const
{
    return rowsBefore(anchor_.offset) * style_.rowHeight + anchor_.scrolled;
}

double ViewLayout::estimatedTop(Utf8Offset offset) const
{
    return rowsBefore(offset) * style_.rowHeight;
}

void ViewLayout::scrollToEstimated(double top)
{
    if (top <= 0)
        return scrollToStart();
    if (top >= estimatedHeight() - size_.height() - .5)
        return scrollToEnd();
    const double rows = top / style_.rowHeight;
    std::size_t low = 0;
    std::size_t high = text().lineCount() - 1;
    while (low < high) {
        const std::size_t middle = (low + high + 1) / 2;
        if (rowsBefore(text().lineStart(LineNumber(middle))) <= rows)
            low = middle;
        else
            high = middle - 1;
    }
    const TextLine line = text().line(LineNumber(low));
    const double inside = rows - rowsBefore(line.start);
    Utf8Offset offset = line.start;
    double scrolled = inside * style_.rowHeight;
    if (extraRowsPerByte_ > 0 && inside >= 1) {
        const auto bytes = static_cast<std::size_t>(inside / extraRowsPerByte_);
        offset = text().characterStart(std::min(line.start + bytes, line.end));
        scrolled = 0;
    }
    setAnchor({offset, std::min(scrolled, style_.rowHeight - 1)});
}

// Moves by rows

double ViewLayout::x(Place place) const
{
    const Spot spot = spotOf(place.offset, place.affinity);
    return laidOut(spot).caretX(std::clamp(place.offset, spot.range.start, spot.range.end) - spot.range.start,
                                place.affinity);
}

VisualRows::Step ViewLayout::rowsBelow(Place from, std::ptrdiff_t rows, double x) const
{
    evict();
    Spot spot = spotOf(from.offset, from.affinity);
    const LineBlock* block = &laidOut(spot);
    int row = block->rowOf(std::clamp(from.offset, spot.range.start, spot.range.end) - spot.range.start, from.affinity);
    Step step;
    for (; rows < 0; ++rows, ++step.rows) {
        if (row > 0) {
            --row;
            continue;
        }
        const std::optional<Spot> before = spotBefore(spot);
        if (!before)
            break;
        spot = *before;
        block = &laidOut(spot);
        row = block->rows() - 1;
    }
    for (; rows > 0; --rows, ++step.rows) {
        if (row + 1 < block->rows()) {
            ++row;
            continue;
        }
        const std::optional<Spot> after = spotAfter(spot);
        if (!after)
            break;
        spot = *after;
        block = &laidOut(spot);
        row = 0;
    }
    const LineBlock::Hit hit = block->hit(row, x);
    const bool atPieceEnd = !spot.endsLine() && hit.offset == spot.range.size();
    step.place = {caretPlace(spot.range.start + hit.offset), atPieceEnd ? CaretAffinity::upstream : hit.affinity};
    return step;
}

VisualRows::Place ViewLayout::rowStart(Place place) const
{
    const Spot spot = spotOf(place.offset, place.affinity);
    const LineBlock& block = laidOut(spot);
    const int row = block.rowOf(place.offset - spot.range.start, place.affinity);
    return {spot.range.start + block.rowStart(row), CaretAffinity::downstream};
}

VisualRows::Place ViewLayout::rowEnd(Place place) const
{
    const Spot spot = spotOf(place.offset, place.affinity);
    const LineBlock& block = laidOut(spot);
    const int row = block.rowOf(place.offset - spot.range.start, place.affinity);
    const bool wrapped = row + 1 < block.rows() || !spot.endsLine();
    return {spot.range.start + block.rowEnd(row), wrapped ? CaretAffinity::upstream : CaretAffinity::downstream};
}

std::size_t ViewLayout::pageRows() const
{
    return static_cast<std::size_t>(std::max(1, rowsInView() - 1));
}

std::optional<Utf8Offset> ViewLayout::visualStep(Utf8Offset from, bool toRight)
{
    const Spot spot = spotOf(from);
    const LineBlock& block = laidOut(spot);
    if (!block.hasRightToLeft())
        return std::nullopt;
    const std::size_t inside = from - spot.range.start;
    std::size_t to = inside;
    for (std::size_t before = to;; before = to) {
        to = toRight ? block.visualRight(before) : block.visualLeft(before);
        if (to == before)
            break;
        if (const Utf8Offset place = spot.range.start + to; caretPlace(place) == place)
            return place;
    }
    // Over the edge: on to the next line in the direction in which the line is written.
    const bool onwards = toRight != block.isRightToLeft();
    const std::optional<Spot> next = onwards ? spotAfter(spot) : spotBefore(spot);
    if (!next)
        return from;
    if (next->line.number == spot.line.number)  // of one line; at its border nothing has moved yet
        return onwards ? nextGrapheme(text(), from) : previousGrapheme(text(), from);
    return onwards ? next->range.start : next->range.end;
}

// Input methods

void ViewLayout::setPreedit(Utf8Offset at, const Preedit& preedit)
{
    preeditAt_ = at;
    preedit_ = preedit;
    stale();
}

void ViewLayout::clearPreedit()
{
    preeditAt_.reset();
    preedit_ = {};
    stale();
}

// Between two pieces it is in the one behind.
bool ViewLayout::holdsPreedit(Utf8Range block, bool endsLine) const
{
    return preeditAt_ && (block.contains(*preeditAt_) || (endsLine && *preeditAt_ == block.end));
}

std::optional<QRectF> ViewLayout::preeditCaret()
{
    if (!preeditAt_ || preedit_.text.isEmpty())
        return std::nullopt;
    for (const Placed& placed : visible()) {
        if (holdsPreedit(placed.range, placed.endsLine))
            return placed.block->preeditCaret().translated(-left_, placed.top);
    }
    return std::nullopt;
}

}  // namespace penmark
