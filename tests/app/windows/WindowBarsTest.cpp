// SPDX-License-Identifier: GPL-3.0-or-later
// What windows say of documents: above the text and below it.
#include "app/documents/PoolWork.h"
#include "app/editor/EditorView.h"
#include "app/settings/SettingsStore.h"
#include "app/windows/CompareWindow.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/MessageBar.h"
#include "app/windows/ProgramTest.h"
#include "storage/DocumentStore.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMenu>
#include <QToolButton>
#include <QUrl>

namespace penmark {
namespace {

namespace fs = std::filesystem;
using Part = DocumentStatusBar::Part;
constexpr auto ctrl = Qt::ControlModifier;

class WindowBarsTest : public ProgramTest {
protected:
    /// Another program writes the file, or removes it, and the window is looked at again.
    void changeOutside(const char* name, const char* bytes)
    {
        if (bytes)
            writeFile(name, bytes);
        else
            std::filesystem::remove(file(name));
        QEvent back(QEvent::WindowActivate);
        QCoreApplication::sendEvent(&window(), &back);
    }
    /// F6 until the focus is in the bar, then Tab until it is on the button, then the key that presses it.
    void pressInBar(const char* name)
    {
        QAbstractButton* const wanted = barButton(name);
        ASSERT_NE(wanted, nullptr);
        const QWidget* const shown = wanted->parentWidget();
        window().pane()->focusText();
        for (int step = 0; step < 8 && !shown->isAncestorOf(QApplication::focusWidget()); ++step)
            key(Qt::Key_F6);
        for (int step = 0; step < 8 && QApplication::focusWidget() != wanted; ++step)
            key(Qt::Key_Tab);
        ASSERT_EQ(QApplication::focusWidget(), wanted) << name << " is not reached";
        key(Qt::Key_Return);
    }
    bool barSays(const char* sentence)
    {
        const bool says = wait([&] { return barText() == sentence; });
        EXPECT_TRUE(says) << "the bar says “" << barText() << "” and the status bar “" << status(Part::file) << "”";
        return says;
    }
};

TEST_F(WindowBarsTest, AChangedOriginalCanBeComparedReloadedAndKept)
{
    writeFile("a.txt", "one\ntwo\n");
    openFile("a.txt");
    changeOutside("a.txt", "one\nTWO\n");
    ASSERT_TRUE(barSays("Original file changed")) << barText();
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    EXPECT_EQ(status(Part::file), "Original file changed");
    type("my ");
    EXPECT_EQ(text(), "my one\ntwo\n");

    pressInBar("Compare");
    QPointer<CompareWindow> compared;
    ASSERT_TRUE(wait([&] {
        for (QWidget* each : QApplication::topLevelWidgets()) {
            if (auto* found = qobject_cast<CompareWindow*>(each))
                compared = found;
        }
        return !compared.isNull();
    }));
    ASSERT_TRUE(QTest::qWaitForWindowActive(compared));
    const auto views = compared->findChildren<EditorView*>();
    ASSERT_EQ(views.size(), 2);
    EXPECT_EQ(views[0]->text().text(), "one\nTWO\n");
    EXPECT_EQ(views[1]->text().text(), "my one\ntwo\n");
    key(Qt::Key_Escape);
    ASSERT_TRUE(wait([&] { return compared.isNull(); }));
    window().activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));

    answers = {file("copy.txt").string()};
    ASSERT_TRUE(barSays("Original file changed"));
    pressInBar("Save a Copy…");
    ASSERT_TRUE(wait([this] { return readFile("copy.txt") == "my one\ntwo\n"; }));
    EXPECT_EQ(readFile("a.txt"), "one\nTWO\n");

    pressInBar("Reload");
    ASSERT_TRUE(wait([this] { return text() == "one\nTWO\n"; })) << text();
    ASSERT_TRUE(wait([this] { return barText().empty(); })) << barText();
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    // What was written meanwhile is a document of its own.
    settle();
    EXPECT_EQ(DocumentStore(program->documents().library().store()).loadDocuments().documents.size(), 2U);
}

// Before its text is stored nothing but the bytes that were read tells what the file held.
TEST_F(WindowBarsTest, AFileThatWasJustOpenedIsNoChangedOne)
{
    storeOnlyWhatIsAsked();
    writeFile("a.txt", "one");
    openFile("a.txt");
    ASSERT_FALSE(buffer().isInLibrary());
    for (int look = 0; look < 3; ++look) {
        QEvent back(QEvent::WindowActivate);
        QCoreApplication::sendEvent(&window(), &back);
        filePool().waitForDone();
        QTest::qWait(5);
    }
    EXPECT_EQ(barText(), "");
    EXPECT_EQ(status(Part::file), "File saved");
}

