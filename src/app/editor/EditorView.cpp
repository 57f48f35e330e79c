// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/EditorView.h"

#include "app/editor/EditorAccessible.h"
#include "app/editor/EditorKeys.h"
#include "app/editor/FindMarkBar.h"
#include "text/BracketMatcher.h"
#include "text/Characters.h"
#include "text/highlight/ColorScheme.h"

#include <QApplication>
#include <QClipboard>
#include <QFontDatabase>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QInputMethod>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QTimerEvent>
#include <algorithm>
#include <cmath>

namespace penmark {

namespace {

constexpr std::size_t workBytes = 64 << 10;  // about a millisecond
constexpr int barLimit = 1 << 30;            // of a scroll bar's value

QFont defaultFont()
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    if (font.pointSizeF() < 10)
        font.setPointSizeF(10);
    // Text fonts have pictures of their own for some emoji, without colour and without the sequences.
    // An alias such as "monospace" would not hold in a list.
    font.setFamilies({QFontInfo(font).family(), QStringLiteral("Noto Color Emoji")});
    return font;
}

}  // namespace

EditorView::EditorView(EditorDocument& document, QWidget* parent)
    : QAbstractScrollArea(parent), document_(document), editor_(document), layout_(document.buffer()),
      colors_(&lightColorScheme()), keys_(&defaultEditorKeys())
{
    installEditorAccessible();
    document_.buffer().addObserver(*this);
    setVerticalScrollBar(new FindMarkBar(this));
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_InputMethodEnabled);
    setAttribute(Qt::WA_KeyCompression, false);
    setAcceptDrops(true);
    viewport()->setAcceptDrops(true);
    viewport()->setMouseTracking(true);
    viewport()->setCursor(Qt::IBeamCursor);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    layout_.setFolds(&editor_.folds());
    layout_.setTokenSource([this](LineNumber line, std::vector<Token>& tokens) { document_.tokens(line, tokens); });
    layout_.setColors(*colors_);
    layout_.setTabColumns(document_.options().tabWidth);
    font_ = defaultFont();
    layout_.setFont(font_);
    connect(&scrollAnimation_, &QVariantAnimation::valueChanged, this, [this](const QVariant& part) {
        const double wanted = std::round(scrollTarget_ * part.toDouble());
        layout_.scrollBy(wanted - scrollDone_);
        scrollDone_ = wanted;
        refresh(false);
    });
    scrollAnimation_.setStartValue(0.0);
    scrollAnimation_.setEndValue(1.0);
    scrollAnimation_.setEasingCurve(QEasingCurve::OutQuad);
    lastCarets_ = editor_.carets();
    scheduleWork(0);
}

EditorView::~EditorView()
{
    document_.buffer().removeObserver(*this);
}

// Changes

void EditorView::textChanged(const TextChange& change)
{
    layout_.textChanged(change);
    // What a button that is held down has begun stays with the text.
    const TextEdit& edit = change.edit;
    dragOrigin_.anchor = edit.map(dragOrigin_.anchor, Stickiness::after);
    dragOrigin_.head = edit.map(dragOrigin_.head, Stickiness::after);
    dragKept_ = dragKept_.mapped(edit, false);
    if (dropAt_)
        dropAt_ = edit.map(*dropAt_, Stickiness::before);
    if (change.cause == TextChange::Cause::load) {
        drag_ = Drag::none;
        if (std::exchange(composing_, false)) {
            layout_.clearPreedit();
            QGuiApplication::inputMethod()->reset();
        }
        findMarks_.clear();
        searchedRange_.reset();
        layout_.setTabColumns(document_.options().tabWidth);
    }
    mapRanges(findMarks_, edit);
    if (searchedRange_)
        searchedRange_ = {edit.map(searchedRange_->start, Stickiness::before),
                          edit.map(searchedRange_->end, Stickiness::after)};
    announceTextChange(*this, change);
    scheduleWork(20);
    // Whoever edited through this view draws at once; for edits from elsewhere this is the only call.
    if (!std::exchange(refreshPosted_, true))
        QMetaObject::invokeMethod(
            this, [this] { refresh(false); }, Qt::QueuedConnection);
}

void EditorView::refresh(bool showCaret)
{
    refreshPosted_ = false;
    updateGeometryOfText();
    // Carets and edits open folds on their way.
    if (std::exchange(hadFolds_, !editor_.folds().empty()) || hadFolds_)
        layout_.foldsChanged();
    if (showCaret)
        layout_.show(editor_.carets().main());
    layout_.keepFilled();
    std::vector<QRectF> recolored;
    layout_.refreshTokens(recolored);
    updateBrackets();
    updateScrollBars();
    const bool moved = lastCarets_ != editor_.carets();
    if (moved)
        restartBlinking();
    damage();
    if (moved) {
        const CaretSet before = std::exchange(lastCarets_, editor_.carets());
        announceCarets(before);
        if (hasFocus())
            QGuiApplication::inputMethod()->update(Qt::ImQueryInput);
        emit caretsChanged();
    }
}

