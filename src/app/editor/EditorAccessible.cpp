// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/EditorAccessible.h"

#include "app/editor/EditorView.h"
#include "app/editor/Strings.h"
#include "text/Characters.h"
#include "text/commands/CommandResult.h"
#include "text/highlight/ColorScheme.h"

#include <QAccessible>
#include <QTextBoundaryFinder>
#include <algorithm>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace penmark {

namespace {

constexpr std::size_t nearBytes = 8 << 10;  // on either side, where words and sentences end

int toInt(Utf16Offset offset)
{
    return static_cast<int>(std::min<std::size_t>(offset.value, std::numeric_limits<int>::max()));
}

int toInt(const TextSnapshot& text, Utf8Offset offset)
{
    return toInt(text.toUtf16(offset));
}

QString toString(const TextSnapshot& text, Utf8Range range)
{
    return toQString(text.text(range));
}

// At most so many bytes of the range, from its start.
QString toString(const TextSnapshot& text, Utf8Range range, std::size_t bytes)
{
    if (range.size() > bytes)
        range.end = text.characterStart(range.start + bytes);
    return toString(text, range);
}

// The part of the range near the place, cut at characters as they are seen.
Utf8Range nearPart(const TextSnapshot& text, Utf8Range range, Utf8Offset place)
{
    if (place - range.start > nearBytes)
        range.start = graphemeStart(text, text.characterStart(place - nearBytes));
    if (range.end - place > nearBytes)
        range.end = graphemeStart(text, text.characterStart(place + nearBytes));
    return range;
}

// The piece of a line, line end included, that contains the place. Where pieces begin depends on the line alone.
Utf8Range pieceOf(const TextSnapshot& text, const TextLine& line, Utf8Offset place, std::size_t pieceBytes)
{
    if (line.whole().size() <= pieceBytes)
        return line.whole();
    const auto cut = [&](std::size_t piece) {
        const Utf8Offset at = line.start + piece * pieceBytes;
        return piece == 0 ? line.start : at >= line.end ? line.next : graphemeStart(text, text.characterStart(at));
    };
    std::size_t piece = (std::min(place, line.end) - line.start) / pieceBytes;
    if (piece > 0 && cut(piece) == line.next)
        --piece;
    if (place >= cut(piece + 1) && cut(piece + 1) < line.next)
        ++piece;
    return {cut(piece), cut(piece + 1)};
}

// What is too long to be seen as a whole from each place in it is given in pieces, the same from wherever it is asked.
Utf8Range settled(const TextSnapshot& text, const TextLine& line, Utf8Offset place, Utf8Range seen)
{
    if (seen.size() < nearBytes / 2)  // the part may have been cut that much before its limit
        return seen;
    const Utf8Range piece = pieceOf(text, line, place, nearBytes / 4);
    return {std::max(seen.start, piece.start), std::min(seen.end, piece.end)};
}

Utf8Range wordNear(const TextSnapshot& text, const TextLine& line, Utf8Offset place)
{
    if (place >= line.end)
        return {line.end, line.next};
    const Utf8Range part = nearPart(text, line.content(), place);
    const Utf8Range word = wordAt(text.slice(part), Utf8Offset(place - part.start));
    return settled(text, line, place, {part.start + word.start.value, part.start + word.end.value});
}

Utf8Range sentenceNear(const TextSnapshot& text, const TextLine& line, Utf8Offset place)
{
    const Utf8Range part = nearPart(text, line.whole(), place);
    const TextSnapshot slice = text.slice(part);
    const QString string = toQString(slice.text());
    QTextBoundaryFinder finder(QTextBoundaryFinder::Sentence, string);
    finder.setPosition(toInt(slice, Utf8Offset(place - part.start)));
    const qsizetype start =
        finder.isAtBoundary() ? finder.position() : std::max<qsizetype>(finder.toPreviousBoundary(), 0);
    finder.setPosition(start);
    const qsizetype next = finder.toNextBoundary();
    const auto inText = [&](qsizetype position) {
        return part.start + slice.toUtf8(Utf16Offset(static_cast<std::size_t>(position))).value;
    };
    return settled(text, line, place, {inText(start), inText(next < 0 ? string.size() : next)});
}

Utf8Range paragraphPiece(const TextSnapshot& text, const TextLine& line, Utf8Offset place)
{
    return pieceOf(text, line, place, EditorAccessible::pieceBytes);
}

// As the attributes of text are written: "name:value;".
void appendAttribute(QString& to, QLatin1StringView name, const QString& value)
{
    to += name;
    to += QLatin1Char(':');
    for (const QChar unit : value) {
        if (QStringLiteral("\\:;,=").contains(unit))
            to += QLatin1Char('\\');
        to += unit;
    }
    to += QLatin1Char(';');
}

QString colorText(Rgb rgb)
{
    return QStringLiteral("rgb(%1,%2,%3)").arg(rgb.red).arg(rgb.green).arg(rgb.blue);
}

QAccessibleInterface* makeAccessible(const QString& className, QObject* object)
{
    if (className != QLatin1StringView(EditorView::staticMetaObject.className()))
        return nullptr;
    EditorView* const view = qobject_cast<EditorView*>(object);
    return view ? new EditorAccessible(*view) : nullptr;
}

void (*announcementHandler)(QAccessibleEvent* event) = nullptr;

bool isHeard()
{
    return announcementHandler || QAccessible::isActive();
}

void tell(QAccessibleEvent& event)
{
    if (announcementHandler)
        announcementHandler(&event);
    else
        QAccessible::updateAccessibility(&event);
}

void announcePlace(EditorView& view, const TextChange& change, Utf8Range removed, Utf8Range inserted)
{
    constexpr std::size_t limit = EditorAccessible::announcedBytes / 2;
    const int position = toInt(change.after, inserted.start);
    const QString before = toString(change.before, removed, limit);
    const QString after = toString(change.after, inserted, limit);
    if (before.isEmpty()) {
        QAccessibleTextInsertEvent event(&view, position, after);
        tell(event);
    } else if (after.isEmpty()) {
        QAccessibleTextRemoveEvent event(&view, position, before);
        tell(event);
    } else {
        QAccessibleTextUpdateEvent event(&view, position, before, after);
        tell(event);
    }
}

std::vector<Utf8Range> selectionsOf(const CaretSet& carets)
{
    std::vector<Utf8Range> selections;
    for (const Caret& caret : carets) {
        if (caret.hasSelection())
            selections.push_back(caret.range());
    }
    return selections;
}

}  // namespace

