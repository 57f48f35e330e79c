// SPDX-License-Identifier: GPL-3.0-or-later
// What comes back when the program is started again.
#include "app/editor/EditorView.h"
#include "app/navigator/NavigatorView.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/ProgramTest.h"
#include "organization/Sessions.h"
#include "storage/DocumentStore.h"
#include "storage/WindowStore.h"

#include <QApplication>
#include <QSplitter>
#include <QTimer>
#include <algorithm>

namespace penmark {
namespace {

constexpr auto ctrl = Qt::ControlModifier;
constexpr auto shift = Qt::ShiftModifier;

class WindowRestartTest : public ProgramTest {
protected:
    DocumentWindow* windowOf(const Uuid& id)
    {
        for (DocumentWindow* each : program->windows()) {
            if (each->id() == id)
                return each;
        }
        return nullptr;
    }
    void replaceWindows(const std::function<void(std::vector<RecoveryWindow>&)>& change) const
    {
        withLibrary([&](RecoveryStore& store) {
            std::vector<RecoveryWindow> windows = WindowStore(store).load().windows;
            change(windows);
            putWindows(store, windows);
        });
    }
};

TEST_F(WindowRestartTest, BringsWindowsBackAsTheyWere)
{
    std::string lines;
    for (int line = 0; line < 300; ++line)
        lines += "line " + std::to_string(line) + "\n";
    writeFile("long.txt", lines);
    writeFile("folded.json", "{\n  \"a\": {\n    \"b\": 1\n  },\n  \"c\": [\n    2\n  ]\n}\n");
    openFile("long.txt");
    key(Qt::Key_G, ctrl);
    type("200:3");
    key(Qt::Key_Return);
    draft("one\ntwo\nthree");
    const CaretSet two({Caret(Utf8Offset(1), Utf8Offset(3)), Caret(Utf8Offset(5))}, 1);
    window().view()->setCarets(two);
    openFile("folded.json");
    window().view()->setCarets(CaretSet(Caret(Utf8Offset(5))));
    runCommand("fold.fold");
    key(Qt::Key_PageUp, ctrl);
    ASSERT_EQ(tabs(), "long.txt [one] folded.json");
    window().resize(700, 500);
    window().move(40, 60);
    key(Qt::Key_F9);
    type("zzz");
    auto* const splitter = qobject_cast<QSplitter*>(window().centralWidget());
    ASSERT_NE(splitter, nullptr);
    splitter->setSizes({333, 367});
    QTest::qWait(20);
    const RecoveryWindow first = window().record();
    key(Qt::Key_N, ctrl | shift);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    type("other window");
    const RecoveryWindow second = window().record();
    ASSERT_NE(first.id, second.id);

    restart();
    ASSERT_EQ(program->windows().size(), 2U);
    ASSERT_NE(windowOf(first.id), nullptr);
    ASSERT_NE(windowOf(second.id), nullptr);
    DocumentWindow& back = *windowOf(first.id);
    ASSERT_TRUE(wait([&] { return back.view() != nullptr && windowOf(second.id)->view() != nullptr; }));
    EXPECT_EQ(encodeRecord(back.record()), encodeRecord(first));
    EXPECT_EQ(encodeRecord(windowOf(second.id)->record()), encodeRecord(second));

    // The views themselves, not only what is written of them.
    EXPECT_EQ(back.view()->text().text(), "one\ntwo\nthree");
    EXPECT_EQ(back.view()->editor().carets(), two);
    EXPECT_EQ(back.navigator()->state().filter, QStringLiteral("zzz"));
    EXPECT_NEAR(back.navigator()->width(), 333, 2);
    EXPECT_EQ(back.size(), QSize(700, 500));
    EXPECT_EQ(back.pos(), QPoint(40, 60));
    back.activateWindow();
    back.pane()->focusText();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&back));
    for (const char* title : {"folded.json", "long.txt"}) {
        SCOPED_TRACE(title);
        key(Qt::Key_PageDown, ctrl);
        ASSERT_TRUE(wait([&] { return back.view() != nullptr; }));
        settle();
        EXPECT_EQ(encodeRecord(back.view()->state()), first.editorStates.at(*back.tabs().selected()).text);
    }
    EXPECT_EQ(caret(), "200:3");
}