void EditorView::announceCarets(const CaretSet& before)
{
    announceCaretChange(*this, before);
}

void EditorView::perform(const EditResult& result, EditKind kind)
{
    if (readOnly_ && !result.edit.empty())
        return;
    editor_.perform(result, kind);
    refresh();
}

void EditorView::setCarets(const CaretSet& carets, bool show)
{
    editor_.setCarets(carets);
    refresh(show);
}

void EditorView::updateBrackets()
{
    const Utf8Offset at = editor_.carets().main().head;
    const bool selects = editor_.carets().main().hasSelection();
    if (bracketsFor_ == document_.buffer().generation() + 1 && bracketsAt_ == at && bracketsHidden_ == selects)
        return;
    bracketsFor_ = document_.buffer().generation() + 1;
    bracketsAt_ = at;
    bracketsHidden_ = selects;
    brackets_.reset();
    if (selects)
        return;
    tokenLine_.reset();
    BracketRules rules;
    rules.limit = 64 << 10;  // what fits on a screen; farther partners show nothing
    rules.isSkipped = [this](Utf8Offset offset) { return isInStringOrComment(offset); };
    if (const std::optional<BracketMatch> match = BracketMatcher(text(), rules).at(at))
        brackets_ = std::pair(match->open.start, match->close.start);
}

// Asked for one bracket after another, mostly of the same line.
bool EditorView::isInStringOrComment(Utf8Offset offset) const
{
    if (!document_.highlights())
        return false;
    if (!tokenLine_ || offset < tokenLine_->start || offset >= tokenLine_->next) {
        tokenLine_ = text().lineContaining(offset);
        lineTokens_.clear();
        if (tokenLine_->content().size() <= ViewLayout::longLine)
            document_.tokens(tokenLine_->number, lineTokens_);
    }
    const std::size_t inside = offset - tokenLine_->start;
    const auto token = std::partition_point(lineTokens_.begin(), lineTokens_.end(),
                                            [&](const Token& each) { return each.end() <= inside; });
    return token != lineTokens_.end() && token->start <= inside &&
           (token->kind == TokenKind::string || token->kind == TokenKind::comment || token->kind == TokenKind::escape ||
            token->kind == TokenKind::regularExpression);
}

// Geometry

void EditorView::updateGeometryOfText()
{
    const double digits = static_cast<double>(std::max<qsizetype>(3, QString::number(text().lineCount()).size()));
    numberWidth_ = showsLineNumbers_ ? std::ceil((digits + 1) * layout_.columnWidth()) : 0;
    const double margin = numberWidth_ + std::ceil(layout_.rowHeight() * .9);
    if (margin != marginWidth_) {
        marginWidth_ = margin;
        drawn_.clear();
        viewport()->update();
    }
    layout_.setSize(QSizeF(std::max(1.0, viewport()->width() - marginWidth_), std::max(1, viewport()->height())));
}

void EditorView::updateScrollBars()
{
    updatingScrollBars_ = true;
    const double height = layout_.size().height();
    const double total = std::max(layout_.estimatedHeight(), height);
    const double scale = total > barLimit ? barLimit / total : 1;
    QScrollBar* vertical = verticalScrollBar();
    vertical->setPageStep(std::max(1, static_cast<int>(height * scale)));
    vertical->setSingleStep(std::max(1, static_cast<int>(layout_.rowHeight() * scale)));
    if (!vertical->isSliderDown()) {
        vertical->setRange(0, static_cast<int>(std::ceil((total - height) * scale)));
        vertical->setValue(static_cast<int>(layout_.estimatedTop() * scale));
    }
    const double width =
        layout_.wraps() ? 0 : layout_.contentWidth() + 4 * layout_.columnWidth() - layout_.size().width();
    QScrollBar* horizontal = horizontalScrollBar();
    horizontal->setPageStep(static_cast<int>(layout_.size().width()));
    horizontal->setSingleStep(static_cast<int>(layout_.columnWidth() * 3));
    horizontal->setRange(
        0, std::max({0, static_cast<int>(std::ceil(width)), static_cast<int>(layout_.horizontalOffset())}));
    horizontal->setValue(static_cast<int>(layout_.horizontalOffset()));
    updatingScrollBars_ = false;
    std::vector<double> marks;
    if (!findMarks_.empty()) {
        // More marks than pixels cannot be told apart.
        const std::size_t step = findMarks_.size() / 500 + 1;
        for (std::size_t index = 0; index < findMarks_.size(); index += step)
            marks.push_back(layout_.estimatedTop(findMarks_[index].start) / total);
    }
    static_cast<FindMarkBar*>(vertical)->setMarks(std::move(marks), *colors_);
}