void installEditorAccessible()
{
    QAccessible::installFactory(makeAccessible);
}

void setAnnouncementHandler(void (*handler)(QAccessibleEvent* event))
{
    announcementHandler = handler;
}

void announceTextChange(EditorView& view, const TextChange& change)
{
    if (!isHeard())
        return;
    const auto replacements = change.edit.replacements();
    if (replacements.empty())
        return;
    const std::size_t bytes = change.edit.removedBytes() + change.edit.inserted().end().value;
    if (replacements.size() > EditorAccessible::announcedPlaces || bytes > EditorAccessible::announcedBytes) {
        announcePlace(view, change, change.edit.spanBefore(), change.edit.spanAfter());
        return;
    }
    // Each event finds the text as those before it left it, which up to its place is the text after the edit.
    std::size_t shift = 0;  // modulo 2^64
    for (const Replacement& each : replacements) {
        const Utf8Offset start = each.start + shift;
        announcePlace(view, change, {each.start, each.end()}, {start, start + each.inserted});
        shift += each.inserted - each.removed;
    }
}

void announceCaretChange(EditorView& view, const CaretSet& before)
{
    if (!isHeard())
        return;
    const CaretSet& now = view.editor().carets();
    const TextSnapshot& text = view.text();
    if (now.main().head != before.main().head) {
        QAccessibleTextCursorEvent event(&view, toInt(text, now.main().head));
        tell(event);
    }
    if (selectionsOf(now) != selectionsOf(before)) {
        const Utf8Range range = now.main().range();
        QAccessibleTextSelectionEvent event(&view, toInt(text, range.start), toInt(text, range.end));
        event.setCursorPosition(toInt(text, now.main().head));
        tell(event);
    }
}

EditorAccessible::EditorAccessible(EditorView& view) : QAccessibleWidget(&view, QAccessible::EditableText) {}