TEST_F(WindowBarsTest, EscHidesAMessageUntilThereIsAnother)
{
    writeFile("a.txt", "one");
    openFile("a.txt");
    changeOutside("a.txt", "two");
    ASSERT_TRUE(barSays("Original file changed"));
    key(Qt::Key_Escape);
    EXPECT_EQ(barText(), "");
    changeOutside("a.txt", "three");  // still changed
    settle();
    QTest::qWait(50);
    EXPECT_EQ(barText(), "") << barText();
    EXPECT_EQ(status(Part::file), "Original file changed");
    changeOutside("a.txt", nullptr);
    ASSERT_TRUE(barSays("Original file unavailable")) << barText();
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    changeOutside("a.txt", "two");
    ASSERT_TRUE(barSays("Original file changed")) << barText();
}

TEST_F(WindowBarsTest, OneMessageAtATimeTheNewestFirst)
{
    const auto say = [this](const char* sentence, DocumentMessage::Weight weight, bool offers) {
        window().showBar(QString::fromUtf8(sentence), weight,
                         offers ? std::vector<DocumentWindow::Offer>{{QStringLiteral("Act"), [] {}}}
                                : std::vector<DocumentWindow::Offer>());
    };
    using Weight = DocumentMessage::Weight;
    writeFile("a.txt", "one");
    openFile("a.txt");
    changeOutside("a.txt", "two");
    ASSERT_TRUE(barSays("Original file changed"));
    say("A note.", Weight::note, false);
    EXPECT_EQ(barText(), "A note.");
    window().buffer()->touch();  // says nothing new
    settle();
    EXPECT_EQ(barText(), "A note.");
    changeOutside("a.txt", nullptr);
    ASSERT_TRUE(barSays("Original file unavailable"));
    EXPECT_EQ(barText(), "Original file unavailable") << "the note has gone";

    say("It does not end.", Weight::failure, true);
    changeOutside("a.txt", "two");
    ASSERT_TRUE(wait([this] { return status(Part::file) == "Original file changed"; }));
    EXPECT_EQ(barText(), "It does not end.") << "what has to be decided stays";
    key(Qt::Key_Escape);
    EXPECT_EQ(barText(), "Original file changed");
    key(Qt::Key_Escape);
    EXPECT_EQ(barText(), "");
}

TEST_F(WindowBarsTest, AMessageGoesWithItsTimeOrWithTyping)
{
    using namespace std::chrono_literals;
    const auto say = [this](const char* sentence, const DocumentWindow::Passing& passing) {
        window().showBar(QString::fromUtf8(sentence), DocumentMessage::Weight::note, {{QStringLiteral("Act"), [] {}}},
                         passing);
    };
    drafts({"other"});
    RecoveryBuffer& other = buffer();
    writeFile("a.txt", "one");
    openFile("a.txt");
    changeOutside("a.txt", "two");
    ASSERT_TRUE(barSays("Original file changed"));
    say("It passes.", {1h, true});
    window().reload();
    ASSERT_TRUE(wait([this] { return text() == "two"; }));
    other.replaceText(TextSnapshot(std::string("not in front")));
    settle();
    EXPECT_EQ(barText(), "It passes.") << "nobody has written here";
    type("x");
    EXPECT_TRUE(wait([this] { return barText().empty(); })) << barText();
    say("It passes again.", {1h, true});
    key(Qt::Key_Z, ctrl);
    EXPECT_TRUE(wait([this] { return barText().empty(); })) << barText();
    EXPECT_EQ(text(), "two");

    for (const auto time : {0h, 1h}) {
        say("It stays.", {time});
        type("y");
        settle();
        EXPECT_EQ(barText(), "It stays.");
    }
    say("It has passed.", {1ms});
    EXPECT_TRUE(wait([this] { return barText().empty(); })) << barText();
}