TEST_F(WindowRestartTest, KeepsWhatItDoesNotKnow)
{
    type("text");
    settle();
    end();
    std::string before;
    replaceWindows([&](std::vector<RecoveryWindow>& windows) {
        ASSERT_EQ(windows.size(), 1U);
        RecoveryWindow& window = windows[0];
        window.unknownMembers = {{"ofTomorrow", {"{\"x\":[1,2]}"}}};
        ASSERT_TRUE(window.presentation && window.placement);
        window.presentation->unknownMembers = {{"shade", {"\"dim\""}}};
        window.presentation->markdownPreviewFraction = 0.25;
        window.presentation->libraryFilter = "kept while hidden";
        window.placement->unknownMembers = {{"desk", {"7"}}};
        window.placement->displayID = RawJson{"\"left\""};
        window.searchViewID = Uuid::random();
        before = encodeRecord(window);
    });
    start();
    key(Qt::Key_End, ctrl);
    type("!");
    key(Qt::Key_Backspace);
    const auto stored = window().record();
    EXPECT_EQ(stored.unknownMembers.size(), 1U);
    end();
    withLibrary(
        [&](RecoveryStore& store) { EXPECT_EQ(encodeRecord(WindowStore(store).load().windows.at(0)), before); });
    start();
}

TEST_F(WindowRestartTest, WindowsThatNobodyWantsBackAreAmongTheClosedOnes)
{
    const auto library = [this]() -> const SessionLibrary& { return program->records().library(); };
    draft("kept");
    const Uuid left = window().id();
    settle();
    end();
    start(false);  // this once
    EXPECT_EQ(tabs(), "[New]");
    settle();
    EXPECT_TRUE(library().recentlyClosed.items().empty());
    restart();
    EXPECT_TRUE(program->findWindow(left));

    settings.restoreWindows = false;
    end();
    start(false);
    ASSERT_TRUE(wait([&] { return !library().findWindow(left); }));
    ASSERT_EQ(library().recentlyClosed.items().size(), 1U) << "not the window in which nothing was written";
    EXPECT_EQ((*library().recentlyClosed.begin()).window.documents.size(), 1U);
    EXPECT_EQ(shownWindows(library()).size(), 1U);
    runCommand("file.reopenClosed");
    EXPECT_TRUE(wait([&] { return program->findWindow(left) != nullptr; }));
}

// It is read behind its window, unless the command line asks for its file as well.
TEST_F(WindowRestartTest, ALargeTextComesBackOnce)
{
    std::string lines;
    while (lines.size() < 9'000'000)
        lines += "line " + std::to_string(lines.size()) + "\n";
    writeFile("large.txt", lines);
    openFile("large.txt");
    key(Qt::Key_End, ctrl);
    const std::string place = caret();
    const auto head = [this] { return buffer().record().head; };
    program->documents().store(buffer());
    ASSERT_TRUE(wait([this] { return buffer().isStored() && buffer().isInLibrary(); }));
    const auto stored = head();
    restart();
    EXPECT_EQ(caret(), place);
    EXPECT_TRUE(text() == lines);
    EXPECT_EQ(head(), stored);
    startFiles = {{file("large.txt")}, {file("large.txt")}};
    restart();
    EXPECT_EQ(tabs(), "[large.txt]");
    EXPECT_EQ(caret(), place);
    EXPECT_TRUE(text() == lines);
    EXPECT_EQ(head(), stored);
    EXPECT_EQ(program->documents().headers().all().size(), 1U);
}