EditorView& EditorAccessible::view() const
{
    return static_cast<EditorView&>(*widget());
}

void* EditorAccessible::interface_cast(QAccessible::InterfaceType type)
{
    if (type == QAccessible::TextInterface)
        return static_cast<QAccessibleTextInterface*>(this);
    if (type == QAccessible::EditableTextInterface)
        return static_cast<QAccessibleEditableTextInterface*>(this);
    return QAccessibleWidget::interface_cast(type);
}

QAccessible::State EditorAccessible::state() const
{
    QAccessible::State state = QAccessibleWidget::state();
    state.multiLine = true;
    state.selectableText = true;
    state.focusable = true;
    state.editable = !view().isReadOnly();
    state.readOnly = view().isReadOnly();
    return state;
}

QString EditorAccessible::text(QAccessible::Text which) const
{
    if (which != QAccessible::Value)
        return QAccessibleWidget::text(which);
    const TextSnapshot& text = view().text();
    return text.end().value <= pieceBytes ? toString(text, {{}, text.end()}) : QString();
}

// Places

std::optional<Utf8Offset> EditorAccessible::place(int offset) const
{
    const TextSnapshot& text = view().text();
    if (offset == -1)
        return text.end();
    if (offset == -2)
        return view().editor().carets().main().head;
    if (offset < 0 || Utf16Offset(static_cast<std::size_t>(offset)) > text.utf16End())
        return std::nullopt;
    return text.toUtf8(Utf16Offset(static_cast<std::size_t>(offset)));
}

int EditorAccessible::characterCount() const
{
    return toInt(view().text().utf16End());
}

QString EditorAccessible::text(int start, int end) const
{
    const TextSnapshot& text = view().text();
    const int count = characterCount();
    const auto clamped = [&](int offset) {
        return offset == -1 ? count : offset == -2 ? cursorPosition() : std::clamp(offset, 0, count);
    };
    start = clamped(start);
    end = clamped(end);
    if (start > end)
        std::swap(start, end);
    // Half a surrogate pair is given as such: the answer is as long as what was asked.
    const Utf16Offset to(static_cast<std::size_t>(end));
    Utf8Range range = text.toUtf8(Utf16Range{Utf16Offset(static_cast<std::size_t>(start)), to});
    if (text.toUtf16(range.end) < to)
        range.end += 4;
    return toString(text, range).mid(start - toInt(text, range.start), end - start);
}

Utf8Range EditorAccessible::rowAt(Utf8Offset offset) const
{
    const TextSnapshot& text = view().text();
    const ViewLayout::Placed placed = view().textLayout().blockAt(offset);
    const TextLine line = text.lineContaining(offset);
    if (placed.line != line.number)  // folded
        return paragraphPiece(text, line, offset);
    const LineBlock& block = *placed.block;
    const std::size_t inside = std::clamp(offset, placed.range.start, placed.range.end) - placed.range.start;
    const int row = block.rowOf(inside, CaretAffinity::downstream);
    const bool endsLine = placed.endsLine && row + 1 == block.rows();
    return {placed.range.start + block.rowStart(row), endsLine ? line.next : placed.range.start + block.rowEnd(row)};
}

Utf8Range EditorAccessible::unitAt(Utf8Offset offset, QAccessible::TextBoundaryType boundary) const
{
    const TextSnapshot& text = view().text();
    switch (boundary) {
    case QAccessible::CharBoundary: {
        const Utf8Offset start = graphemeStart(text, offset);
        return {start, start < text.end() ? nextGrapheme(text, start) : start};
    }
    case QAccessible::WordBoundary:
        return wordNear(text, text.lineContaining(offset), offset);
    case QAccessible::SentenceBoundary:
        return sentenceNear(text, text.lineContaining(offset), offset);
    case QAccessible::ParagraphBoundary:
        return paragraphPiece(text, text.lineContaining(offset), offset);
    case QAccessible::LineBoundary:
        return rowAt(offset);
    case QAccessible::NoBoundary:
        break;
    }
    return {{}, text.end()};
}

QString EditorAccessible::answer(std::optional<Utf8Range> range, int* start, int* end) const
{
    const TextSnapshot& text = view().text();
    *start = range ? toInt(text, range->start) : -1;
    *end = range ? toInt(text, range->end) : -1;
    return range ? toString(text, *range) : QString();
}