TEST_F(WindowBarsTest, AMissingOriginalCanBeLocatedOrSavedElsewhere)
{
    writeFile("a.txt", "one");
    openFile("a.txt");
    program->documents().store(buffer());
    settle();
    std::filesystem::rename(file("a.txt"), file("moved.txt"));
    changeOutside("a.txt", nullptr);
    ASSERT_TRUE(barSays("Original file unavailable"));
    EXPECT_EQ(status(Part::file), "Original file unavailable");
    answers = {file("moved.txt").string()};
    asked.clear();
    pressInBar("Locate…");
    ASSERT_TRUE(wait([this] { return buffer().record().externalPath == file("moved.txt").string(); }));
    ASSERT_TRUE(wait([this] { return barText().empty(); })) << barText();
    EXPECT_EQ(asked.size(), 1U);
    EXPECT_EQ(text(), "one");

    changeOutside("moved.txt", nullptr);
    ASSERT_TRUE(barSays("Original file unavailable"));
    answers = {file("new.txt").string()};
    pressInBar("Save As…");
    ASSERT_TRUE(wait([this] { return readFile("new.txt") == "one"; }));
    ASSERT_TRUE(wait([this] { return barText().empty(); })) << barText();
}

TEST_F(WindowBarsTest, ARefusedFileCanBeOpenedConverted)
{
    type("mine");
    writeFile("latin.txt", "Gr\xFC\xDF"
                           "e aus K\xF6ln, sch\xF6ne Gr\xFC\xDF"
                           "e\n");
    answers = {file("latin.txt").string()};
    key(Qt::Key_O, ctrl);
    ASSERT_TRUE(wait([this] { return !barText().empty(); }));
    EXPECT_EQ(barText().find("latin.txt: "), 0U) << barText();
    EXPECT_NE(barText().find("offset 2, in line 1."), std::string::npos) << barText();
    EXPECT_EQ(tabs(), "[mine]");
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    pressInBar("Open a Converted Copy…");
    QMenu* menu = nullptr;
    ASSERT_TRUE(wait([&] { return (menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) != nullptr; }));
    EXPECT_FALSE(menu->accessibleName().isEmpty());
    QTest::keyClick(menu, Qt::Key_Down);
    ASSERT_NE(menu->activeAction(), nullptr);
    EXPECT_TRUE(menu->activeAction()->text().contains(QStringLiteral("1252")))
        << menu->activeAction()->text().toStdString();
    QTest::keyClick(menu, Qt::Key_Return);
    ASSERT_TRUE(wait([this] { return buffer().text().text() == "Grüße aus Köln, schöne Grüße\n"; }));
    EXPECT_TRUE(buffer().isDraft());
    window().activateWindow();  // which a menu takes from it where there is no screen
    EXPECT_TRUE(wait([this] { return QApplication::focusWidget() == window().view(); }));
}

TEST_F(WindowBarsTest, TheStatusBarSaysWhatIsInFront)
{
    storeOnlyWhatIsAsked();
    EXPECT_EQ(status(Part::stored), "Empty draft");
    EXPECT_EQ(status(Part::file), "No file · Save to choose a location");
    type("some words here");
    EXPECT_EQ(status(Part::stored), "Not stored yet");
    key(Qt::Key_Left, ctrl | Qt::ShiftModifier);
    QTest::qWait(100);
    EXPECT_EQ(status(Part::selection), "1 word selected");
    EXPECT_EQ(status(Part::counts), "3 words");
    EXPECT_EQ(status(Part::caret), "1:12");
    key(Qt::Key_A, ctrl);
    EXPECT_EQ(status(Part::selection), "3 words selected");
    window().view()->setCarets(CaretSet({Caret(Utf8Offset(1)), Caret(Utf8Offset(3)), Caret(Utf8Offset(5))}, 0));
    EXPECT_EQ(status(Part::caret), "3 carets");
    EXPECT_EQ(status(Part::selection), "");
    EXPECT_EQ(status(Part::language), "Plain Text");
    EXPECT_EQ(status(Part::encoding), "UTF-8");
    EXPECT_EQ(status(Part::lineEnd), "LF");
    EXPECT_EQ(status(Part::indent), "Blanks: 4");

    writeFile("a.py", "\xEF\xBB\xBF"
                      "if a:\r\n\tb\r\n\tc\r\n");
    writeFile("b.txt", "x");
    openFile("b.txt");
    EXPECT_EQ(status(Part::file), "File saved");
    openFile("a.py");
    EXPECT_EQ(status(Part::file), "File saved");
    EXPECT_EQ(status(Part::language), "Python");
    EXPECT_EQ(status(Part::encoding), "UTF-8 with BOM");
    EXPECT_EQ(status(Part::lineEnd), "CRLF");
    EXPECT_EQ(status(Part::indent), "Tabs: 4");

    // Each is a button that says what it is, and a tool tip is that of the document in front.
    int seen = 0;
    for (const auto* part : window().statusLine().findChildren<QToolButton*>()) {
        if (part->isHidden())
            continue;
        ++seen;
        EXPECT_TRUE(part->accessibleName().endsWith(part->text())) << part->accessibleName().toStdString();
        EXPECT_NE(part->accessibleName(), part->text());
        if (part->text() == QStringLiteral("File saved")) {
            EXPECT_EQ(part->toolTip().toStdString(), file("a.py").string());
        }
    }
    EXPECT_EQ(seen, 8);
}

