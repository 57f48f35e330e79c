// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/editor/EditorActions.h"

#include "text/Characters.h"
#include "text/commands/Clipboard.h"
#include "text/commands/Comments.h"
#include "text/commands/Deleting.h"
#include "text/commands/Indent.h"
#include "text/commands/LetterCase.h"
#include "text/commands/LineOrder.h"
#include "text/commands/Lines.h"
#include "text/commands/Lists.h"
#include "text/commands/Occurrences.h"
#include "text/commands/Typing.h"
#include "text/editor/EditorState.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>
#include <utility>
#include <vector>

namespace penmark::test {

namespace {

constexpr std::array<const char*, 64> parts{"a",
                                            "b",
                                            "Word",
                                            "foo",
                                            "x1",
                                            " ",
                                            "  ",
                                            "\t",
                                            "(",
                                            ")",
                                            "{",
                                            "}",
                                            "[",
                                            "]",
                                            "\"",
                                            "'",
                                            "`",
                                            "/*",
                                            "*/",
                                            "//",
                                            "#",
                                            "# ",
                                            "```\n",
                                            ".",
                                            "_",
                                            ":",
                                            "\n",
                                            "\n",
                                            "\n",
                                            "\n    ",
                                            "\r\n",
                                            "\r",
                                            "é",
                                            "ß",
                                            "İ",
                                            "ﬁ",
                                            "e\u0301",
                                            "中",
                                            "文字",
                                            "日本",
                                            "שלום",
                                            "مرحبا",
                                            "ไทย",
                                            "กำ",
                                            "क्षि",
                                            "한",
                                            "\u1100",
                                            "\u1161",
                                            "😀",
                                            "👨‍👩‍👧",
                                            "🇩🇪",
                                            "🇩",
                                            "🏳️‍🌈",
                                            "\u2028",
                                            "\u200d",
                                            "\u0301",
                                            "\ufeff",
                                            "𝒳",
                                            "- ",
                                            "\n- [ ] ",
                                            "\n1. ",
                                            "\n2) ",
                                            "\n> ",
                                            "\n## "};

const char* somePart(Choices& choices)
{
    return parts[choices.below(parts.size())];
}

constexpr std::array<const char*, 3> lineEnds{"\n", "\r\n", "\r"};

const char* typeOrDelete(TextEditor& editor, Choices& choices)
{
    const TextSnapshot& text = editor.text();
    const CaretSet& carets = editor.carets();
    const EditOptions& options = editor.options();
    switch (choices.below(14)) {
    case 0:
    case 1:
    case 2:
        editor.perform(commands::typeText(text, carets, somePart(choices), options), EditKind::typing);
        return "type a part";
    case 3:
    case 4:
        editor.perform(commands::typeText(text, carets, choices.one(4) ? " " : "t", options), EditKind::typing);
        return "type a letter";
    case 5:
        editor.perform(commands::insertNewline(text, carets, options), EditKind::typing);
        return "new line";
    case 6:
        editor.perform(commands::typeText(text, carets, someText(choices, 1 + choices.below(40)), options));
        return "type a text";
    case 7:
        editor.perform(commands::deleteBackward(text, carets, options), EditKind::deleting);
        return "backspace";
    case 8:
        editor.perform(commands::deleteForward(text, carets), EditKind::deleting);
        return "delete";
    case 9:
        editor.perform(commands::deleteWordLeft(text, carets));
        return "delete word left";
    case 10:
        editor.perform(commands::deleteWordRight(text, carets));
        return "delete word right";
    case 11:
        editor.perform(commands::deleteToLineStart(text, carets));
        return "delete to line start";
    case 12:
        editor.perform(commands::deleteToLineEnd(text, carets));
        return "delete to line end";
    default:
        editor.perform(choices.one(2) ? commands::deleteLines(text, carets) : commands::deleteSelections(text, carets));
        return "delete lines or selections";
    }
}

const char* command(TextEditor& editor, Choices& choices)
{
    const TextSnapshot& text = editor.text();
    const CaretSet& carets = editor.carets();
    const EditOptions& options = editor.options();
    switch (choices.below(30)) {
    case 0:
        editor.perform(commands::surround(text, carets, "<", somePart(choices)));
        return "surround";
    case 1:
        editor.perform(commands::transpose(text, carets));
        return "transpose";
    case 2:
        editor.perform(commands::cut(text, carets));
        return "cut";
    case 3:
    case 4: {
        const commands::ClipboardText copied = commands::copy(text, carets, options);
        const CaretSet there = choices.one(2) ? carets : someCarets(text, choices);
        editor.setCarets(there);
        editor.perform(commands::paste(text, editor.carets(), copied, options, choices.one(2)));
        return "copy and paste";
    }
    case 5: {
        const commands::ClipboardText foreign{someText(choices, 1 + choices.below(20)), {}, false};
        editor.perform(commands::paste(text, carets, foreign, options, choices.one(2)));
        return "paste";
    }
    case 6:
        editor.perform(commands::indentLines(text, carets, options));
        return "indent";
    case 7:
        editor.perform(commands::outdentLines(text, carets, options));
        return "outdent";
    case 8:
        editor.perform(commands::tabKey(text, carets, options));
        return "tab";
    case 9:
        editor.perform(commands::backTabKey(text, carets, options));
        return "back tab";
    case 10:
        editor.perform(commands::convertIndentation(text, carets, choices.one(2), options));
        return "convert indentation";
    case 11:
        editor.perform(commands::toggleComment(text, carets, options));
        return "comment";
    case 12:
        editor.perform(commands::upperCase(text, carets));
        return "upper case";
    case 13:
        editor.perform(commands::lowerCase(text, carets));
        return "lower case";
    case 14:
        editor.perform(commands::titleCase(text, carets));
        return "title case";
    case 15:
        editor.perform(commands::swapCase(text, carets));
        return "swap case";
    case 16:
        editor.perform(commands::sortLines(text, carets, {choices.one(2), choices.one(2), choices.one(2)}));
        return "sort";
    case 17:
        editor.perform(commands::reverseLines(text, carets));
        return "reverse";
    case 18:
        editor.perform(commands::uniqueLines(text, carets));
        return "unique";
    case 19:
        editor.perform(commands::moveLinesUp(text, carets));
        return "move up";
    case 20:
        editor.perform(commands::moveLinesDown(text, carets));
        return "move down";
    case 21:
        editor.perform(commands::duplicate(text, carets, options));
        return "duplicate";
    case 22:
        editor.perform(commands::joinLines(text, carets));
        return "join";
    case 23:
        editor.perform(commands::insertLineBelow(text, carets, options));
        return "line below";
    case 24:
        editor.perform(commands::insertLineAbove(text, carets, options));
        return "line above";
    case 25:
        editor.perform(commands::trimTrailingBlanks(text, carets));
        return "trim";
    case 26:
        editor.perform(commands::convertLineEnds(text, carets, lineEnds[choices.below(3)]));
        return "convert line ends";
    case 27:
        editor.perform(commands::indentListItems(text, carets, options));
        return "indent items";
    case 28:
        editor.perform(commands::outdentListItems(text, carets, options));
        return "outdent items";
    default:
        editor.perform(commands::replaceAll(text, carets, somePart(choices), somePart(choices)));
        return "replace all";
    }
}

const char* moveAbout(TextEditor& editor, Choices& choices)
{
    const TextSnapshot& text = editor.text();
    const CaretSet& carets = editor.carets();
    switch (choices.below(12)) {
    case 0:
    case 1:
    case 2:
        editor.setCarets(moveCarets(text, carets, static_cast<Motion>(choices.below(12)), choices.one(2)));
        return "move";
    case 3:
        editor.setCarets(growSelections(text, carets, static_cast<SelectionUnit>(choices.below(3))));
        return "grow";
    case 4:
    case 5:
        editor.setCarets(someCarets(text, choices));
        return "carets";
    case 6: {
        const auto corner = [&] {
            return commands::LineColumn{LineNumber(choices.below(text.lineCount())), choices.below(40)};
        };
        const commands::LineColumn from = corner();
        commands::LineColumn to = corner();
        to.line = std::min(to.line, from.line + 50);
        editor.setCarets(commands::columnSelection(text, from, to, editor.options()));
        return "column selection";
    }
    case 7: {
        CaretSet next = commands::selectNextOccurrence(text, carets);
        editor.setCarets(next.size() > 50 ? next.onlyMain() : std::move(next));
        return "next occurrence";
    }
    case 8: {
        CaretSet all = commands::selectAllOccurrences(text, carets);
        editor.setCarets(all.size() > 50 ? all.onlyMain() : std::move(all));
        return "all occurrences";
    }
    case 9:
        editor.undoCarets();
        return "undo carets";
    case 10:
        choices.one(2) ? editor.goBack() : editor.goForward();
        return "back or forward";
    default:
        editor.rememberPlace();
        editor.setCarets(CaretSet(Caret(somePlace(text, choices))));
        return "jump";
    }
}

const char* fold(TextEditor& editor, Choices& choices)
{
    switch (choices.below(6)) {
    case 0:
    case 1:
        editor.fold();
        return "fold";
    case 2:
        editor.toggleFold(LineNumber(choices.below(editor.text().lineCount())));
        return "toggle fold";
    case 3:
        editor.unfold();
        return "unfold";
    case 4:
        choices.one(3) ? editor.unfoldAll() : editor.foldAll();
        return "all folds";
    default: {
        const std::string json = encodeRecord(editorState(editor, editor.carets().main().head, 0.5));
        if (choices.one(2))
            editor.setCarets(someCarets(editor.text(), choices));
        restoreEditor(editor, decodeRecord<EditorState>(json));
        return "store and restore";
    }
    }
}

const char* setUp(TextEditor& editor, Choices& choices)
{
    EditorDocument& document = editor.document();
    if (choices.one(2)) {
        document.setLanguage(editorLanguages()[choices.below(editorLanguageCount)]);
        return "language";
    }
    EditOptions& options = document.options();
    options.indentWithTabs = choices.one(2);
    options.indentWidth = 1 + choices.below(8);
    options.tabWidth = 1 + choices.below(8);
    options.lineEnd = lineEnds[choices.below(3)];
    options.overtype = choices.one(4);
    options.closeBrackets = choices.one(2);
    return "options";
}

void require(bool holds, const char* what)
{
    if (!holds)
        throw std::logic_error(what);
}

}  // namespace

std::string someText(Choices& choices, std::size_t count)
{
    std::string text;
    for (; count > 0; --count)
        text += somePart(choices);
    return text;
}

Utf8Offset somePlace(const TextSnapshot& text, Choices& choices)
{
    return graphemeStart(text, text.characterStart(Utf8Offset(choices.below(text.end().value + 1))));
}

CaretSet someCarets(const TextSnapshot& text, Choices& choices)
{
    std::vector<Caret> carets(choices.one(3) ? 1 + choices.below(50) : 1 + choices.below(3));
    for (Caret& caret : carets) {
        caret = Caret(somePlace(text, choices));
        if (choices.one(3))
            caret.head = choices.one(2) ? somePlace(text, choices) : nextGrapheme(text, caret.head);
    }
    const std::size_t main = choices.below(carets.size());
    return {std::move(carets), main};
}

const char* act(TextEditor& editor, Choices& choices)
{
    const std::size_t choice = choices.below(100);
    if (choice < 40)
        return typeOrDelete(editor, choices);
    if (choice < 65)
        return command(editor, choices);
    if (choice < 80)
        return moveAbout(editor, choices);
    if (choice < 84)
        return fold(editor, choices);
    if (choice < 85)
        return setUp(editor, choices);
    if (choice < 90) {
        for (std::size_t steps = 1 + choices.below(5); steps > 0; --steps)
            editor.undo();
        return "undo";
    }
    if (choice < 94) {
        for (std::size_t steps = 1 + choices.below(5); steps > 0; --steps)
            editor.redo();
        return "redo";
    }
    if (choice < 95) {
        // Some way back first: a branch may be long.
        editor.redoOtherBranch();
        return "other branch";
    }
    TextBuffer::Transaction scope(editor.document().buffer());
    for (std::size_t steps = choices.below(4); steps > 0; --steps) {
        if (choices.one(3)) {
            TextBuffer::Transaction inner(editor.document().buffer());
            command(editor, choices);
            if (!choices.one(4))
                inner.commit();
        }
        typeOrDelete(editor, choices);
    }
    if (choices.one(4))
        return "abandoned transaction";
    scope.commit();
    return "transaction";
}

void checkEditor(const TextEditor& editor)
{
    const TextSnapshot& text = editor.text();
    text.checkInvariants();
    for (const Caret& caret : editor.carets()) {
        for (const Utf8Offset offset : {caret.anchor, caret.head}) {
            require(offset <= text.end(), "a caret is behind the end");
            require(graphemeStart(text, offset) == offset, "a caret is inside of a character");
            for (const FoldSet::Fold& fold : editor.folds().all())
                require(offset <= fold.hidden.start || fold.hidden.end < offset, "a caret is hidden");
        }
    }
    for (const FoldSet::Fold& fold : editor.folds().all()) {
        require(fold.lines.first < fold.lines.last, "a fold hides nothing");
        require(fold.lines.last.value < text.lineCount(), "a fold is behind the last line");
        require(fold.hidden == Utf8Range{text.line(fold.lines.first).end, text.line(fold.lines.last).end},
                "a fold hides other text than that of its lines");
    }
}

void checkDocument(EditorDocument& document)
{
    const TextSnapshot& text = document.text();
    const TextStatistics* statistics = document.statistics();
    require(statistics && statistics->counts() == TextStatistics(text).counts(), "the counts are wrong");
    while (document.work(1 << 20)) {}
    if (!document.highlights())
        return;
    Tokenizer tokenizer(document.language());
    LineState state;
    std::vector<Token> expected;
    std::vector<Token> tokens;
    for (LineNumber line; line.value < text.lineCount(); ++line) {
        state = tokenizer.tokenize(text.text(text.line(line).content()), state, expected);
        document.tokens(line, tokens);
        require(tokens == expected, "the colours of a line are wrong");
    }
}

std::string edited(const std::string& text, const TextEdit& edit)
{
    const std::string with = edit.inserted().text();
    std::string result;
    std::size_t at = 0;
    std::size_t used = 0;
    for (const Replacement& place : edit.replacements()) {
        require(at <= place.start.value && place.end().value <= text.size(), "an edit does not fit its text");
        result.append(text, at, place.start.value - at).append(with, used, place.inserted);
        used += place.inserted;
        at = place.end().value;
    }
    return result.append(text, at);
}

StringModel::StringModel(TextBuffer& buffer) : buffer_(buffer), text_(buffer.text().text())
{
    buffer_.addObserver(*this);
}

StringModel::~StringModel()
{
    buffer_.removeObserver(*this);
}

void StringModel::textChanged(const TextChange& change)
{
    text_ = edited(text_, change.edit);
    ++changes_;
    places_ += change.edit.replacements().size();
}

void StringModel::check() const
{
    require(buffer_.text().text() == text_, "the text is not that of its edits");
}

}  // namespace penmark::test