QString EditorAccessible::textAtOffset(int offset, QAccessible::TextBoundaryType boundary, int* start, int* end) const
{
    const std::optional<Utf8Offset> at = place(offset);
    return answer(at ? std::optional(unitAt(*at, boundary)) : std::nullopt, start, end);
}

QString EditorAccessible::textBeforeOffset(int offset, QAccessible::TextBoundaryType boundary, int* start,
                                           int* end) const
{
    const std::optional<Utf8Offset> at = place(offset);
    const Utf8Offset unitStart = at ? unitAt(*at, boundary).start : Utf8Offset();
    if (unitStart == Utf8Offset())
        return answer(std::nullopt, start, end);
    return answer(unitAt(view().text().characterStart(unitStart - 1), boundary), start, end);
}

QString EditorAccessible::textAfterOffset(int offset, QAccessible::TextBoundaryType boundary, int* start,
                                          int* end) const
{
    const std::optional<Utf8Offset> at = place(offset);
    if (!at)
        return answer(std::nullopt, start, end);
    const Utf8Range unit = unitAt(*at, boundary);
    // Behind the last unit there is none, except the empty line behind the last line end.
    const Utf8Range next = unit.empty() ? unit : unitAt(unit.end, boundary);
    return answer(next.start >= unit.end && !unit.empty() ? std::optional(next) : std::nullopt, start, end);
}

// Carets

int EditorAccessible::cursorPosition() const
{
    return toInt(view().text(), view().editor().carets().main().head);
}

void EditorAccessible::setCursorPosition(int position)
{
    if (const std::optional<Utf8Offset> at = place(position))
        view().setCarets(CaretSet(Caret(graphemeStart(view().text(), *at))));
}

int EditorAccessible::selectionCount() const
{
    const CaretSet& carets = view().editor().carets();
    return static_cast<int>(
        std::count_if(carets.begin(), carets.end(), [](const Caret& caret) { return caret.hasSelection(); }));
}

namespace {

// Which caret has the selection with this index.
std::optional<std::size_t> selectedCaret(const CaretSet& carets, int index)
{
    for (std::size_t each = 0; index >= 0 && each < carets.size(); ++each) {
        if (carets[each].hasSelection() && index-- == 0)
            return each;
    }
    return std::nullopt;
}

}  // namespace

void EditorAccessible::selection(int index, int* start, int* end) const
{
    const CaretSet& carets = view().editor().carets();
    const std::optional<std::size_t> caret = selectedCaret(carets, index);
    *start = caret ? toInt(view().text(), carets[*caret].start()) : 0;
    *end = caret ? toInt(view().text(), carets[*caret].end()) : 0;
}

void EditorAccessible::addSelection(int start, int end)
{
    const std::optional<Utf8Offset> from = place(start);
    const std::optional<Utf8Offset> to = place(end);
    if (!from || !to)
        return;
    const TextSnapshot& text = view().text();
    const Caret added(graphemeStart(text, *from), graphemeStart(text, *to));
    CaretSet carets = view().editor().carets();
    if (carets.hasSelection())
        carets.add(added);
    else
        carets = CaretSet(added);
    view().setCarets(carets);
}

void EditorAccessible::removeSelection(int index)
{
    CaretSet carets = view().editor().carets();
    const std::optional<std::size_t> caret = selectedCaret(carets, index);
    if (!caret)
        return;
    if (carets.size() == 1)
        carets = CaretSet(Caret(carets.main().head));
    else
        carets.remove(*caret);
    view().setCarets(carets, false);
}

void EditorAccessible::setSelection(int index, int start, int end)
{
    const CaretSet& carets = view().editor().carets();
    const std::optional<std::size_t> caret = selectedCaret(carets, index);
    if (!caret) {
        if (index == 0)
            addSelection(start, end);
        return;
    }
    const std::optional<Utf8Offset> from = place(start);
    const std::optional<Utf8Offset> to = place(end);
    if (!from || !to)
        return;
    const TextSnapshot& text = view().text();
    std::vector<Caret> all(carets.begin(), carets.end());
    all[*caret] = Caret(graphemeStart(text, *from), graphemeStart(text, *to));
    view().setCarets(CaretSet(std::move(all), carets.mainIndex()));
}