TEST_F(WindowBarsTest, TheFirstStartSaysWhereEverythingIsKept)
{
    end();
    settings.welcomeDismissed = false;
    start();
    EXPECT_EQ(barText().find("Everything you type is kept in "), 0U) << barText();
    EXPECT_EQ(QApplication::focusWidget(), window().view());
    type("text");
    EXPECT_NE(barText(), "");
    key(Qt::Key_Escape);
    EXPECT_EQ(barText(), "");
    EXPECT_TRUE(program->settings().settings().welcomeDismissed);
}

TEST_F(WindowBarsTest, DiscardingTheOnlyTabLeavesTheWindowWithANewDraft)
{
    const Uuid empty = buffer().id();
    runCommand("file.discard");
    ASSERT_FALSE(program->isEnding());
    ASSERT_EQ(window().tabs().documents().size(), 1U);
    EXPECT_NE(buffer().id(), empty);
    type("text");
    settle();
    const Uuid written = buffer().id();
    runCommand("file.discard");
    ASSERT_FALSE(program->isEnding());
    EXPECT_NE(buffer().id(), written);
    EXPECT_EQ(text(), "");

    // Of two windows that show nothing else, one stays.
    type("shown twice");
    settle();
    program->newWindowBeside(window(), buffer().id());
    ASSERT_EQ(program->windows().size(), 2U);
    ASSERT_TRUE(wait([&] { return window().buffer() != nullptr; }));
    runCommand("file.discard");
    EXPECT_FALSE(program->isEnding());
    ASSERT_EQ(program->windows().size(), 1U);
    EXPECT_EQ(tabs(), "[New]");
}

TEST_F(WindowBarsTest, APdfReplacesAFileAsAWholeOrNotAtAll)
{
    type("text");
    const auto exportTo = [this](const char* name) {
        answers = {file(name).string()};
        runCommand("file.exportPdf");
    };
    writeFile("there.pdf", "before");
    exportTo("there.pdf");
    ASSERT_TRUE(wait([&] { return readFile("there.pdf").ends_with("%%EOF\n"); }));
    EXPECT_TRUE(readFile("there.pdf").starts_with("%PDF"));

    writeFile("kept.pdf", "before");
    fs::permissions(file("kept.pdf"), fs::perms::owner_read);
    exportTo("kept.pdf");
    ASSERT_TRUE(wait([&] { return barText().find("could not be written") != std::string::npos; }));
    EXPECT_EQ(readFile("kept.pdf"), "before");
}

TEST_F(WindowBarsTest, DroppedFilesAreThoseOfTheirBytes)
{
    type("text");
    const std::string odd = "\xff\xfeodd.txt";
    writeFile(odd.c_str(), "odd name");
    writeFile("per%25 cent.txt", "in there");
    const auto drop = [this](const std::string& name) {
        const std::string path = file(name.c_str()).string();
        program->openDropped({QUrl::fromEncoded("file://" + QByteArray::fromStdString(path).toPercentEncoding("/"))},
                             window());
        settle();
    };
    drop("per%25 cent.txt");
    ASSERT_TRUE(wait([this] { return text() == "in there"; }));
    drop("gone.txt");
    EXPECT_NE(barText().find("gone.txt"), std::string::npos);
    EXPECT_EQ(window().tabs().documents().size(), 2U) << "no document for a file that is not there";
    drop(odd);
    ASSERT_TRUE(wait([this] { return text() == "odd name" || barText().find("odd.txt") != std::string::npos; }));
    for (const RecoveryBuffer* each : program->documents().buffers())
        EXPECT_TRUE(each->isDraft() || !each->text().empty()) << "an empty document";
}

}  // namespace
}  // namespace penmark
