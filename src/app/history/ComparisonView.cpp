// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/ComparisonView.h"

#include "app/editor/Strings.h"
#include "app/history/ComparisonAccessible.h"

#include <QFontDatabase>
#include <QResizeEvent>
#include <QScrollBar>
#include <algorithm>
#include <limits>

namespace penmark {

namespace {

constexpr std::size_t layoutLimit = 400;  // kept; more than a screen full
constexpr double endless = 1e7;           // pixels; lines that are not wrapped

/// As many units as the text, with signs for those that would act and not be seen.
QString visibleText(const std::string& utf8)
{
    QString text = toQString(utf8);
    for (QChar& unit : text) {
        if (unit.unicode() < 0x20 && unit != QLatin1Char('\t'))
            unit = QChar(0x2400 + unit.unicode());
        else if (unit.unicode() == 0x7F || unit.unicode() == QChar::LineSeparator ||
                 unit.unicode() == QChar::ParagraphSeparator)
            unit = QChar(0x2424);
    }
    return text;
}

}  // namespace

ComparisonView::ComparisonView(QWidget* parent)
    : QAbstractScrollArea(parent), colors_(&ComparisonColors::of(lightColorScheme())),
      font_(QFontDatabase::systemFont(QFontDatabase::FixedFont))
{
    installComparisonAccessible();
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    viewport()->setCursor(Qt::ArrowCursor);
    setAccessibleName(tr("Comparison"));
    measure();
}

ComparisonView::~ComparisonView() = default;

// ---- what is shown ----

void ComparisonView::setDiff(std::shared_ptr<const DocumentDiff> diff, bool keepsPlace)
{
    ComparisonLines lines(std::move(diff));
    if (keepsPlace)
        lines.unfoldAsIn(lines_);
    layouts_.clear();
    std::swap(lines_, lines);
    anchor_.reset();
    pressedRun_.reset();
    dragging_ = false;
    current_ = keepsPlace ? std::min(current_, lines_.count() - std::min<std::size_t>(1, lines_.count())) : 0;
    linesChanged();
    if (!keepsPlace) {
        verticalScrollBar()->setValue(0);
        horizontalScrollBar()->setValue(0);
        if (!lines_.changes().empty()) {
            const ComparisonLines::Change& first = lines_.changes().front();
            current_ = first.first;
            showLines(first.first, first.first + first.count - 1);
        }
    }
    emit placeChanged();
}

void ComparisonView::linesChanged()
{
    std::size_t highest[2] = {1, 1};
    for (std::size_t line = 0; line < lines_.count(); ++line) {
        highest[0] = std::max(highest[0], lines_.at(line).earlierLine);
        highest[1] = std::max(highest[1], lines_.at(line).currentLine);
    }
    for (int side = 0; side < 2; ++side) {
        const auto digits = static_cast<double>(std::to_string(highest[side]).size());
        numberWidths_[side] = static_cast<int>(std::max(2.0, digits) * cellWidth_) + 1;
    }
    if (wraps_)
        wrapLines();
    else
        widest_ = widestLine();
    updateScrollBars();
    forgetAccessibleLines(*this);
    viewport()->update();
}

void ComparisonView::toggle(std::size_t line)
{
    if (line >= lines_.count() || !lines_.isRun(line))
        return;
    layouts_.clear();
    lines_.toggle(line);
    anchor_.reset();
    current_ = line;
    linesChanged();
    showLines(line, line);
    emit placeChanged();
}

void ComparisonView::setColors(const ColorScheme& colors)
{
    colors_ = &ComparisonColors::of(colors);
    layouts_.clear();
    viewport()->update();
}

void ComparisonView::setTextFont(const QFont& font, int tabWidth)
{
    font_ = font;
    tabWidth_ = tabWidth;
    measure();
    linesChanged();
}

void ComparisonView::setWraps(bool wraps)
{
    if (wraps == wraps_)
        return;
    wraps_ = wraps;
    rows_.clear();
    layouts_.clear();
    linesChanged();
    showLines(current_, current_);
    emit wrapsChanged(wraps);
}

void ComparisonView::measure()
{
    layouts_.clear();
    const QFontMetricsF metrics(font_);
    rowHeight_ = std::max(1, qCeil(metrics.height())) + 2;
    cellWidth_ = metrics.horizontalAdvance(QLatin1Char('0'));
}

// ---- layout ----

std::unique_ptr<QTextLayout> ComparisonView::makeLayout(const DocumentDiffLine& line, bool wraps) const
{
    auto layout = std::make_unique<QTextLayout>(visibleText(line.text), font_);
    QTextOption option;
    option.setTabStopDistance(cellWidth_ * tabWidth_);
    option.setTextDirection(Qt::LeftToRight);
    option.setWrapMode(wraps ? QTextOption::WrapAtWordBoundaryOrAnywhere : QTextOption::NoWrap);
    layout->setTextOption(option);
    layout->setCacheEnabled(true);
    QList<QTextLayout::FormatRange> formats;
    const Rgb word = line.kind == DocumentDiffLine::Kind::removed ? colors_->removedWord : colors_->addedWord;
    for (const Utf16Range& mark : line.marks) {
        QTextLayout::FormatRange range;
        range.start = static_cast<int>(mark.start.value);
        range.length = static_cast<int>(mark.size());
        range.format.setBackground(QColor(word.red, word.green, word.blue));
        formats << range;
    }
    layout->setFormats(formats);
    layout->beginLayout();
    double height = 0;
    for (QTextLine part = layout->createLine(); part.isValid(); part = layout->createLine()) {
        part.setLineWidth(wraps ? std::max<double>(textWidth(), cellWidth_ * 8) : endless);
        part.setPosition({0, height});
        height += part.height();
    }
    layout->endLayout();
    return layout;
}

QTextLayout& ComparisonView::layoutOf(const DocumentDiffLine& line)
{
    if (layouts_.size() > layoutLimit)
        layouts_.clear();
    std::unique_ptr<QTextLayout>& layout = layouts_[&line];
    if (!layout)
        layout = makeLayout(line, wraps_);
    return *layout;
}

bool ComparisonView::mayNeedWrapping(const DocumentDiffLine& line) const
{
    // No character is wider than two cells for which it has two bytes or more; a tab is one byte.
    const auto tabs = static_cast<std::size_t>(std::count(line.text.begin(), line.text.end(), '\t'));
    const double cells = static_cast<double>(line.text.size() + tabs * static_cast<std::size_t>(tabWidth_));
    const double cell = QFontInfo(font_).fixedPitch() ? cellWidth_ : QFontMetricsF(font_).maxWidth();
    return cells * cell > textWidth();
}

void ComparisonView::wrapLines()
{
    rows_.clear();
    rows_.reserve(lines_.count());
    const bool isFixed = QFontInfo(font_).fixedPitch();
    const double cell = isFixed ? cellWidth_ : QFontMetricsF(font_).maxWidth();
    const double most = textWidth();
    for (std::size_t line = 0; line < lines_.count(); ++line) {
        const std::string& text = lines_.at(line).text;
        int parts = 1;
        if (static_cast<double>(text.size()) * cell * tabWidth_ > most && mayNeedWrapping(lines_.at(line)))
            parts = std::max(1, makeLayout(lines_.at(line), true)->lineCount());
        for (int part = 0; part < parts; ++part)
            rows_.push_back({line, part});
    }
}

double ComparisonView::widestLine()
{
    // In bytes a line looks at most three times as wide as another one of the same width; of those that come into
    // question the longest are measured.
    constexpr std::size_t measured = 24;
    std::vector<std::pair<std::size_t, const DocumentDiffLine*>> longest;
    for (std::size_t line = 0; line < lines_.count(); ++line) {
        const std::string& text = lines_.at(line).text;
        std::size_t cells = 0;
        for (const char byte : text) {
            if (byte == '\t')
                cells += static_cast<std::size_t>(tabWidth_);
            else if ((static_cast<unsigned char>(byte) & 0xC0U) != 0x80U)
                cells += static_cast<unsigned char>(byte) < 0xE0U ? 1U : 2U;
        }
        longest.emplace_back(cells, &lines_.at(line));
    }
    const auto end = longest.begin() + static_cast<std::ptrdiff_t>(std::min(measured, longest.size()));
    std::partial_sort(longest.begin(), end, longest.end(),
                      [](const auto& left, const auto& right) { return left.first > right.first; });
    double widest = 0;
    for (auto each = longest.begin(); each != end; ++each) {
        if (static_cast<double>(each->first) * cellWidth_ * 2 > widest)
            widest = std::max(widest, makeLayout(*each->second, false)->lineAt(0).naturalTextWidth());
    }
    return widest + (widest > 0 ? cellWidth_ * 2 : 0);
}

int ComparisonView::gutterWidth() const
{
    const double blanks = cellWidth_ * 5;  // before, between and behind the numbers, and the sign
    return numberWidths_[0] + numberWidths_[1] + static_cast<int>(blanks);
}

int ComparisonView::textWidth() const
{
    return std::max(1, viewport()->width() - gutterWidth() - static_cast<int>(cellWidth_));
}

std::size_t ComparisonView::rowCount() const
{
    return wraps_ ? rows_.size() : lines_.count();
}

ComparisonView::Row ComparisonView::row(std::size_t index) const
{
    return wraps_ ? rows_[index] : Row{index, 0};
}

std::size_t ComparisonView::firstRow(std::size_t line) const
{
    if (!wraps_)
        return line;
    const auto found = std::lower_bound(rows_.begin(), rows_.end(), line,
                                        [](const Row& each, std::size_t at) { return each.line < at; });
    return static_cast<std::size_t>(found - rows_.begin());
}

std::size_t ComparisonView::rowsOf(std::size_t line) const
{
    return wraps_ ? firstRow(line + 1) - firstRow(line) : 1;
}

std::size_t ComparisonView::rowsOnPage() const
{
    return static_cast<std::size_t>(std::max(1, viewport()->height() / rowHeight_));
}

void ComparisonView::updateScrollBars()
{
    const qint64 height = static_cast<qint64>(rowCount()) * rowHeight_ + rowHeight_ / 2;
    const qint64 most = std::max<qint64>(0, height - viewport()->height());
    verticalScrollBar()->setRange(0, static_cast<int>(std::min<qint64>(most, std::numeric_limits<int>::max())));
    verticalScrollBar()->setSingleStep(rowHeight_);
    verticalScrollBar()->setPageStep(std::max(rowHeight_, viewport()->height() - rowHeight_));
    const double width = wraps_ ? 0 : std::max(0.0, widest_ - textWidth());
    horizontalScrollBar()->setRange(0, qCeil(width));
    horizontalScrollBar()->setSingleStep(static_cast<int>(cellWidth_ * 4));
    horizontalScrollBar()->setPageStep(textWidth());
}

void ComparisonView::resizeEvent(QResizeEvent* event)
{
    QAbstractScrollArea::resizeEvent(event);
    if (!wraps_ || event->size().width() == event->oldSize().width()) {
        updateScrollBars();
        return;
    }
    const auto top = static_cast<std::size_t>(verticalScrollBar()->value() / rowHeight_);
    const std::size_t line = top < rows_.size() ? rows_[top].line : 0;
    layouts_.clear();
    wrapLines();
    updateScrollBars();
    verticalScrollBar()->setValue(static_cast<int>(firstRow(line)) * rowHeight_);
}

// ---- places ----

QRect ComparisonView::lineRect(std::size_t line) const
{
    const int top = static_cast<int>(firstRow(line)) * rowHeight_ - verticalScrollBar()->value();
    return {0, top, viewport()->width(), static_cast<int>(rowsOf(line)) * rowHeight_};
}

std::optional<std::size_t> ComparisonView::lineAt(QPoint viewportPoint) const
{
    const int y = viewportPoint.y() + verticalScrollBar()->value();
    if (y < 0 || static_cast<std::size_t>(y / rowHeight_) >= rowCount())
        return std::nullopt;
    return row(static_cast<std::size_t>(y / rowHeight_)).line;
}

void ComparisonView::showLines(std::size_t first, std::size_t last)
{
    if (lines_.count() == 0)
        return;
    const std::size_t context = std::min<std::size_t>(3, rowsOnPage() / 4);
    const std::size_t firstSeen = firstRow(first) - std::min(context, firstRow(first));
    const std::size_t lastSeen = std::min(rowCount(), firstRow(last) + rowsOf(last) + context);
    const int top = static_cast<int>(firstSeen) * rowHeight_;
    const int bottom = static_cast<int>(lastSeen) * rowHeight_;
    QScrollBar& bar = *verticalScrollBar();
    if (bottom > bar.value() + viewport()->height())
        bar.setValue(bottom - viewport()->height());
    if (top < bar.value() || bottom - top > viewport()->height())
        bar.setValue(top);
}

std::optional<std::pair<std::size_t, std::size_t>> ComparisonView::selectedLines() const
{
    if (!anchor_)
        return std::nullopt;
    return std::minmax(*anchor_, current_);
}

bool ComparisonView::isSelected(std::size_t line) const
{
    const auto selected = selectedLines();
    return selected && line >= selected->first && line <= selected->second;
}

QString ComparisonView::spokenText(std::size_t line) const
{
    const DocumentDiffLine& at = lines_.at(line);
    const QString text =
        at.differsInLineEndOnly ? tr("%1, line ending differs").arg(visibleText(at.text)) : visibleText(at.text);
    switch (at.kind) {
    case DocumentDiffLine::Kind::removed:
        return tr("removed: %1").arg(text);
    case DocumentDiffLine::Kind::added:
        return tr("added: %1").arg(text);
    case DocumentDiffLine::Kind::collapsed:
        return lines_.isUnfolded(line) ? tr("%1, unfolded").arg(text) : tr("%1, folded").arg(text);
    case DocumentDiffLine::Kind::unchanged:
        break;
    }
    return text;
}

}  // namespace penmark