// What is seen

QRect EditorAccessible::characterRect(int offset) const
{
    const std::optional<Utf8Offset> at = place(offset);
    const QRect rect = at ? view().characterRect(*at) : QRect();
    return rect.isEmpty() ? QRect() : QRect(view().viewport()->mapToGlobal(rect.topLeft()), rect.size());
}

int EditorAccessible::offsetAtPoint(const QPoint& point) const
{
    const QPoint inside = view().viewport()->mapFromGlobal(point);
    if (!view().viewport()->rect().contains(inside))
        return -1;
    return toInt(view().text(), view().characterUnder(inside));
}

void EditorAccessible::scrollToSubstring(int start, int end)
{
    const std::optional<Utf8Offset> from = place(start);
    const std::optional<Utf8Offset> to = place(end);
    if (!from || !to)
        return;
    ViewLayout& layout = view().textLayout();
    // The start last: it is what has to be seen if not all can be.
    layout.show(Caret(*to));
    layout.show(Caret(*from));
    view().refresh(false);
}

QString EditorAccessible::attributes(int offset, int* start, int* end) const
{
    const std::optional<Utf8Offset> at = place(offset);
    if (!at)
        return answer(std::nullopt, start, end);
    const TextSnapshot& text = view().text();
    const TextLine line = text.lineContaining(*at);
    Utf8Range run = line.whole();
    const ColorScheme& colors = view().colors();
    TokenStyle style{colors.text, false, false};
    if (view().document().highlights() && line.content().size() <= ViewLayout::longLine) {
        std::vector<Token> tokens;
        view().document().tokens(line.number, tokens);
        const std::size_t inside = *at - line.start;
        for (const Token& token : tokens) {
            if (token.start > inside) {
                run.end = std::min(run.end, line.start + token.start);
                break;
            }
            run.start = line.start + (inside < token.end() ? token.start : token.end());
            if (inside < token.end()) {
                run.end = line.start + token.end();
                style = colors.style(token.kind);
                break;
            }
        }
    }
    *start = toInt(text, run.start);
    *end = toInt(text, run.end);
    const QFont& font = view().textLayout().font();
    QString attributes;
    appendAttribute(attributes, QLatin1StringView("font-family"), QLatin1Char('"') + font.family() + QLatin1Char('"'));
    appendAttribute(attributes, QLatin1StringView("font-size"),
                    font.pointSizeF() > 0 ? QStringLiteral("%1pt").arg(font.pointSizeF())
                                          : QStringLiteral("%1px").arg(font.pixelSize()));
    appendAttribute(attributes, QLatin1StringView("font-weight"),
                    style.bold || font.bold() ? QStringLiteral("bold") : QStringLiteral("normal"));
    appendAttribute(attributes, QLatin1StringView("font-style"),
                    style.italic || font.italic() ? QStringLiteral("italic") : QStringLiteral("normal"));
    appendAttribute(attributes, QLatin1StringView("color"), colorText(style.color));
    appendAttribute(attributes, QLatin1StringView("background-color"), colorText(colors.background));
    return attributes;
}

// Edits

void EditorAccessible::deleteText(int start, int end)
{
    replaceText(start, end, {});
}

void EditorAccessible::insertText(int offset, const QString& text)
{
    replaceText(offset, offset, text);
}

void EditorAccessible::replaceText(int start, int end, const QString& text)
{
    const std::optional<Utf8Offset> from = place(start);
    const std::optional<Utf8Offset> to = place(end);
    if (!from || !to || view().isReadOnly())
        return;
    QString made = text;
    made.replace(QLatin1StringView("\r\n"), QLatin1StringView("\n"));
    made.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    const std::string& lineEnd = view().document().options().lineEnd;
    if (lineEnd != "\n")
        made.replace(QLatin1Char('\n'), QString::fromStdString(lineEnd));
    commands::CommandResult result(view().text(), view().editor().carets());
    result.replace({std::min(*from, *to), std::max(*from, *to)}, made.toStdString());
    view().perform(std::move(result).buildMapped(Stickiness::after));
}

}  // namespace penmark
