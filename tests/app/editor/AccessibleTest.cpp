// SPDX-License-Identifier: GPL-3.0-or-later
#include "CpuTime.h"
#include "app/editor/EditorAccessible.h"
#include "app/editor/EditorView.h"

#include <QAccessible>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using namespace penmark;

namespace {

std::vector<std::string> heard;

std::string line(const char* what, int position, const QString& text)
{
    return std::string(what) + std::to_string(position) + " " + text.toStdString();
}

void hear(QAccessibleEvent* event)
{
    switch (event->type()) {
    case QAccessible::TextInserted: {
        const auto* inserted = static_cast<QAccessibleTextInsertEvent*>(event);
        heard.push_back(line("+", inserted->changePosition(), inserted->textInserted()));
        break;
    }
    case QAccessible::TextRemoved: {
        const auto* removed = static_cast<QAccessibleTextRemoveEvent*>(event);
        heard.push_back(line("-", removed->changePosition(), removed->textRemoved()));
        break;
    }
    case QAccessible::TextUpdated: {
        const auto* updated = static_cast<QAccessibleTextUpdateEvent*>(event);
        heard.push_back(
            line("=", updated->changePosition(), updated->textRemoved() + QLatin1Char('>') + updated->textInserted()));
        break;
    }
    case QAccessible::TextCaretMoved:
        heard.push_back("caret " + std::to_string(static_cast<QAccessibleTextCursorEvent*>(event)->cursorPosition()));
        break;
    case QAccessible::TextSelectionChanged: {
        const auto* selected = static_cast<QAccessibleTextSelectionEvent*>(event);
        heard.push_back("selection " + std::to_string(selected->selectionStart()) + "-" +
                        std::to_string(selected->selectionEnd()));
        break;
    }
    default:
        break;
    }
}

/// A view as assistive technology meets it: through the toolkit's own question for a widget's interface.
class AccessibleTest : public testing::Test {
protected:
    ~AccessibleTest() override { setAnnouncementHandler(nullptr); }

    void show(std::string utf8, EditorLanguage language = EditorLanguage::plainText)
    {
        view.reset();
        document = std::make_unique<EditorDocument>(TextSnapshot(std::move(utf8)), language);
        view = std::make_unique<EditorView>(*document);
        view->resize(500, 400);
        view->show();
        QAccessibleInterface* const interface = QAccessible::queryAccessibleInterface(view.get());
        text = interface->textInterface();
        editable = interface->editableTextInterface();
        ASSERT_TRUE(text && editable);
    }

    void listen()
    {
        heard.clear();
        setAnnouncementHandler(hear);
    }

    void edit(const TextEdit& edit) { view->perform({edit, view->editor().carets().mapped(edit)}); }
    std::string all() const { return document->text().text(); }

    /// "before|at|after" of a place, each followed by where it is.
    std::string units(int offset, QAccessible::TextBoundaryType boundary) const
    {
        int start = 0;
        int end = 0;
        std::string result;
        const char* separator = "";
        const auto add = [&](const QString& unit) {
            result += std::exchange(separator, "|");
            if (start >= 0)
                result += unit.toStdString() + "@" + std::to_string(start) + "-" + std::to_string(end);
            // What is told and where it is told to be must be the same.
            if (start >= 0) {
                EXPECT_EQ(unit, text->text(start, end));
            }
        };
        add(text->textBeforeOffset(offset, boundary, &start, &end));
        add(text->textAtOffset(offset, boundary, &start, &end));
        add(text->textAfterOffset(offset, boundary, &start, &end));
        return result;
    }

    std::unique_ptr<EditorDocument> document;
    std::unique_ptr<EditorView> view;  // gone before its document
    QAccessibleTextInterface* text = nullptr;
    QAccessibleEditableTextInterface* editable = nullptr;
};

}  // namespace

