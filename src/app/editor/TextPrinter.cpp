// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/TextPrinter.h"

#include "app/editor/Colors.h"
#include "app/editor/LineBlock.h"
#include "app/editor/ViewLayout.h"
#include "text/Characters.h"
#include "text/highlight/ColorScheme.h"

#include <QFontMetricsF>
#include <QPagedPaintDevice>
#include <QPainter>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <utility>

namespace penmark {

namespace {

constexpr double units = 10;  // of a layout, in a point; its fonts have sizes in whole units
constexpr std::size_t pieceBytes = 8 << 10;

/// The text as rows on pages. One pass over it counts or draws them.
class Pages {
public:
    Pages(const QSizeF& size, const TextSnapshot& text, const PrintSettings& settings);

    /// Goes through the text and calls `newPage` before each page that draws something; returns whether it got to the
    /// end. Without a painter nothing is drawn.
    bool run(QPainter* painter, const std::function<bool()>& newPage, const std::function<bool(double)>& goOn);
    std::size_t pages() const { return page_; }
    void setTotal(std::size_t pages) { total_ = pages; }

private:
    LineBlock::Direction directionOf(const TextLine& line, Utf8Offset start) const;
    std::vector<Token> tokensOf(const TextLine& line, Utf8Range part) const;
    bool printLine(const TextLine& line, Utf8Range part);
    bool printRows(const LineBlock& block, int rows, bool startsLine, bool endsLine, LineNumber line);
    bool startPage();
    bool isDrawn() const { return painter_ && page_ >= settings_.firstPage && page_ <= settings_.lastPage; }

    const TextSnapshot& text_;
    const PrintSettings& settings_;
    const Utf8Range range_;
    LineNumber last_;
    const QSizeF size_;
    ColorScheme colors_ = lightColorScheme();
    BlockStyle style_;
    double top_ = 0;          // of the first row
    double numberWidth_ = 0;  // of line numbers, with the gap to the text
    double gap_ = 0;
    int rowsOnPage_ = 1;
    std::size_t total_ = 0;

