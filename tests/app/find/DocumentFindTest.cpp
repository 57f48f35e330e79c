// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/find/DocumentFind.h"

#include "app/editor/ShownEditor.h"
#include "text/commands/Typing.h"

#include <QStringList>

namespace penmark {
namespace {

class DocumentFindTest : public testing::Test {
protected:
    explicit DocumentFindTest(std::size_t matchesAtOnce = DocumentFind::partSize) : find(nullptr, matchesAtOnce)
    {
        find.setView(&shown.view);
        find.setFollows(true);
        QObject::connect(&find, &DocumentFind::message, &find,
                         [this](const QString& sentence) { said.push_back(sentence.toStdString()); });
    }

    static TextSearchRule literal(std::string query)
    {
        TextSearchRule rule;
        rule.query = std::move(query);
        return rule;
    }
    static TextSearchRule regex(std::string query)
    {
        TextSearchRule rule = literal(std::move(query));
        rule.mode = TextMatchMode::regex;
        rule.caseSensitive = true;
        return rule;
    }
    void setText(std::string_view text) { shown.setText(text); }
    void look(const TextSearchRule& rule)
    {
        find.setRule(rule);
        settle();
    }
    /// Until all that was asked for has been done.
    void settle()
    {
        EXPECT_TRUE(
            QTest::qWaitFor([this] { return find.isIdle() && (find.rule().query.empty() || find.isFresh()); }, 20'000));
    }
    /// "3 of 17 | 4-7": what is found and what is selected.
    std::string state()
    {
        settle();
        const DocumentFind::Count count = find.count();
        return (count.current ? std::to_string(*count.current) : std::string("?")) + " of " +
               std::to_string(count.total) + (count.more ? "+" : "") + " | " + shown.carets();
    }
    std::string afterNext()
    {
        find.next();
        return state();
    }
    std::string afterPrevious()
    {
        find.previous();
        return state();
    }
    std::string lastSaid()
    {
        const std::string last = said.empty() ? std::string() : said.back();
        said.clear();
        return last;
    }

    ShownEditor shown;
    DocumentFind find;
    std::vector<std::string> said;
};

TEST_F(DocumentFindTest, GoesFromMatchToMatchAndAroundTheEnds)
{
    setText("one two One twone\nONE");
    shown.put(5);
    look(literal("one"));
    EXPECT_EQ(state(), "? of 4 | 5") << "looking moves no caret";
    EXPECT_EQ(afterNext(), "2 of 4 | 8-11");
    EXPECT_EQ(afterNext(), "3 of 4 | 14-17");
    EXPECT_EQ(afterNext(), "4 of 4 | 18-21");
    EXPECT_EQ(lastSaid(), "");
    EXPECT_EQ(afterNext(), "1 of 4 | 0-3");
    EXPECT_EQ(lastSaid(), "Search wrapped to the start");
    EXPECT_EQ(afterPrevious(), "4 of 4 | 18-21");
    EXPECT_EQ(lastSaid(), "Search wrapped to the end");
    shown.put(5);
    EXPECT_EQ(afterPrevious(), "1 of 4 | 0-3");

    TextSearchRule rule = literal("one");
    rule.wholeWord = true;
    look(rule);
    EXPECT_EQ(state(), "1 of 3 | 0-3");
    rule.caseSensitive = true;
    look(rule);
    EXPECT_EQ(state(), "1 of 1 | 0-3");
    look(literal("absent"));
    EXPECT_EQ(afterNext(), "? of 0 | 0-3");
    EXPECT_EQ(lastSaid(), "No results");
    look(literal("  "));
    EXPECT_EQ(state(), "? of 0 | 0-3");
    EXPECT_EQ(find.problem(), "") << "blanks can be looked for";
    setText("a  b $1");
    look(literal("  "));
    EXPECT_EQ(state(), "? of 1 | 0");
    find.replaceAll("$1\\");
    settle();
    EXPECT_EQ(shown.text(), "a$1\\b $1");
}

TEST_F(DocumentFindTest, StepsAskedForBeforeTheAnswerAreTakenThen)
{
    std::string text;
    for (int line = 0; line < 20'000; ++line)
        text += "needle in line " + std::to_string(line) + "\n";
    setText(text);
    find.setRule(literal("needle"));
    find.next();
    find.next();
    find.next();
    find.previous();
    EXPECT_EQ(shown.carets(), "0") << "nobody has waited";
    EXPECT_EQ(find.count().total, 0U);
    settle();
    EXPECT_EQ(find.count(), (DocumentFind::Count{2, 20'000, false}));

    // Another rule: the steps of the one before do not count for it.
    find.setRule(literal("line 1"));
    find.next();
    find.setRule(literal("line 7"));
    settle();
    EXPECT_EQ(find.count(), (DocumentFind::Count{{}, 1'111, false}));
}

TEST_F(DocumentFindTest, WhoEditsOrMovesTheCaretIsNotTakenElsewhere)
{
    std::string text = "abc\n";
    for (int line = 0; line < 20'000; ++line)
        text += "needle\n";
    const auto ask = [&](int what) {
        find.setRule({});
        setText(text);
        shown.put(2);
        find.setOrigin();
        if (what == 0) {
            find.goToFirst(literal("needle"));
        } else {
            find.setRule(literal("needle"));
            if (what == 1)
                find.next();
            else
                find.replace("pin");
        }
        EXPECT_TRUE(find.isSearching());
    };
    for (const int what : {0, 1, 2}) {
        SCOPED_TRACE(what);
        ask(what);
        EXPECT_EQ(state(), "1 of 20000 | 4-10") << "left alone";
        ask(what);
        shown.type("x");
        EXPECT_EQ(state(), "? of 20000 | 3") << "typed";
        ask(what);
        shown.key(Qt::Key_Left);
        EXPECT_EQ(state(), "? of 20000 | 1") << "moved";
        ask(what);
        shown.document.buffer().apply(TextEdit({Utf8Offset(0), Utf8Offset(0)}, "--"), {}, {});
        EXPECT_EQ(state(), "? of 20000 | 4") << "edited elsewhere";
        EXPECT_EQ(afterNext(), "1 of 20000 | 6-12") << "what is asked for afterwards counts";
    }

    // The match that was to be replaced.
    look(literal("needle"));
    shown.select(6, 12);
    find.replace("pin");
    shown.key(Qt::Key_Right);
    EXPECT_EQ(state(), "? of 20000 | 12");
    shown.select(6, 12);
    find.replace("pin");
    EXPECT_EQ(state(), "1 of 19999 | 10-16");

    // A caret put elsewhere is where typing goes on.
    find.goToFirst(literal("nee"));
    settle();
    shown.put(30);
    find.goToFirst(literal("need"));
    EXPECT_EQ(state(), "4 of 19999 | 31-35");
}

TEST_F(DocumentFindTest, FirstMatchIsLookedForFromTheOrigin)
{
    setText("can cat car cart");
    shown.put(3);
    find.setOrigin();
    const auto type = [this](const char* query) {
        find.goToFirst(literal(query));
        return state();
    };
    EXPECT_EQ(type("c"), "2 of 4 | 4-5");
    EXPECT_EQ(type("ca"), "2 of 4 | 4-6");
    EXPECT_EQ(type("car"), "1 of 2 | 8-11");
    EXPECT_EQ(type("cart"), "1 of 1 | 12-16");
    EXPECT_EQ(type("carts"), "? of 0 | 3") << "the caret is where it was";
    EXPECT_EQ(type("can"), "1 of 1 | 0-3") << "from the start where nothing follows";
    EXPECT_EQ(type(""), "? of 0 | 3");
    type("car");
    EXPECT_EQ(afterNext(), "2 of 2 | 12-15");
    EXPECT_EQ(type("ca"), "4 of 4 | 12-14") << "from where the last step has led";
}

TEST_F(DocumentFindTest, MatchesMoveWithEditsAndAreLookedForAgain)
{
    setText("ab cd ab cd ab");
    look(literal("ab"));
    shown.put(3);
    shown.type("xab ");
    EXPECT_FALSE(find.isFresh());
    EXPECT_EQ(find.matches(),
              (std::vector<Utf8Range>{
                  {Utf8Offset(0), Utf8Offset(2)}, {Utf8Offset(10), Utf8Offset(12)}, {Utf8Offset(16), Utf8Offset(18)}}));
    EXPECT_EQ(state(), "? of 4 | 7");
    EXPECT_EQ(find.matches()[1].start, Utf8Offset(4));
    // Not on what was found before the edit.
    shown.type("ab");
    EXPECT_EQ(afterPrevious(), "3 of 5 | 7-9");
    shown.run("edit.undo");
    EXPECT_EQ(state(), "? of 4 | 7");
    setText("ab");
    EXPECT_EQ(state(), "? of 1 | 0");

    find.setFollows(false);
    shown.type("ab");
    QTest::qWait(200);
    EXPECT_FALSE(find.isFresh()) << "nobody looks at it";
    EXPECT_EQ(afterNext(), "2 of 2 | 2-4");
}

TEST_F(DocumentFindTest, StaysInTheSelection)
{
    setText("ab\nab ab\nab\nab\n");
    look(literal("ab"));
    find.setInSelection(true);
    EXPECT_EQ(find.within(), std::nullopt);
    EXPECT_EQ(lastSaid(), "Select the text to search in first.");
    // What somebody selected, also after going from match to match.
    shown.select(3, 12);
    EXPECT_EQ(afterNext(), "2 of 5 | 3-5");
    EXPECT_EQ(afterNext(), "3 of 5 | 6-8");
    find.setInSelection(true);
    EXPECT_EQ(find.within(), (Utf8Range{Utf8Offset(3), Utf8Offset(12)}));
    EXPECT_EQ(state(), "1 of 3 | 3-5");
    EXPECT_EQ(afterPrevious(), "3 of 3 | 9-11");
    EXPECT_EQ(lastSaid(), "Search wrapped to the end");
    EXPECT_EQ(afterNext(), "1 of 3 | 3-5");
    shown.put(14);
    EXPECT_EQ(afterNext(), "1 of 3 | 3-5") << "from outside";
    find.goToFirst(literal("b\na"));
    EXPECT_EQ(state(), "1 of 1 | 7-10") << "another begins within, and a third ends outside";

    // What stands around counts, and the line behind the last one is not meant.
    look(regex("^|(?<=\n)b"));
    EXPECT_EQ(state(), "? of 2 | 7-10");
    find.replaceAll("- ");
    settle();
    EXPECT_EQ(shown.text(), "ab\n- ab ab\n- ab\nab\n");
    EXPECT_EQ(lastSaid(), "2 replaced");
    find.replaceAll("");
    settle();
    EXPECT_EQ(lastSaid(), "2 replaced");
    find.setInSelection(false);
    EXPECT_EQ(state().substr(0, 6), "? of 4");
}

TEST_F(DocumentFindTest, TheSelectionSearchedMovesWithEdits)
{
    setText("ab\nab ab\nab\nab\n");
    look(literal("ab"));
    shown.select(12, 3);
    find.setInSelection(true);
    const auto within = [this] {
        return find.within()
                   ? std::to_string(find.within()->start.value) + "-" + std::to_string(find.within()->end.value)
                   : std::string("everywhere");
    };
    EXPECT_EQ(within(), "3-12");
    shown.put(0);
    shown.type("ab ");
    EXPECT_EQ(within(), "6-15");
    shown.put(6);
    shown.type("ab");
    shown.put(17);
    shown.type("ab");
    EXPECT_EQ(within(), "6-19") << "also at its ends";
    EXPECT_EQ(state().substr(0, 6), "? of 5");
    find.next();
    settle();
    find.replace("");
    settle();
    EXPECT_EQ(within(), "6-17");
    find.replaceAll("x");
    settle();
    EXPECT_EQ(shown.text(), "ab ab\nx x\nx\nxab\n");
    shown.run("edit.undo");
    EXPECT_EQ(within(), "6-17");
    find.replaceAll("");
    shown.select(0, 0);
    settle();
    EXPECT_EQ(within(), "6-9");
    EXPECT_EQ(state(), "? of 0 | 0");
    EXPECT_EQ(afterNext(), "? of 0 | 0");

    EditorView second(shown.document);
    find.setView(&second);
    EXPECT_EQ(within(), "6-9") << "the text is the same";
    setText("ab");
    EXPECT_EQ(within(), "everywhere");
}

TEST_F(DocumentFindTest, ReplacingAllInASelectionEndsWithTheText)
{
    setText("ab\nab ab\nab\n");
    look(literal("ab"));
    shown.select(3, 8);
    find.setInSelection(true);
    settle();
    find.replaceAll("x");
    setText("ab\nab ab\nab\nab\n");
    settle();
    EXPECT_EQ(shown.text(), "ab\nab ab\nab\nab\n");
}

TEST_F(DocumentFindTest, WhatWasSelectedInAnotherViewIsForgotten)
{
    setText("ab\nab ab\nab\n");
    look(literal("ab"));
    shown.put(3);
    shown.put(0);
    EditorView second(shown.document);
    second.setCarets(CaretSet(Caret(Utf8Offset(3), Utf8Offset(8))));
    find.setView(&second);
    second.setCarets(CaretSet(Caret(Utf8Offset(0))));
    settle();
    find.setInSelection(true);
    EXPECT_EQ(find.within(), std::nullopt);
    find.setView(&shown.view);
}

TEST_F(DocumentFindTest, WhatWasSelectedOutlastsEditsElsewhere)
{
    setText("ab\nab ab\nab\n");
    look(literal("ab"));
    shown.select(3, 11);
    EXPECT_EQ(afterNext(), "2 of 4 | 3-5");
    shown.document.buffer().apply(TextEdit({Utf8Offset(0), Utf8Offset(0)}, "--"), {}, {});
    settle();
    QCoreApplication::processEvents();
    find.setInSelection(true);
    EXPECT_EQ(find.within(), (Utf8Range{Utf8Offset(5), Utf8Offset(13)}));
}

TEST_F(DocumentFindTest, SaysWhatIsWrongWithAnExpression)
{
    setText("a1 b22");
    look(regex("[a-"));
    EXPECT_TRUE(find.problem().starts_with("Invalid ICU regular expression: ")) << find.problem();
    EXPECT_EQ(afterNext(), "? of 0 | 0");
    EXPECT_TRUE(lastSaid().starts_with("Invalid ICU regular expression: "));
    find.replaceAll("x");
    settle();
    EXPECT_EQ(shown.text(), "a1 b22");
    EXPECT_TRUE(lastSaid().starts_with("Invalid ICU regular expression: "));

    look(regex("([a-z])(\\d+)"));
    EXPECT_EQ(find.problem(), "");
    EXPECT_EQ(state(), "? of 2 | 0");
    find.replaceAll("$3");
    settle();
    EXPECT_EQ(shown.text(), "a1 b22") << "there is no third group";
    EXPECT_NE(lastSaid(), "");
    find.replaceAll("<$2$1>");
    settle();
    EXPECT_EQ(shown.text(), "<1a> <22b>");
    EXPECT_EQ(lastSaid(), "2 replaced");
    shown.run("edit.undo");
    EXPECT_EQ(shown.text(), "a1 b22") << "one step";
}

TEST_F(DocumentFindTest, ReplacesOneAfterAnother)
{
    setText("é a1 a2 a3 b a4");
    look(regex("a(\\d)"));
    find.replace("[$1]");
    EXPECT_EQ(state(), "1 of 4 | 3-5") << "nothing was selected";
    EXPECT_EQ(shown.text(), "é a1 a2 a3 b a4");
    // Faster than they can be found.
    find.replace("[$1]");
    find.replace("[$1]");
    EXPECT_EQ(state(), "1 of 2 | 11-13");
    EXPECT_EQ(shown.text(), "é [1] [2] a3 b a4");
    // What was selected is a match no more.
    shown.view.perform(commands::typeText(shown.view.text(), shown.view.editor().carets(), "z", {}));
    shown.select(11, 12);
    find.replace("x");
    EXPECT_EQ(state(), "1 of 1 | 15-17");
    EXPECT_EQ(shown.text(), "é [1] [2] z b a4");
    find.replace("");
    EXPECT_EQ(state(), "? of 0 | 15");
    EXPECT_EQ(shown.text(), "é [1] [2] z b ");
    EXPECT_EQ(lastSaid(), "No results");
    shown.run("edit.undo");
    EXPECT_EQ(shown.text(), "é [1] [2] z b a4");
}

TEST_F(DocumentFindTest, ReplacesEmptyMatchesAndTheReplacedTextOnlyOnce)
{
    setText("ab\ncd\n");
    look(regex("^"));
    find.replaceAll("- ");
    settle();
    EXPECT_EQ(shown.text(), "- ab\n- cd\n");
    look(regex("[$]|^- |b$"));
    EXPECT_EQ(find.count().total, 3U);
    look(regex("^)"));
    EXPECT_TRUE(find.problem().ends_with("character 2)")) << find.problem() << ", as it was typed";
    setText("aaa");
    look(literal("a"));
    find.replaceAll("aa");
    settle();
    EXPECT_EQ(shown.text(), "aaaaaa");
    EXPECT_EQ(lastSaid(), "3 replaced");
    setText("xax");
    look(regex("b*"));
    const std::string first = afterNext();
    EXPECT_NE(afterNext(), first) << "an empty match is left behind";
}

TEST_F(DocumentFindTest, AnEditDuringReplaceAllIsNotLost)
{
    std::string text;
    for (int line = 0; line < 30'000; ++line)
        text += "needle\n";
    setText(text);
    look(literal("needle"));
    find.replaceAll("pin");
    shown.type("needle!");
    ASSERT_TRUE(QTest::qWaitFor([this] { return !said.empty(); }, 20'000));
    EXPECT_EQ(lastSaid(), "30,001 replaced");
    EXPECT_TRUE(shown.text().starts_with("pin!pin\npin\n"));

    find.replaceAll("x");
    find.setRule(literal("pi"));
    settle();
    EXPECT_TRUE(shown.text().starts_with("pin!pin\n")) << "another rule has stopped it";
    shown.view.setReadOnly(true);
    find.replaceAll("x");
    find.replace("x");
    settle();
    EXPECT_TRUE(shown.text().starts_with("pin!pin\n"));
    EXPECT_EQ(lastSaid(), "This document cannot be edited now.");
}

TEST_F(DocumentFindTest, AnotherViewOrDocumentTakesTheSearchOver)
{
    setText("ab ab");
    look(literal("ab"));
    EditorDocument other(TextSnapshot(std::string_view("ab cd ab ab")));
    EditorView view(other);
    find.setView(&view);
    settle();
    EXPECT_EQ(find.count().total, 3U);
    find.next();
    settle();
    EXPECT_EQ(view.editor().carets().main(), Caret(Utf8Offset(0), Utf8Offset(2)));
    EXPECT_EQ(shown.carets(), "0");
    find.setView(nullptr);
    find.next();
    EXPECT_EQ(find.count().total, 0U);
}

class ManyMatchesTest : public DocumentFindTest {
protected:
    ManyMatchesTest() : DocumentFindTest(4) { setText("0a1a2a3a4a5a6a7a8a9"); }
};

TEST_F(ManyMatchesTest, AreFoundAroundTheCaret)
{
    look(regex("\\d"));
    EXPECT_EQ(state(), "? of 4+ | 0");
    std::string forwards;
    for (int step = 0; step < 11; ++step)
        forwards += afterNext().substr(0, 2);
    EXPECT_EQ(forwards, "1 2 3 4 5 6 7 8 9 101 ");
    EXPECT_EQ(lastSaid(), "Search wrapped to the start");
    EXPECT_EQ(afterPrevious(), "10 of 10 | 18-19");
    EXPECT_EQ(lastSaid(), "Search wrapped to the end");
    std::string backwards;
    for (int step = 0; step < 9; ++step)
        backwards += afterPrevious().substr(0, 2);
    EXPECT_EQ(backwards, "9 8 7 6 5 4 3 2 1 ");

    for (int step = 0; step < 7; ++step)
        find.next();
    EXPECT_EQ(state(), "8 of 8+ | 14-15");
    shown.put(13);
    look(literal("a"));
    EXPECT_EQ(state(), "? of 8+ | 13");
    EXPECT_EQ(afterNext(), "7 of 8+ | 13-14");
    find.replaceAll("");
    settle();
    EXPECT_EQ(shown.text(), "0123456789");
    // Exactly as many as come at once.
    setText("abab"
            "abab");
    look(literal("b"));
    shown.put(8);
    EXPECT_EQ(afterNext(), "1 of 4 | 1-2");
    EXPECT_EQ(afterPrevious(), "4 of 4 | 7-8");
}

TEST_F(ManyMatchesTest, PartsAreThoseOfTheWholeText)
{
    setText("aaaaaaaaaa");
    look(regex("(?<=a)a"));
    shown.put(10);
    EXPECT_EQ(afterPrevious(), "9 of 9 | 9-10");
    look(regex("^a"));
    EXPECT_EQ(state(), "? of 1 | 9-10");
    look(regex("\\b|a{2}"));
    EXPECT_EQ(state(), "? of 6 | 9-10");

    setText("st st st st _st st-ST");
    TextSearchRule rule = literal("st");
    rule.wholeWord = true;
    look(rule);
    shown.put(21);
    EXPECT_EQ(afterPrevious(), "6 of 6 | 19-21");
    // Exact ones are found before the others.
    rule = literal("word");
    rule.mode = TextMatchMode::typoTolerant;
    setText("wird word ward wordy word worm wordword");
    look(rule);
    shown.put(20);
    EXPECT_EQ(afterNext(), "5 of 8 | 21-25");
    EXPECT_EQ(afterPrevious(), "4 of 4+ | 15-19");
}

TEST_F(ManyMatchesTest, AStepFromFarAwayBeginsAtTheCaret)
{
    look(regex("\\d"));
    EXPECT_EQ(state(), "? of 4+ | 0");
    shown.put(17);
    EXPECT_EQ(afterNext(), "10 of 10 | 18-19");
    shown.put(3);
    EXPECT_EQ(afterNext(), "3 of 4+ | 4-5");
    shown.put(17);
    EXPECT_EQ(afterPrevious(), "9 of 10 | 16-17");
}

}  // namespace
}  // namespace penmark
