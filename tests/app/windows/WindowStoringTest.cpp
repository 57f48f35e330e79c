// SPDX-License-Identifier: GPL-3.0-or-later
// When windows have their texts stored, what happens if that fails, and one text seen in several places.
#include "CpuTime.h"
#include "app/editor/EditorView.h"
#include "app/settings/SettingsStore.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/MessageBar.h"
#include "app/windows/ProgramTest.h"
#include "storage/DocumentStore.h"

#include <QAbstractButton>
#include <QApplication>
#include <QRegularExpression>
#include <QTimer>
#include <atomic>
#include <memory>

namespace penmark {
namespace {

using Part = DocumentStatusBar::Part;
constexpr auto ctrl = Qt::ControlModifier;
constexpr auto shift = Qt::ShiftModifier;

class WindowStoringTest : public ProgramTest {
protected:
    /// From now on nothing can be stored, until `isFull` is false.
    void fillDisk()
    {
        settle();
        isFull = true;
        const auto lock = program->documents().library().store().lock();
        program->documents().library().store().beforeCommit = [full = full] {
            if (*full)
                throw RecoveryError::storage("The disk is full.");
        };
    }

    // The program ends behind this object, and stores once more.
    std::shared_ptr<std::atomic<bool>> full = std::make_shared<std::atomic<bool>>(false);
    std::atomic<bool>& isFull = *full;
};

TEST_F(WindowStoringTest, StoresWhatIsLeft)
{
    type("one");
    const Uuid one = buffer().id();
    EXPECT_EQ(storedText(one), "");
    key(Qt::Key_N, ctrl);  // another tab
    EXPECT_EQ(storedText(one), "one");
    type("two");
    const Uuid two = buffer().id();
    EXPECT_EQ(storedText(two), "");
    QEvent left(QEvent::WindowDeactivate);  // another program
    QCoreApplication::sendEvent(&window(), &left);
    EXPECT_EQ(storedText(two), "two");
    EXPECT_EQ(storedWindows().at(0).documents, (std::vector<Uuid>{one, two}));
    type("!");
    key(Qt::Key_W, ctrl);
    EXPECT_EQ(storedText(two), "two!");
    type("!");
    key(Qt::Key_N, ctrl | shift);  // another window
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    EXPECT_EQ(storedText(one), "one!");
    type("three");
    const Uuid three = buffer().id();
    restart();
    EXPECT_EQ(storedText(three), "three");
}

TEST_F(WindowStoringTest, StaysOpenUntilEverythingIsStored)
{
    type("precious");
    fillDisk();
    key(Qt::Key_Q, ctrl);
    ASSERT_TRUE(wait([this] { return barText().find("stays open") != std::string::npos; })) << barText();
    EXPECT_NE(barText().find("The disk is full."), std::string::npos) << barText();
    EXPECT_FALSE(program->isEnding());
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    EXPECT_TRUE(wait([this] { return status(Part::stored) == "Not stored: The disk is full."; }));
    type("!");
    EXPECT_EQ(text(), "precious!");

    // Still full: it says so again.
    barButton("Try Again")->setFocus();
    key(Qt::Key_Space);
    ASSERT_TRUE(wait([this] { return barText().find("stays open") != std::string::npos; })) << barText();
    isFull = false;
    const Uuid document = buffer().id();
    QTimer::singleShot(0, &window(), [this] {
        barButton("Try Again")->setFocus();
        key(Qt::Key_Space);
    });
    QTimer::singleShot(60'000, program.get(), [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QApplication::exec(), 0) << "Try Again did not end the program";
    program.reset();
    start();
    EXPECT_EQ(storedText(document), "precious!");
}

TEST_F(WindowStoringTest, SaysThatATextIsNotStoredAndTriesAgain)
{
    storeOnlyWhatIsAsked();
    type("text");
    EXPECT_EQ(status(Part::stored), "Not stored yet");
    fillDisk();
    program->documents().store(buffer());
    ASSERT_TRUE(wait([this] { return !barText().empty(); }));
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    EXPECT_NE(barText().find("The disk is full."), std::string::npos);
    barButton("Save a Copy…");
    isFull = false;
    barButton("Retry")->setFocus();
    key(Qt::Key_Space);
    ASSERT_TRUE(wait([this] { return buffer().isStored(); }));
    EXPECT_EQ(storedText(buffer().id()), "text");
    QTest::qWait(1);
    EXPECT_EQ(barText(), "") << barText();
    EXPECT_TRUE(QString::fromStdString(status(Part::stored))
                    .contains(QRegularExpression(QStringLiteral("^Stored \\d\\d:\\d\\d:\\d\\d$"))))
        << status(Part::stored);
    // The button that was pressed is gone; keys belong to the text.
    EXPECT_EQ(QApplication::focusWidget(), window().view());
}

TEST_F(WindowStoringTest, TwoWindowsShowOneText)
{
    type("shared");
    const Uuid document = buffer().id();
    DocumentWindow& first = window();
    DocumentWindow& second = program->newWindowBeside(first, document);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&second));
    ASSERT_EQ(first.buffer(), second.buffer());
    key(Qt::Key_End, ctrl);
    type(" by two");
    EXPECT_EQ(first.view()->text().text(), "shared by two");
    first.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&first));
    first.pane()->focusText();
    while (first.buffer()->content().buffer().canUndo())
        key(Qt::Key_Z, ctrl);
    EXPECT_EQ(second.view()->text().text(), "");
    key(Qt::Key_Y, ctrl);
    while (first.buffer()->content().buffer().canRedo())
        key(Qt::Key_Y, ctrl);
    EXPECT_EQ(second.view()->text().text(), "shared by two");

    const QPointer<DocumentWindow> gone(&second);
    second.close();
    ASSERT_TRUE(wait([&] { return gone.isNull(); }));
    type("!");
    EXPECT_NE(text().find('!'), std::string::npos);
    EXPECT_EQ(buffer().id(), document);
}