TEST_F(WindowRestartTest, ClosedWindowsStayClosedAndTheLastOneOpen)
{
    type("first");
    const Uuid first = window().id();
    key(Qt::Key_N, ctrl | shift);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    type("second");
    const Uuid second = window().id();
    key(Qt::Key_W, ctrl | shift);
    const auto isOpen = [this](const Uuid& id) {
        const auto stored = storedWindows();
        return std::any_of(stored.begin(), stored.end(), [&](const auto& each) { return each.id == id; });
    };
    EXPECT_TRUE(isOpen(first));
    EXPECT_FALSE(isOpen(second));
    restart();
    ASSERT_EQ(program->windows().size(), 1U);
    EXPECT_EQ(window().id(), first);
    EXPECT_FALSE(isOpen(second));

    // Closing the last window ends the program, and it is there again.
    QTimer::singleShot(0, &window(), [this] { key(Qt::Key_W, ctrl | shift); });
    QTimer::singleShot(60'000, program.get(), [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QApplication::exec(), 0);
    program.reset();
    start();
    ASSERT_EQ(program->windows().size(), 1U);
    EXPECT_EQ(window().id(), first);
    EXPECT_EQ(text(), "first");
}

TEST_F(WindowRestartTest, AnEmptyDraftComesBackAsOne)
{
    type("text");
    key(Qt::Key_N, ctrl);
    const Uuid empty = buffer().id();
    restart();
    EXPECT_EQ(window().tabs().documents().size(), 2U);
    EXPECT_EQ(buffer().id(), empty);
    EXPECT_TRUE(buffer().isDraft());
    EXPECT_EQ(buffer().shownTitle(), "New Draft");
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    type("now there");
    restart();
    EXPECT_EQ(text(), "now there");
}

TEST_F(WindowRestartTest, OpensAWindowWhoseDocumentsAreGone)
{
    type("text");
    const Uuid id = window().id();
    settle();
    end();
    const Uuid gone = Uuid::random();
    replaceWindows([&](std::vector<RecoveryWindow>& windows) {
        windows[0].documents = {gone, Uuid::random()};
        windows[0].tabIDs.clear();
        windows[0].selected = Uuid::random();  // no tab of its
    });
    start();
    ASSERT_EQ(program->windows().size(), 1U);
    EXPECT_EQ(window().id(), id);
    EXPECT_EQ(window().tabs().selected(), gone);
    type("new text");
    EXPECT_EQ(storedText(gone), "");  // not before it is stored
    key(Qt::Key_PageDown, ctrl);      // which leaving it does
    EXPECT_EQ(storedText(gone), "new text");

    // No document at all: the window is not opened, and its record stays.
    end();
    replaceWindows([&](std::vector<RecoveryWindow>& windows) {
        windows[0].documents.clear();
        windows[0].tabIDs.clear();
    });
    start();
    EXPECT_NE(window().id(), id);
    EXPECT_EQ(text(), "");
}

TEST_F(WindowRestartTest, WithoutRestoringStartsWithADraft)
{
    type("text");
    const Uuid document = buffer().id();
    end();
    start(false);
    EXPECT_EQ(text(), "");
    EXPECT_EQ(storedText(document), "text");
    EXPECT_EQ(program->windows().size(), 1U);
}

TEST_F(WindowRestartTest, TheWindowThatWasUsedLastIsInFrontAgain)
{
    type("first");
    DocumentWindow& first = window();
    const Uuid id = first.id();
    key(Qt::Key_N, ctrl | shift);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    type("second");
    first.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&first));
    ASSERT_EQ(window().id(), id);
    restart();
    ASSERT_EQ(program->windows().size(), 2U);
    EXPECT_EQ(window().id(), id);
    EXPECT_EQ(text(), "first");
}

TEST_F(WindowRestartTest, AClosedWindowIsReopenedWithItsTabs)
{
    type("first");
    settle();
    key(Qt::Key_N, ctrl | shift);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    drafts({"second", "third", "fourth"});
    const Uuid closed = window().id();
    key(Qt::Key_W, ctrl);
    key(Qt::Key_W, ctrl | shift);
    window().activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    restart();
    ASSERT_EQ(program->windows().size(), 1U);
    key(Qt::Key_T, ctrl | shift);
    ASSERT_EQ(program->windows().size(), 2U);
    EXPECT_EQ(window().id(), closed);
    EXPECT_EQ(tabs(), "second [third]");
    EXPECT_TRUE(program->canReopenClosed()) << "the tab that was closed before the window";
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));

    // What was discarded meanwhile does not come back; a tab that was closed later comes first.
    ASSERT_TRUE(wait([this] { return window().buffer() != nullptr; }));
    const Uuid third = buffer().id();
    key(Qt::Key_W, ctrl | shift);
    window().activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    program->documents().discard(std::vector{third});
    settle();
    draft("fifth");
    key(Qt::Key_W, ctrl);
    key(Qt::Key_T, ctrl | shift);
    EXPECT_EQ(tabs(), "first [fifth]");
    ASSERT_TRUE(wait([] { return QApplication::focusWidget() != nullptr; }));
    key(Qt::Key_T, ctrl | shift);
    EXPECT_EQ(tabs(), "[second]");
}

TEST_F(WindowRestartTest, SaveAllSavesWhatHasNotBeenReadYet)
{
    writeFile("a.txt", "a");
    writeFile("b.txt", "b");
    openFile("a.txt");
    type("new ");
    openFile("b.txt");
    restart();
    ASSERT_EQ(tabs(), "a.txt [b.txt]");
    type("new ");
    runCommand("file.saveAll");
    EXPECT_TRUE(wait([this] { return readFile("a.txt") == "new a" && readFile("b.txt") == "new b"; }))
        << readFile("a.txt") << ", " << readFile("b.txt");
}

}  // namespace
}  // namespace penmark