void EditorView::scrollContentsBy(int, int)
{
    if (updatingScrollBars_)
        return;
    const QScrollBar* vertical = verticalScrollBar();
    const double height = layout_.size().height();
    const double total = std::max(layout_.estimatedHeight(), height);
    const double scale = total > barLimit ? barLimit / total : 1;
    const int before =
        std::clamp(static_cast<int>(layout_.estimatedTop() * scale), vertical->minimum(), vertical->maximum());
    if (vertical->value() != before) {
        // Arrows and pages move by what is seen; only the slider goes by the estimate.
        const double pixels = (vertical->value() - before) / scale;
        if (vertical->value() == vertical->maximum())
            layout_.scrollToEnd();
        else if (!vertical->isSliderDown() && std::abs(pixels) <= 2 * height)
            layout_.scrollBy(-pixels);
        else
            layout_.scrollToEstimated(vertical->value() / scale);
    }
    layout_.setHorizontalOffset(horizontalScrollBar()->value());
    refresh(false);
}

void EditorView::resizeEvent(QResizeEvent* event)
{
    QAbstractScrollArea::resizeEvent(event);
    drawn_.clear();
    if (bar_)
        bar_->setGeometry(0, 0, width(), bar_->sizeHint().height());
    const bool caretSeen = layout_.caretRect(editor_.carets().main()).has_value();
    refresh(false);
    if (caretSeen && event->oldSize().isValid())
        refresh(true);
    viewport()->update();
}

void EditorView::setBar(QWidget* bar)
{
    if (bar == bar_)
        return;
    if (bar_)
        bar_->deleteLater();
    bar_ = bar;
    setViewportMargins(0, bar ? bar->sizeHint().height() : 0, 0, 0);
    if (!bar)
        return;
    bar->setParent(this);
    bar->setGeometry(0, 0, width(), bar->sizeHint().height());
    bar->show();
}

// Settings

void EditorView::setEditorFont(const QFont& font)
{
    if (font == font_)
        return;
    font_ = font;
    setZoom(zoom_);
}

void EditorView::zoom(int steps)
{
    setZoom(steps == 0 ? 0 : zoom_ + steps);
}

void EditorView::setZoom(int zoom)
{
    zoom_ = std::clamp(zoom, -8, 40);
    QFont font = font_;
    if (font.pointSizeF() > 0)
        font.setPointSizeF(std::max(4.0, font.pointSizeF() + zoom_));
    else
        font.setPixelSize(std::max(5, font.pixelSize() + zoom_));
    layout_.setFont(font);
    drawn_.clear();
    refresh(false);
    viewport()->update();
}

void EditorView::optionsChanged()
{
    if (layout_.tabColumns() == document_.options().tabWidth)
        return;
    layout_.setTabColumns(document_.options().tabWidth);
    drawn_.clear();
    refresh(false);
    viewport()->update();
}

void EditorView::setColors(const ColorScheme& colors)
{
    colors_ = &colors;
    layout_.setColors(colors);
    drawn_.clear();
    refresh(false);
    viewport()->update();
}

void EditorView::setDefaults(const Defaults& defaults)
{
    const Defaults before = std::exchange(defaults_, defaults);
    if (before.wraps != defaults.wraps)
        setWrap(defaults.wraps);
    if (before.showsBlanks != defaults.showsBlanks)
        setShowsBlanks(defaults.showsBlanks);
    if (before.showsLineNumbers != defaults.showsLineNumbers)
        setShowsLineNumbers(defaults.showsLineNumbers);
}

void EditorView::setWrap(bool wrap)
{
    layout_.setWrap(wrap);
    drawn_.clear();
    refresh(true);
    viewport()->update();
}

void EditorView::setShowsBlanks(bool shows)
{
    showsBlanks_ = shows;
    viewport()->update();
}

void EditorView::setShowsLineNumbers(bool shows)
{
    showsLineNumbers_ = shows;
    refresh(false);
}

void EditorView::setRightMargin(std::size_t column)
{
    rightMargin_ = column;
    viewport()->update();
}

void EditorView::setOvertype(bool overtype)
{
    document_.options().overtype = overtype;
    // It is a setting of the document, so the carets of its other views change, too.
    for (QWidget* widget : QApplication::allWidgets()) {
        const auto* view = qobject_cast<EditorView*>(widget);
        if (view && &view->document_ == &document_)
            view->viewport()->update();
    }
}