TEST_F(AccessibleTest, CountsUtf16UnitsWhateverTheTextIs)
{
    show("a😀b\r\nשלום é");
    EXPECT_EQ(text->characterCount(), 12);
    EXPECT_EQ(text->text(0, 4), u"a😀b");
    EXPECT_EQ(text->text(4, -1), u"\r\nשלום é");
    EXPECT_EQ(text->text(2, 4), QString(QChar(0xDE00)) + QLatin1Char('b')) << "half a pair is given as it is";
    EXPECT_EQ(text->text(1, 2), QString(QChar(0xD83D)));
    EXPECT_EQ(text->text(8, 3), text->text(3, 8));
    EXPECT_EQ(text->text(50, 90), QString());
    text->setCursorPosition(8);
    EXPECT_EQ(text->cursorPosition(), 8);
    EXPECT_EQ(view->editor().carets().main().head.value, 12U);
    text->setCursorPosition(2);
    EXPECT_EQ(text->cursorPosition(), 1) << "no caret inside of a character";
    text->setCursorPosition(5);
    EXPECT_EQ(text->cursorPosition(), 4) << "nor of a line end";
    text->setCursorPosition(1'000);
    EXPECT_EQ(text->cursorPosition(), 4);
}

TEST_F(AccessibleTest, FindsTheUnitsAroundAPlace)
{
    struct Case {
        const char* text;
        int offset;
        QAccessible::TextBoundaryType boundary;
        const char* expected;
    };
    const Case cases[] = {
        {"a👩‍👧b", 3, QAccessible::CharBoundary, "a@0-1|👩‍👧@1-6|b@6-7"},
        {"ab", 2, QAccessible::CharBoundary, "b@1-2|@2-2|"},
        {"ab", 0, QAccessible::CharBoundary, "|a@0-1|b@1-2"},
        {"a\r\nb", 1, QAccessible::CharBoundary, "a@0-1|\r\n@1-3|b@3-4"},
        {"one, two", 1, QAccessible::WordBoundary, "|one@0-3|,@3-4"},
        {"one\ntwo", 3, QAccessible::WordBoundary, "one@0-3|\n@3-4|two@4-7"},
        {"שלום עולם", 6, QAccessible::WordBoundary, " @4-5|עולם@5-9|@9-9"},
        {"Go. Stop! Now\nOn", 5, QAccessible::SentenceBoundary, "Go. @0-4|Stop! @4-10|Now\n@10-14"},
        {"Go. Stop! Now\nOn", 14, QAccessible::SentenceBoundary, "Now\n@10-14|On@14-16|@16-16"},
        {"one\r\ntwo\rthree\n", 6, QAccessible::ParagraphBoundary, "one\r\n@0-5|two\r@5-9|three\n@9-15"},
        {"one\n", 0, QAccessible::ParagraphBoundary, "|one\n@0-4|@4-4"},
        {"one\n\ntwo", 4, QAccessible::LineBoundary, "one\n@0-4|\n@4-5|two@5-8"},
        {"", 0, QAccessible::LineBoundary, "|@0-0|"},
        {"ab", -1, QAccessible::WordBoundary, "ab@0-2|@2-2|"},
        {"ab", 3, QAccessible::WordBoundary, "||"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(std::string(each.text) + ", " + std::to_string(each.boundary));
        show(each.text);
        EXPECT_EQ(units(each.offset, each.boundary), each.expected);
    }
}

// Units must cover the text without gaps: from one to the next, and back, everything is read once.
TEST_F(AccessibleTest, ReadsEverythingOnceForwardsAndBackwards)
{
    std::string source =
        "Hello there.  A second one? Yes!\r\n\r\nשלום world 12 😀👩‍👧.\n日本語のテキスト。";
    for (int i = 0; i < 300; ++i)
        source += "some words that wrap, again; ";
    source += "\n" + std::string(30'000, 'x') + " end\n";
    show(source);
    const QString whole = QString::fromStdString(source);
    for (const auto boundary : {QAccessible::CharBoundary, QAccessible::WordBoundary, QAccessible::SentenceBoundary,
                                QAccessible::ParagraphBoundary, QAccessible::LineBoundary}) {
        SCOPED_TRACE(boundary);
        int start = 0;
        int end = 0;
        const QString first = text->textAtOffset(0, boundary, &start, &end);
        QString forwards = first;
        for (int at = 0; end < whole.size() && end > at;) {
            at = start;
            forwards += text->textAfterOffset(at, boundary, &start, &end);
            if (start < 0)
                break;
            at = start;
        }
        // A run of letters without an end is cut where it is looked at, so it may come in parts that overlap.
        EXPECT_EQ(forwards, whole);
        QString backwards;
        for (int at = static_cast<int>(whole.size()); at > 0; at = start) {
            backwards.prepend(text->textBeforeOffset(at, boundary, &start, &end));
            ASSERT_LT(start, at);
        }
        EXPECT_EQ(backwards, whole);
    }
}

TEST_F(AccessibleTest, TellsRowsOfAWrappedLineApart)
{
    std::string words;
    for (int i = 0; i < 60; ++i)
        words += "word ";
    show(words + "\nnext");
    int start = 0;
    int end = 0;
    const QString row = text->textAtOffset(0, QAccessible::LineBoundary, &start, &end);
    EXPECT_EQ(start, 0);
    EXPECT_LT(end, 200);
    EXPECT_GT(end, 10);
    EXPECT_EQ(text->characterRect(0).top(), text->characterRect(end - 2).top());
    EXPECT_LT(text->characterRect(0).top(), text->characterRect(end).top());
}

TEST_F(AccessibleTest, KnowsWhereCharactersAreOnTheScreen)
{
    show("abc שלום xyz\nשלום\n\tq\n" + std::string(500, '\n') + "far");
    for (int offset = 0; offset < 21; ++offset) {
        SCOPED_TRACE(offset);
        const QRect rect = text->characterRect(offset);
        ASSERT_FALSE(rect.isEmpty());
        if (text->text(offset, offset + 1) != u"\n") {
            EXPECT_EQ(text->offsetAtPoint(rect.center()), offset);
        }
    }
    const int far = text->characterCount() - 1;
    EXPECT_TRUE(text->characterRect(far).isEmpty()) << "not seen";
    text->scrollToSubstring(far - 2, far);
    EXPECT_FALSE(text->characterRect(far).isEmpty());
    EXPECT_TRUE(text->characterRect(0).isEmpty());
    EXPECT_EQ(text->offsetAtPoint(view->mapToGlobal(QPoint(-5, 10))), -1);
}

TEST_F(AccessibleTest, SelectsThroughCarets)
{
    show("one two three");
    int start = -1;
    int end = -1;
    EXPECT_EQ(text->selectionCount(), 0);
    text->setSelection(0, 4, 7);
    text->addSelection(0, 3);
    EXPECT_EQ(text->selectionCount(), 2);
    text->selection(0, &start, &end);
    EXPECT_EQ(std::pair(start, end), std::pair(0, 3));
    text->setSelection(1, 8, 13);
    text->selection(1, &start, &end);
    EXPECT_EQ(std::pair(start, end), std::pair(8, 13));
    text->removeSelection(0);
    EXPECT_EQ(text->selectionCount(), 1);
    EXPECT_EQ(text->cursorPosition(), 13);
    text->removeSelection(0);
    EXPECT_EQ(text->selectionCount(), 0);
    EXPECT_EQ(text->cursorPosition(), 13);
    text->removeSelection(0);
    text->setSelection(3, 0, 1);
    EXPECT_EQ(text->selectionCount(), 0) << "there is no fourth one";
}

TEST_F(AccessibleTest, EditsAsACommandDoes)
{
    show("a😀b\r\nc");
    document->options().lineEnd = "\r\n";
    text->setCursorPosition(6);
    editable->insertText(1, QStringLiteral("x\ny"));
    EXPECT_EQ(all(), "ax\r\ny😀b\r\nc");
    EXPECT_EQ(text->cursorPosition(), 10) << "the caret stays at its text";
    editable->replaceText(5, 7, QStringLiteral("é"));
    EXPECT_EQ(all(), "ax\r\nyéb\r\nc");
    editable->deleteText(0, 4);
    EXPECT_EQ(all(), "yéb\r\nc");
    for (int i = 0; i < 3; ++i)
        view->editor().undo();
    EXPECT_EQ(all(), "a😀b\r\nc");
    view->setReadOnly(true);
    editable->deleteText(0, 4);
    editable->insertText(0, QStringLiteral("no"));
    EXPECT_EQ(all(), "a😀b\r\nc");
    const QAccessible::State state = QAccessible::queryAccessibleInterface(view.get())->state();
    EXPECT_TRUE(state.readOnly && !state.editable && state.multiLine && state.focusable);
}

TEST_F(AccessibleTest, TellsTheStyleOfTokens)
{
    show("let x = 0;  // note\n", EditorLanguage::rust);
    int start = 0;
    int end = 0;
    EXPECT_TRUE(text->attributes(14, &start, &end).contains(u"color:rgb("));
    EXPECT_EQ(std::pair(start, end), std::pair(12, 19));
    const QString comment = text->attributes(14, &start, &end);
    EXPECT_NE(text->attributes(4, &start, &end), comment);
    EXPECT_LE(start, 4);
    EXPECT_GT(end, 4);
}

TEST_F(AccessibleTest, AnnouncesWhatChanges)
{
    show("😀 one two");
    edit(TextEdit({Utf8Offset(4), Utf8Offset(4)}, "!"));
    EXPECT_TRUE(heard.empty()) << "nobody listens";
    listen();
    using Heard = std::vector<std::string>;
    editable->insertText(3, QStringLiteral("é"));
    EXPECT_EQ(heard, Heard({"+3 é"}));
    heard.clear();
    editable->deleteText(3, 5);
    EXPECT_EQ(heard, Heard({"-3 é "}));
    heard.clear();
    editable->replaceText(0, 2, QStringLiteral("ab"));
    EXPECT_EQ(heard, Heard({"=0 😀>ab"}));
    heard.clear();
    view->setCarets(CaretSet(Caret(Utf8Offset(0), Utf8Offset(3))));
    EXPECT_EQ(heard, Heard({"caret 3", "selection 0-3"}));
    heard.clear();
    view->typeText(QStringLiteral("x"));
    EXPECT_EQ(heard, Heard({"=0 ab!>x", "caret 1", "selection 1-1"}));

    // Several places: a listener that follows event by event comes to the same text.
    heard.clear();
    TextEditBuilder builder;
    builder.replace({Utf8Offset(0), Utf8Offset(1)}, "long");
    builder.insert(Utf8Offset(2), "++");
    builder.remove({Utf8Offset(3), Utf8Offset(5)});
    ASSERT_EQ(all(), "xone two");
    edit(std::move(builder).build());
    EXPECT_EQ(all(), "longo++ntwo");
    ASSERT_GE(heard.size(), 3U);
    EXPECT_EQ(Heard(heard.begin(), heard.begin() + 3), Heard({"=0 x>long", "+5 ++", "-8 e "}));
}

TEST_F(AccessibleTest, NeverAnnouncesMoreThanCanBeTaken)
{
    std::string source;
    for (int i = 0; i < 50'000; ++i)
        source += "é one\n";
    show(source);
    listen();
    TextEditBuilder builder;
    for (std::size_t i = 0; i < 50'000; ++i)
        builder.replace({Utf8Offset(7 * i + 3), Utf8Offset(7 * i + 6)}, "two");
    edit(std::move(builder).build());
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_LE(heard.front().size(), EditorAccessible::announcedBytes + 20);
    EXPECT_EQ(heard.front().substr(0, 10), "=2 one\né ");
    heard.clear();
    document->load(TextSnapshot(std::string("short")), EditorLanguage::plainText);
    ASSERT_FALSE(heard.empty());
    EXPECT_LE(heard.front().size(), EditorAccessible::announcedBytes);
}

// Whoever asks for a word must not pay for the text around it, be it one line or a million.
TEST_F(AccessibleTest, AnswersAtOnceInLargeTexts)
{
    std::string lines;
    while (lines.size() < 50'000'000)
        lines += "some words é, and then another sentence. Yes!\n";
    for (const bool oneLine : {false, true}) {
        SCOPED_TRACE(oneLine ? "one line" : "many lines");
        show(oneLine ? std::string(50'000'000, 'x') : lines);
        const int count = text->characterCount();
        // A place elsewhere in a long line has 4 KB laid out, a caret there whole pages.
        const auto timed = [&](const char* what, const std::function<void(int offset)>& call, double limit = 0.1) {
            const auto start = cpuTime();
            for (int i = 0; i < 1'000; ++i)
                call(static_cast<int>(static_cast<long long>(count) * ((i * 619) % 1'000) / 1'000));
            const std::chrono::duration<double> seconds = cpuTime() - start;
            EXPECT_LT(seconds.count(), granted(limit)) << what;
            RecordProperty(std::string(what) + (oneLine ? "OneLine" : ""), std::to_string(seconds.count()));
        };
        int start = 0;
        int end = 0;
        timed("characterCount", [&](int) { EXPECT_EQ(text->characterCount(), count); });
        timed("text", [&](int at) { EXPECT_EQ(text->text(at, at + 1).size(), 1); });
        const std::pair<QAccessible::TextBoundaryType, const char*> kinds[] = {
            {QAccessible::CharBoundary, "character"},
            {QAccessible::WordBoundary, "word"},
            {QAccessible::SentenceBoundary, "sentence"},
            {QAccessible::LineBoundary, "row"},
            {QAccessible::ParagraphBoundary, "paragraph"}};
        for (const auto& [boundary, name] : kinds)
            timed(
                name, [&, kind = boundary](int at) { text->textAtOffset(at, kind, &start, &end); },
                oneLine && boundary == QAccessible::LineBoundary ? 0.5 : 0.1);
        timed("attributes", [&](int at) { text->attributes(at, &start, &end); });
        timed("characterRect", [&](int at) { text->characterRect(at); });
        timed(
            "cursor",
            [&](int at) {
                text->setCursorPosition(at);
                EXPECT_GE(at, text->cursorPosition());
            },
            oneLine ? 0.8 : 0.3);
        timed(
            "selection", [&](int at) { text->setSelection(0, at, at + 1); }, oneLine ? 0.8 : 0.3);
    }
}
