// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/EditorCommands.h"

#include "app/editor/EditorView.h"
#include "text/BracketMatcher.h"
#include "text/CaretMotion.h"
#include "text/commands/Comments.h"
#include "text/commands/Deleting.h"
#include "text/commands/Indent.h"
#include "text/commands/LetterCase.h"
#include "text/commands/LineOrder.h"
#include "text/commands/Lines.h"
#include "text/commands/Occurrences.h"
#include "text/commands/Typing.h"

#include <QHash>
#include <cstring>

namespace penmark {

namespace {

template <Motion motion, bool select>
void go(EditorView& view)
{
    constexpr bool jump =
        motion == Motion::documentStart || motion == Motion::documentEnd || motion == Motion::matchingBracket;
    if (jump)
        view.editor().rememberPlace();
    view.setCarets(moveCarets(view.text(), view.editor().carets(), motion, select));
}

template <VisualMotion motion, bool select>
void goByRow(EditorView& view)
{
    view.setCarets(moveCarets(view.text(), view.editor().carets(), motion, select, view.textLayout()));
}

// Left and right are meant as they are seen: in lines that run to the left, or both ways, the layout knows the way.
template <bool toRight, bool select>
void goVisually(EditorView& view)
{
    const CaretSet& carets = view.editor().carets();
    std::vector<Caret> moved;
    moved.reserve(carets.size());
    for (const Caret& caret : carets) {
        if (caret.hasSelection() && !select) {
            moved.push_back(caret);
            continue;
        }
        const std::optional<Utf8Offset> to = view.textLayout().visualStep(caret.head, toRight);
        if (!to)
            break;
        moved.push_back(select ? Caret(caret.anchor, *to) : Caret(*to));
    }
    // One plain line among them and all move as they are written.
    if (moved.size() != carets.size() || (carets.hasSelection() && !select))
        view.setCarets(
            moveCarets(view.text(), carets, toRight ? Motion::nextGrapheme : Motion::previousGrapheme, select));
    else
        view.setCarets(CaretSet(std::move(moved), carets.mainIndex()));
}

template <bool toRight, bool select>
void goByWord(EditorView& view)
{
    const bool rightToLeft = view.textLayout().blockAt(view.editor().carets().main().head).block->isRightToLeft();
    const bool onwards = toRight != rightToLeft;
    view.setCarets(moveCarets(view.text(), view.editor().carets(),
                              onwards ? Motion::nextWordStart : Motion::previousWordStart, select));
}

template <SelectionUnit unit>
void grow(EditorView& view)
{
    view.setCarets(growSelections(view.text(), view.editor().carets(), unit), unit != SelectionUnit::all);
}

template <bool below>
void addCaret(EditorView& view)
{
    const CaretSet& carets = view.editor().carets();
    const Caret& edge = below ? carets[carets.size() - 1] : carets[0];
    const CaretSet moved = moveCarets(view.text(), CaretSet(edge), below ? VisualMotion::rowDown : VisualMotion::rowUp,
                                      false, view.textLayout());
    CaretSet more = carets;
    more.add(moved.main());
    view.setCarets(more);
}

using Plain = EditResult (*)(const TextSnapshot&, const CaretSet&);
using WithOptions = EditResult (*)(const TextSnapshot&, const CaretSet&, const EditOptions&);

template <Plain command>
void edit(EditorView& view)
{
    view.perform(command(view.text(), view.editor().carets()));
}

template <WithOptions command>
void editWith(EditorView& view)
{
    view.perform(command(view.text(), view.editor().carets(), view.editor().options()));
}

template <bool descending>
void sort(EditorView& view)
{
    commands::SortOrder order;
    order.descending = descending;
    view.perform(commands::sortLines(view.text(), view.editor().carets(), order));
}

void convertLineEnds(EditorView& view, const char* lineEnd)
{
    view.document().options().lineEnd = lineEnd;
    view.perform(commands::convertLineEnds(view.text(), view.editor().carets(), lineEnd));
}

void folded(EditorView& view, const std::optional<std::string>& failure)
{
    if (failure)
        emit view.message(QString::fromStdString(*failure));
    view.textLayout().foldsChanged();
    view.refresh();
}

template <int rows>
void scroll(EditorView& view)
{
    view.textLayout().scrollBy(-rows * view.textLayout().rowHeight());
    view.refresh(false);
}

const EditorCommand table[] = {
    {"edit.undo", "Undo", "Ctrl+Z", true, [](EditorView& view) { view.editor().undo(); view.refresh(); }},
    {"edit.redo", "Redo", "Ctrl+Shift+Z; Ctrl+Y", true, [](EditorView& view) { view.editor().redo(); view.refresh(); }},
    {"edit.redoOtherBranch", "Redo Other Branch", "", true,
     [](EditorView& view) { view.editor().redoOtherBranch(); view.refresh(); }},
    {"edit.cut", "Cut", "Ctrl+X; Shift+Del", true, [](EditorView& view) { view.cut(); }},
    {"edit.copy", "Copy", "Ctrl+C; Ctrl+Ins", false, [](EditorView& view) { view.copy(); }},
    {"edit.paste", "Paste", "Ctrl+V; Shift+Ins", true, [](EditorView& view) { view.paste(); }},
    {"edit.selectAll", "Select All", "Ctrl+A", false, grow<SelectionUnit::all>},

    {"edit.deleteBackward", "Delete Backward", "Backspace; Shift+Backspace", true,
     [](EditorView& view) {
         view.perform(commands::deleteBackward(view.text(), view.editor().carets(), view.editor().options()), EditKind::deleting);
     }},
    {"edit.deleteForward", "Delete Forward", "Del", true,
     [](EditorView& view) { view.perform(commands::deleteForward(view.text(), view.editor().carets()), EditKind::deleting); }},
    {"edit.deleteWordLeft", "Delete Word Left", "Ctrl+Backspace", true, edit<commands::deleteWordLeft>},
    {"edit.deleteWordRight", "Delete Word Right", "Ctrl+Del", true, edit<commands::deleteWordRight>},
    {"edit.deleteToLineStart", "Delete to Line Start", "Ctrl+Shift+Backspace", true, edit<commands::deleteToLineStart>},
    {"edit.deleteToLineEnd", "Delete to Line End", "Ctrl+Shift+Del", true, edit<commands::deleteToLineEnd>},
    {"edit.newline", "New Line", "Return; Enter; Shift+Return; Shift+Enter", true, editWith<commands::insertNewline>},
    {"edit.tab", "Tab", "Tab", true, editWith<commands::tabKey>},
    {"edit.backTab", "Back Tab", "Shift+Tab; Backtab; Shift+Backtab", true, editWith<commands::backTabKey>},
    {"edit.transpose", "Transpose Characters", "", true, edit<commands::transpose>},
    {"edit.overtype", "Overtype", "Ins", true,
     [](EditorView& view) { view.setOvertype(!view.document().options().overtype); }},

    {"edit.line.moveUp", "Move Lines Up", "Alt+Up", true, edit<commands::moveLinesUp>},
    {"edit.line.moveDown", "Move Lines Down", "Alt+Down", true, edit<commands::moveLinesDown>},
    {"edit.line.duplicate", "Duplicate", "Ctrl+Shift+D", true, editWith<commands::duplicate>},
    {"edit.line.delete", "Delete Lines", "Ctrl+Shift+K", true, edit<commands::deleteLines>},
    {"edit.line.join", "Join Lines", "Ctrl+J", true, edit<commands::joinLines>},
    {"edit.line.select", "Select Line", "Ctrl+L", false, grow<SelectionUnit::line>},
    {"edit.line.insertBelow", "Insert Line Below", "Ctrl+Return; Ctrl+Enter", true, editWith<commands::insertLineBelow>},
    {"edit.line.insertAbove", "Insert Line Above", "Ctrl+Shift+Return; Ctrl+Shift+Enter", true,
     editWith<commands::insertLineAbove>},
    {"edit.line.sort", "Sort Lines", "", true, sort<false>},
    {"edit.line.sortDescending", "Sort Lines Descending", "", true, sort<true>},
    {"edit.line.reverse", "Reverse Lines", "", true, edit<commands::reverseLines>},
    {"edit.line.unique", "Keep Unique Lines", "", true, edit<commands::uniqueLines>},
    {"edit.line.trim", "Trim Trailing Blanks", "", true, edit<commands::trimTrailingBlanks>},
    {"edit.lineEnds.lf", "To LF", "", true, [](EditorView& view) { convertLineEnds(view, "\n"); }},
    {"edit.lineEnds.crlf", "To CRLF", "", true, [](EditorView& view) { convertLineEnds(view, "\r\n"); }},

    {"edit.case.upper", "Upper Case", "", true, edit<commands::upperCase>},
    {"edit.case.lower", "Lower Case", "", true, edit<commands::lowerCase>},
    {"edit.case.title", "Title Case", "", true, edit<commands::titleCase>},
    {"edit.case.swap", "Swap Case", "", true, edit<commands::swapCase>},
    {"edit.indent", "Indent", "Ctrl+]", true, editWith<commands::indentLines>},
    {"edit.outdent", "Outdent", "Ctrl+[", true, editWith<commands::outdentLines>},
    {"edit.indent.toTabs", "Indent with Tabs", "", true,
     [](EditorView& view) {
         view.perform(commands::convertIndentation(view.text(), view.editor().carets(), true, view.editor().options()));
     }},
    {"edit.indent.toBlanks", "Indent with Blanks", "", true,
     [](EditorView& view) {
         view.perform(commands::convertIndentation(view.text(), view.editor().carets(), false, view.editor().options()));
     }},
    {"edit.comment", "Toggle Comment", "Ctrl+/", true, editWith<commands::toggleComment>},

    {"caret.left", "Left", "Left", false, goVisually<false, false>},
    {"caret.right", "Right", "Right", false, goVisually<true, false>},
    {"caret.left.select", "Select Left", "Shift+Left", false, goVisually<false, true>},
    {"caret.right.select", "Select Right", "Shift+Right", false, goVisually<true, true>},
    {"caret.wordLeft", "Word Left", "Ctrl+Left", false, goByWord<false, false>},
    {"caret.wordRight", "Word Right", "Ctrl+Right", false, goByWord<true, false>},
    {"caret.wordLeft.select", "Select Word Left", "Ctrl+Shift+Left", false, goByWord<false, true>},
    {"caret.wordRight.select", "Select Word Right", "Ctrl+Shift+Right", false, goByWord<true, true>},
    {"caret.up", "Up", "Up", false, goByRow<VisualMotion::rowUp, false>},
    {"caret.down", "Down", "Down", false, goByRow<VisualMotion::rowDown, false>},
    {"caret.up.select", "Select Up", "Shift+Up", false, goByRow<VisualMotion::rowUp, true>},
    {"caret.down.select", "Select Down", "Shift+Down", false, goByRow<VisualMotion::rowDown, true>},
    {"caret.pageUp", "Page Up", "PgUp", false, goByRow<VisualMotion::pageUp, false>},
    {"caret.pageDown", "Page Down", "PgDown", false, goByRow<VisualMotion::pageDown, false>},
    {"caret.pageUp.select", "Select Page Up", "Shift+PgUp", false, goByRow<VisualMotion::pageUp, true>},
    {"caret.pageDown.select", "Select Page Down", "Shift+PgDown", false, goByRow<VisualMotion::pageDown, true>},
    {"caret.rowStart", "Line Start", "Home", false, [](EditorView& view) { view.goHome(false); }},
    {"caret.rowEnd", "Line End", "End", false, goByRow<VisualMotion::rowEnd, false>},
    {"caret.rowStart.select", "Select to Line Start", "Shift+Home", false, [](EditorView& view) { view.goHome(true); }},
    {"caret.rowEnd.select", "Select to Line End", "Shift+End", false, goByRow<VisualMotion::rowEnd, true>},
    {"caret.documentStart", "Document Start", "Ctrl+Home", false, go<Motion::documentStart, false>},
    {"caret.documentEnd", "Document End", "Ctrl+End", false, go<Motion::documentEnd, false>},
    {"caret.documentStart.select", "Select to Document Start", "Ctrl+Shift+Home", false, go<Motion::documentStart, true>},
    {"caret.documentEnd.select", "Select to Document End", "Ctrl+Shift+End", false, go<Motion::documentEnd, true>},
    {"caret.paragraphUp", "Previous Paragraph", "", false, go<Motion::previousParagraph, false>},
    {"caret.paragraphDown", "Next Paragraph", "", false, go<Motion::nextParagraph, false>},
    {"caret.bracket", "Matching Bracket", "Ctrl+M", false, go<Motion::matchingBracket, false>},
    {"caret.bracket.select", "Select to Matching Bracket", "Ctrl+Shift+M", false, go<Motion::matchingBracket, true>},
    {"caret.back", "Back", "Alt+Left", false, [](EditorView& view) { view.editor().goBack(); view.refresh(); }},
    {"caret.forward", "Forward", "Alt+Right", false, [](EditorView& view) { view.editor().goForward(); view.refresh(); }},

    {"caret.addAbove", "Add Caret Above", "Shift+Alt+Up", false, addCaret<false>},
    {"caret.addBelow", "Add Caret Below", "Shift+Alt+Down", false, addCaret<true>},
    {"caret.nextOccurrence", "Select Next Occurrence", "Ctrl+D", false,
     [](EditorView& view) { view.setCarets(commands::selectNextOccurrence(view.text(), view.editor().carets())); }},
    {"caret.allOccurrences", "Select All Occurrences", "Ctrl+Shift+L", false,
     [](EditorView& view) { view.setCarets(commands::selectAllOccurrences(view.text(), view.editor().carets())); }},
    {"caret.one", "One Caret", "Esc", false, [](EditorView& view) { view.giveUpCarets(); }},
    {"caret.undo", "Undo Last Caret", "Ctrl+U", false,
     [](EditorView& view) { view.editor().undoCarets(); view.refresh(); }},
    {"caret.expand", "Expand to Brackets", "", false, grow<SelectionUnit::brackets>},

    {"view.zoomIn", "Zoom In", "Ctrl++; Ctrl+=", false, [](EditorView& view) { view.zoom(1); }},
    {"view.zoomOut", "Zoom Out", "Ctrl+-", false, [](EditorView& view) { view.zoom(-1); }},
    {"view.zoomReset", "Zoom Reset", "Ctrl+0", false, [](EditorView& view) { view.zoom(0); }},
    {"view.wrap", "Wrap Lines", "Alt+Z", false, [](EditorView& view) { view.setWrap(!view.wraps()); }},
    {"view.blanks", "Show Blanks", "", false, [](EditorView& view) { view.setShowsBlanks(!view.showsBlanks()); }},
    {"view.lineNumbers", "Line Numbers", "", false,
     [](EditorView& view) { view.setShowsLineNumbers(!view.showsLineNumbers()); }},
    {"view.scrollUp", "Scroll Up", "Ctrl+Up", false, scroll<-1>},
    {"view.scrollDown", "Scroll Down", "Ctrl+Down", false, scroll<1>},

    {"fold.fold", "Fold Block or Selection", "Ctrl+Shift+[; Ctrl+{", false, [](EditorView& view) { folded(view, view.editor().fold()); }},
    {"fold.unfold", "Unfold", "Ctrl+Shift+]; Ctrl+}", false,
     [](EditorView& view) { view.editor().unfold(); folded(view, std::nullopt); }},
    {"fold.all", "Fold All", "Ctrl+Alt+[", false, [](EditorView& view) { view.editor().foldAll(); folded(view, std::nullopt); }},
    {"fold.none", "Unfold All", "Ctrl+Alt+]", false,
     [](EditorView& view) { view.editor().unfoldAll(); folded(view, std::nullopt); }},
};

}  // namespace

std::span<const EditorCommand> editorCommands()
{
    return table;
}

const EditorCommand* editorCommand(QKeyCombination key)
{
    static const QHash<int, const EditorCommand*> byKey = [] {
        QHash<int, const EditorCommand*> keys;
        for (const EditorCommand& command : table) {
            for (const QKeySequence& sequence : QKeySequence::listFromString(QString::fromLatin1(command.shortcuts)))
                keys.insert(sequence[0].toCombined(), &command);
        }
        return keys;
    }();
    return byKey.value(key.toCombined());
}

const EditorCommand* editorCommand(const char* id)
{
    for (const EditorCommand& command : table) {
        if (std::strcmp(command.id, id) == 0)
            return &command;
    }
    return nullptr;
}

}  // namespace penmark