    QPainter* painter_ = nullptr;
    const std::function<bool()>* newPage_ = nullptr;
    const std::function<bool(double)>* goOn_ = nullptr;
    std::size_t page_ = 0;
    int row_ = 0;  // the next one on the page
};

Pages::Pages(const QSizeF& size, const TextSnapshot& text, const PrintSettings& settings)
    : text_(text), settings_(settings), range_(settings.range.value_or(Utf8Range{{}, text.end()})),
      last_(text.lineAt(range_.end)), size_(size)
{
    // Behind the last line end there is no line to print.
    if (text.lineStart(last_) == range_.end && !range_.empty())
        last_ = last_ - 1;
    QFont font = settings.font;
    const double points = font.pointSizeF() > 0 ? font.pointSizeF() : font.pixelSize() * .75;
    font.setPixelSize(std::max(1, static_cast<int>(std::lround(points * units))));
    font.setHintingPreference(QFont::PreferNoHinting);
    if (!settings.tokens)
        colors_.text = colors_.lineNumber = Rgb(0x000000);

    const QFontMetricsF metrics(font);
    const double columnWidth = metrics.horizontalAdvance(QLatin1Char('0'));
    style_.font = font;
    style_.rowHeight = metrics.height() * 1.1;
    style_.baseline = (style_.rowHeight - metrics.height()) / 2 + metrics.ascent();
    style_.tabWidth = columnWidth * static_cast<double>(settings.tabColumns);
    style_.colors = &colors_;
    if (settings.lineNumbers) {
        const QString widest = QString::number(last_.value + 1);
        gap_ = 2 * columnWidth;
        numberWidth_ = columnWidth * static_cast<double>(widest.size()) + gap_;
    }
    style_.wrapWidth = std::max(size.width() - numberWidth_, columnWidth);
    style_.viewWidth = style_.wrapWidth;

    top_ = settings.header.isEmpty() ? 0 : 2 * style_.rowHeight;
    const double bottom = settings.pageNumbers ? 2 * style_.rowHeight : 0;
    rowsOnPage_ = std::max(1, static_cast<int>((size.height() - top_ - bottom) / style_.rowHeight + 1e-6));
}

bool Pages::run(QPainter* painter, const std::function<bool()>& newPage, const std::function<bool(double)>& goOn)
{
    painter_ = painter;
    newPage_ = &newPage;
    goOn_ = &goOn;
    page_ = 0;
    if (!startPage())
        return false;
    for (LineNumber number = text_.lineAt(range_.start); number <= last_; ++number) {
        const TextLine line = text_.line(number);
        if (!printLine(line, {std::clamp(range_.start, line.start, line.end), std::min(line.end, range_.end)}))
            return false;
    }
    return true;
}

bool Pages::startPage()
{
    ++page_;
    row_ = 0;
    if (!isDrawn())
        return page_ <= settings_.lastPage;
    if (!(*newPage_)())
        return false;
    painter_->setFont(style_.font);
    painter_->setPen(toColor(colors_.lineNumber));
    const QFontMetricsF metrics(style_.font);
    if (top_ > 0) {
        painter_->drawText(QPointF(0, style_.baseline),
                           metrics.elidedText(settings_.header, Qt::ElideMiddle, size_.width()));
        const double y = style_.rowHeight * 1.4;
        painter_->setPen(QPen(toColor(colors_.lineNumber), units / 2));
        painter_->drawLine(QPointF(0, y), QPointF(size_.width(), y));
    }
    if (settings_.pageNumbers) {
        const QString number = total_ > 0 ? QStringLiteral("%1 / %2").arg(page_).arg(total_) : QString::number(page_);
        const double left = (size_.width() - metrics.horizontalAdvance(number)) / 2;
        painter_->drawText(QPointF(left, size_.height() - style_.rowHeight + style_.baseline), number);
    }
    return true;
}

LineBlock::Direction Pages::directionOf(const TextLine& line, Utf8Offset start) const
{
    if (start == line.start)
        return LineBlock::Direction::byContent;
    // All parts of a line run as its beginning does.
    const Utf8Offset end = std::min(line.end, text_.characterStart(line.start + 1'000));
    const LineBlock head(text_.text({line.start, end}), LineBlock::Direction::byContent);
    return head.isRightToLeft() ? LineBlock::Direction::rightToLeft : LineBlock::Direction::leftToRight;
}

std::vector<Token> Pages::tokensOf(const TextLine& line, Utf8Range part) const
{
    std::vector<Token> tokens;
    if (!settings_.tokens || line.content().size() > ViewLayout::longLine)
        return tokens;
    settings_.tokens(line.number, tokens);
    if (part == line.content())
        return tokens;
    std::vector<Token> inPart;
    for (const Token& token : tokens) {
        const Utf8Offset start = std::max(line.start + token.start, part.start);
        const Utf8Offset end = std::min(line.start + token.end(), part.end);
        if (start < end)
            inPart.push_back(
                {static_cast<std::uint32_t>(start - part.start), static_cast<std::uint32_t>(end - start), token.kind});
    }
    return inPart;
}

bool Pages::printLine(const TextLine& line, Utf8Range part)
{
    Utf8Offset start = part.start;
    do {
        // The last row of a piece is laid out again with what follows it.
        Utf8Offset end = part.end;
        if (line.content().size() > ViewLayout::longLine && end - start > pieceBytes)
            end = std::max(graphemeStart(text_, text_.characterStart(start + pieceBytes)), nextGrapheme(text_, start));
        LineBlock block(text_.text({start, end}), directionOf(line, start));
        block.setTokens(tokensOf(line, {start, end}));
        block.layOut(style_, 1);
        const bool endsLine = end == part.end;
        const int rows = endsLine ? std::max(block.rows(), 1) : std::max(block.rows() - 1, 1);
        if (!printRows(block, rows, start == part.start, endsLine, line.number))
            return false;
        start = rows < block.rows() ? start + block.rowStart(rows) : end;
        const double whole = static_cast<double>(std::max<std::size_t>(range_.size(), 1));
        if (!(*goOn_)(static_cast<double>(start - range_.start) / whole))
            return false;
    } while (start < part.end);
    return true;
}

bool Pages::printRows(const LineBlock& block, int rows, bool startsLine, bool endsLine, LineNumber line)
{
    for (int first = 0; first < rows;) {
        const int room = rowsOnPage_ - row_;
        int count = std::min(room, rows - first);
        if (count < rows - first && rowsOnPage_ > 4) {
            if (endsLine && rows - first - count == 1 && count > 1)
                --count;
            if (startsLine && first == 0 && count == 1 && row_ > 0)
                count = 0;
        }
        if (count > 0 && isDrawn()) {
            const double y = top_ + row_ * style_.rowHeight;
            if (numberWidth_ > 0 && startsLine && first == 0) {
                const QString number = QString::number(line.value + 1);
                const double width = QFontMetricsF(style_.font).horizontalAdvance(number);
                painter_->setFont(style_.font);
                painter_->setPen(toColor(colors_.lineNumber));
                painter_->drawText(QPointF(numberWidth_ - gap_ - width, y + style_.baseline), number);
            }
            painter_->setPen(toColor(colors_.text));
            block.drawRows(*painter_, QPointF(numberWidth_, y), first, first + count);
        }
        first += count;
        row_ += count;
        if (first < rows && !startPage())
            return false;
    }
    return true;
}

}  // namespace

PrintResult printText(QPagedPaintDevice& device, const TextSnapshot& text, const PrintSettings& settings,
                      std::stop_token stop, const std::function<void(double done)>& progress)
{
    PrintResult result;
    const double unitWidth = device.logicalDpiX() / (72 * units);  // in the device's pixels
    const double unitHeight = device.logicalDpiY() / (72 * units);
    Pages pages(QSizeF(device.width() / unitWidth, device.height() / unitHeight), text, settings);

    using Clock = std::chrono::steady_clock;
    Clock::time_point told = Clock::now();
    const bool counts = settings.pageNumbers && settings.pageCount;
    bool counting = counts;
    const auto goOn = [&](double part) {
        if (stop.stop_requested())
            return false;
        const Clock::time_point now = Clock::now();
        if (progress && now - told >= std::chrono::milliseconds(100)) {
            told = now;
            progress(counts ? (counting ? 0 : .5) + part / 2 : part);
        }
        return true;
    };
    if (counts) {
        PrintSettings all = settings;
        all.lastPage = std::numeric_limits<std::size_t>::max();
        Pages counted(QSizeF(device.width() / unitWidth, device.height() / unitHeight), text, all);
        if (!counted.run(
                nullptr, [] { return true; }, goOn))
            return {PrintResult::Outcome::cancelled, 0};
        pages.setTotal(counted.pages());
        counting = false;
    }

    QPainter painter;
    if (!painter.begin(&device))
        return {PrintResult::Outcome::failed, 0};
    painter.scale(unitWidth, unitHeight);
    bool failed = false;
    const auto newPage = [&] {
        failed = result.pages > 0 && !device.newPage();
        if (failed)
            return false;
        ++result.pages;
        return true;
    };
    pages.run(&painter, newPage, goOn);
    if (!painter.end() || failed)
        result.outcome = PrintResult::Outcome::failed;
    else if (stop.stop_requested())
        result.outcome = PrintResult::Outcome::cancelled;
    return result;
}

}  // namespace penmark