void EditorView::setFindMarks(std::vector<Utf8Range> marks)
{
    findMarks_ = std::move(marks);
    refresh(false);
}

void EditorView::setSearchedRange(std::optional<Utf8Range> range)
{
    searchedRange_ = range;
    refresh(false);
}

void EditorView::setAnnotation(LineNumber line, const QString& annotation)
{
    if (annotation.isEmpty())
        annotations_.erase(line.value);
    else
        annotations_[line.value] = annotation;
    refresh(false);
}

EditorState EditorView::state() const
{
    EditorState state = editorState(editor_, layout_.anchor().offset, layout_.anchor().scrolled / layout_.rowHeight());
    if (zoom_ != 0)
        state.zoom = zoom_;
    if (wraps() != defaults_.wraps)
        state.wraps = wraps();
    if (showsBlanks_ != defaults_.showsBlanks)
        state.showsBlanks = showsBlanks_;
    if (showsLineNumbers_ != defaults_.showsLineNumbers)
        state.showsLineNumbers = showsLineNumbers_;
    return state;
}

void EditorView::restore(const EditorState& state)
{
    if (state.zoom)
        setZoom(static_cast<int>(std::clamp<std::int64_t>(*state.zoom, -100, 100)));
    if (state.wraps)
        setWrap(*state.wraps);
    if (state.showsBlanks)
        setShowsBlanks(*state.showsBlanks);
    if (state.showsLineNumbers)
        setShowsLineNumbers(*state.showsLineNumbers);
    const ScrollPlace place = restoreEditor(editor_, state);
    updateGeometryOfText();
    layout_.foldsChanged();
    layout_.setAnchor({place.offset, place.scrolledRows * layout_.rowHeight()});
    refresh(false);
}

// Time

void EditorView::restartBlinking()
{
    caretOn_ = true;
    const int flash = QApplication::cursorFlashTime();
    if (hasFocus() && flash > 1)
        blinkTimer_.start(flash / 2, this);
    else
        blinkTimer_.stop();
}

void EditorView::scheduleWork(int milliseconds)
{
    workTimer_.start(milliseconds, this);
}

void EditorView::doWork()
{
    const std::optional<LineRange> changed = document_.work(workBytes);
    if (!changed) {
        workTimer_.stop();
        return;
    }
    const auto& seen = layout_.visible();
    if (!changed->empty() && changed->start <= seen.back().line && changed->end > seen.front().line)
        refresh(false);
    scheduleWork(0);
}

void EditorView::timerEvent(QTimerEvent* event)
{
    if (event->timerId() == blinkTimer_.timerId()) {
        caretOn_ = !caretOn_;
        damage();
    } else if (event->timerId() == workTimer_.timerId()) {
        doWork();
    } else if (event->timerId() == autoscrollTimer_.timerId()) {
        autoscroll();
    } else {
        QAbstractScrollArea::timerEvent(event);
    }
}

void EditorView::focusInEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusInEvent(event);
    restartBlinking();
    damage();
}

void EditorView::focusOutEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusOutEvent(event);
    finishComposition();
    blinkTimer_.stop();
    damage();
}

void EditorView::changeEvent(QEvent* event)
{
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::StyleChange)
        refresh(false);
}

QRect EditorView::caretRect(const Caret& caret)
{
    const std::optional<QRectF> rect = layout_.caretRect(caret);
    return rect ? rect->translated(marginWidth_, 0).toAlignedRect() : QRect();
}

QRect EditorView::characterRect(Utf8Offset offset)
{
    const std::optional<QRectF> caret = layout_.caretRect(Caret(offset));
    if (!caret)
        return {};
    const ViewLayout::Placed placed = layout_.blockAt(offset);
    const Utf8Offset end = std::min(nextGrapheme(text(), offset), placed.range.end);
    QRectF rect = placed.block->drawnRect(offset - placed.range.start, end - placed.range.start);
    std::vector<QRectF> covered;
    if (rect.isEmpty() && offset < end)
        placed.block->appendRects(covered, offset - placed.range.start, end - placed.range.start, false);
    if (!covered.empty())
        rect = covered.front();
    rect = rect.isEmpty() ? *caret : rect.translated(-layout_.horizontalOffset(), placed.top);
    return rect.translated(marginWidth_, 0).toAlignedRect() & viewport()->rect();
}

ViewLayout::Hit EditorView::hitAt(QPointF point)
{
    return layout_.hit(point - QPointF(marginWidth_, 0));
}

Utf8Offset EditorView::characterUnder(QPointF point)
{
    return layout_.characterHit(point - QPointF(marginWidth_, 0)).offset;
}

Utf8Offset EditorView::offsetAt(QPoint point)
{
    return hitAt(point).offset;
}

}  // namespace penmark