TEST_F(WindowStoringTest, ASplitShowsOneTextTwice)
{
    type("text");
    EditorView* const first = window().view();
    runCommand("view.splitRight");
    EditorView* const second = window().view();
    ASSERT_NE(first, second);
    EXPECT_EQ(QApplication::focusWidget(), second);
    type("+");
    EXPECT_EQ(first->text().text(), "text+");
    runCommand("view.splitDown");  // turns it
    ASSERT_TRUE(window().pane()->isSplit());
    first->setFocus();
    EXPECT_EQ(window().view(), first);
    key(Qt::Key_Z, ctrl);
    EXPECT_NE(second->text().text(), "text+");
    const QPointer<EditorView> gone(second);
    runCommand("view.splitDown");
    EXPECT_TRUE(gone.isNull());
    EXPECT_EQ(window().view(), first);
    key(Qt::Key_End, ctrl);
    type("?");
    EXPECT_EQ(text().back(), '?');
}

// Of a window with many tabs in a library of many documents nothing may take time for each of them at every step.
// What was chosen for one view outlives the program, a change of some setting, and a split.
TEST_F(WindowStoringTest, AViewStaysAsItWasChosen)
{
    draft("\tone");
    const QFont font = window().view()->editorFont();
    runCommand("view.zoomIn");
    runCommand("view.zoomIn");
    runCommand("view.wrap");
    runCommand("view.blanks");
    runCommand("format.indent.tabs8");
    const auto look = [](EditorView& view) {
        return std::pair(view.textLayout().rowHeight(),
                         std::tuple(view.wraps(), view.showsBlanks(), view.showsLineNumbers()));
    };
    const auto chosen = look(*window().view());
    EXPECT_EQ(chosen.second, std::tuple(false, true, true));
    EXPECT_EQ(window().view()->editorFont(), font) << "wider tabs change no font";
    EXPECT_TRUE(wait([this] { return window().view()->textLayout().tabColumns() == 8; }));
    program->settings().change([](Settings& changed) { changed.rightMargin = 70; });
    EXPECT_EQ(look(*window().view()), chosen);
    runCommand("view.splitRight");
    EXPECT_EQ(look(*window().view()), chosen);
    restart();
    ASSERT_TRUE(wait([this] { return window().view() != nullptr; }));
    EXPECT_EQ(look(*window().view()), chosen);
    program->settings().change([](Settings& changed) { changed.lineNumbers = false; });
    EXPECT_FALSE(window().view()->showsLineNumbers()) << "what was not chosen follows the settings";
}

TEST_F(WindowStoringTest, ManyTabsAndDocumentsAreNoBurden)
{
    constexpr int documents = 2'000;
    constexpr int tabCount = 200;
    RecoveryWindow record = window().record();
    settle();
    end();
    withLibrary([&](RecoveryStore& store) {
        DocumentStore stored(store);
        record.documents.clear();
        record.tabIDs.clear();
        store.transaction([&] {
            for (int number = 0; number < documents; ++number) {
                const RecoveryDocument made = stored.newDocument("Document " + std::to_string(number));
                stored.createWithText(made, "text of " + std::to_string(number));
                if (number < tabCount)
                    record.documents.push_back(made.id);
            }
        });
        record.selected = record.documents.front();
        putWindows(store, {record});
    });
    const auto beforeStart = cpuTime();
    start();
    EXPECT_LT((cpuTime() - beforeStart).count(), granted(0.4)) << "seconds to open the window";
    ASSERT_EQ(window().tabs().documents().size(), static_cast<std::size_t>(tabCount));

    const auto before = cpuTime();
    constexpr int switches = 50;
    for (int step = 0; step < switches; ++step) {
        key(Qt::Key_PageDown, ctrl);
        ASSERT_TRUE(wait([this] { return window().view() != nullptr; }));
    }
    const double each = (cpuTime() - before).count() / switches;
    EXPECT_LT(each, granted(0.02)) << "seconds for a tab";
    RecordProperty("secondsForATab", std::to_string(each));
    EXPECT_EQ(text(), "text of 50");
    EXPECT_LE(program->documents().buffers().size(), 60U);  // the others are read again
}

TEST_F(WindowStoringTest, ThatWindowsAreNotRecordedIsSaidOnceAndUntilTheyAre)
{
    type("text");
    program->documents().storeAll();
    fillDisk();
    const auto save = [this](int width) {
        window().resize(width, 500);
        program->records().save();
        settle();
    };
    save(701);
    ASSERT_TRUE(wait([this] { return bars(window()).size() == 1; }));
    emit window().bar()->dismissed();
    save(702);
    EXPECT_EQ(barText(), "") << "it was said";
    isFull = false;
    save(703);
    isFull = true;
    save(704);
    ASSERT_TRUE(wait([this] { return bars(window()).size() == 1; }));

    // A document that is not stored either says so instead.
    type("!");
    program->documents().storeAll();
    ASSERT_TRUE(wait([this] { return !buffer().error().empty(); }));
    settle();
    EXPECT_EQ(bars(window()).size(), 1U) << barText();
    EXPECT_NE(barButton("Retry"), nullptr);
    isFull = false;
    program->documents().storeAll(true);
    save(705);
    EXPECT_TRUE(wait([this] { return bars(window()).empty(); })) << barText();
}

}  // namespace
}  // namespace penmark
