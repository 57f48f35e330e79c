// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/ProgramTest.h"

#include "app/commands/CommandRegistry.h"
#include "app/editor/EditorView.h"
#include "app/penmark/EarlyStart.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/DocumentTabBar.h"
#include "app/windows/MessageBar.h"
#include "organization/SessionLibraryStore.h"
#include "organization/Sessions.h"
#include "storage/WindowStore.h"

#include <QAbstractButton>
#include <QApplication>
#include <QTimer>
#include <fstream>
#include <sstream>

namespace penmark {

namespace {

// What follows a key is shown a moment behind it.
void showChanges()
{
    QTest::qWait(80);
    QCoreApplication::processEvents();  // timers that were due while this process had to wait
}

RecoveryConfiguration libraryIn(const TemporaryFolder& folder)
{
    return {folder.path() / "library", std::nullopt};
}

QString firstWord(const QString& title)
{
    return title.section(QLatin1Char(' '), 0, 0);
}

}  // namespace

ProgramTest::ProgramTest() : folder(TemporaryFolder::inMemory())
{
    settings.welcomeDismissed = true;
    start();
}

ProgramTest::~ProgramTest()
{
    if (program)
        end();
}

void ProgramTest::start(bool restoresWindows)
{
    if (program)
        return;
    LoadedSettings loaded;
    loaded.settings = settings;
    EarlyLibrary early =
        startEarly(libraryIn(folder), {{"HOME", folder.path().string()}}, startFiles, restoresWindows, access);
    ASSERT_TRUE(early.store) << early.status.message();
    program = std::make_unique<Program>(std::move(early), folder.path() / "settings.json", std::move(loaded), limits);
    program->askForFiles = [this](QWidget&, const Program::FileQuestion& question) {
        asked.push_back(question.caption.toStdString());
        QStringList paths;
        for (const std::string& answer : std::exchange(answers, {}))
            paths.append(QString::fromStdString(answer));
        if (!paths.isEmpty())
            question.chosen(paths);
    };
    program->start(startFiles, restoresWindows, false, false);
    program->afterFirstFrame();
    window().activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    ASSERT_TRUE(wait([this] { return window().view() != nullptr && program->documents().headers().isLoaded(); }));
    settle();
}

void ProgramTest::end()
{
    constexpr int notEnded = 99;
    QTimer::singleShot(0, program.get(), [this] {
        QWidget* const focus = QApplication::focusWidget();
        QTest::keyClick(focus ? focus : &window(), Qt::Key_Q, Qt::ControlModifier);
    });
    QTimer::singleShot(60'000, program.get(), [] { QCoreApplication::exit(notEnded); });
    EXPECT_EQ(QApplication::exec(), 0) << "Ctrl+Q did not end the program";
    program.reset();
}

void ProgramTest::withLibrary(const std::function<void(RecoveryStore&)>& work) const
{
    RecoveryStore store(libraryIn(folder));
    work(store);
}

void ProgramTest::putWindows(RecoveryStore& store, const std::vector<RecoveryWindow>& windows)
{
    SessionLibraryStore sessions(store);
    const SessionLibrary stored = sessions.load().library;
    SessionLibrary changed = stored;
    for (const RecoveryWindow& window : windows)
        putWindow(changed, window, Date::now());
    sessions.save(stored, changed);
}

RecoveryBuffer& ProgramTest::buffer()
{
    EXPECT_TRUE(wait([this] { return window().buffer() != nullptr; })) << "no text is shown";
    return *window().buffer();
}

std::string ProgramTest::caret()
{
    const TextSnapshot& shown = window().view()->text();
    const Utf8Offset head = window().view()->editor().carets().main().head;
    const TextLine line = shown.lineContaining(head);
    return std::to_string(line.number.value + 1) + ":" + std::to_string(head - line.start + 1);
}

std::string ProgramTest::tabs(DocumentWindow& window)
{
    showChanges();
    std::string list;
    for (const Uuid& document : window.tabs().documents()) {
        const DocumentTabBar& bar = window.tabBar();
        int index = 0;
        while (index < bar.count() && bar.documentAt(index) != document)
            ++index;
        // The bar and the list behind it have to agree.
        EXPECT_EQ(static_cast<std::size_t>(index), *window.tabs().indexOf(document));
        const std::string title = firstWord(bar.tabText(index)).toStdString();
        const bool isFront = window.tabs().selected() == document;
        EXPECT_EQ(isFront, bar.currentIndex() == index) << title;
        list += (list.empty() ? "" : " ") + (isFront ? "[" + title + "]" : title);
    }
    return list;
}

std::string ProgramTest::status(DocumentStatusBar::Part part)
{
    showChanges();
    return window().statusLine().textOf(part).toStdString();
}

void ProgramTest::key(Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    QWidget* const focus = QApplication::focusWidget();
    ASSERT_NE(focus, nullptr) << "nothing has the focus";
    QTest::keyClick(focus, key, modifiers);
}

void ProgramTest::bareKey(Qt::Key key, Qt::KeyboardModifiers modifiers, bool press)
{
    QWidget* const focus = QApplication::focusWidget();
    ASSERT_NE(focus, nullptr) << "nothing has the focus";
    QTest::simulateEvent(focus, press, key, modifiers, QString(), false);
}

void ProgramTest::type(const char* text)
{
    for (; *text; ++text) {
        QWidget* const focus = QApplication::focusWidget();
        ASSERT_NE(focus, nullptr) << "nothing has the focus";
        if (*text == '\n')
            QTest::keyClick(focus, Qt::Key_Return);
        else
            QTest::keyClick(focus, *text);
    }
}

void ProgramTest::draft(const char* text)
{
    key(Qt::Key_N, Qt::ControlModifier);
    type(text);
}

void ProgramTest::drafts(const std::vector<const char*>& texts)
{
    for (std::size_t index = 0; index < texts.size(); ++index) {
        if (index > 0)
            key(Qt::Key_N, Qt::ControlModifier);
        type(texts[index]);
    }
    settle();
}

void ProgramTest::runCommand(const char* id)
{
    CommandContext context = window().context();
    ASSERT_TRUE(program->commands().run(id, context)) << id;
}

void ProgramTest::settle()
{
    // Twice: what comes back from a thread may ask for more.
    for (int round = 0; round < 2; ++round) {
        program->documents().library().finishWriting();
        QTest::qWait(1);
        EXPECT_TRUE(wait([this] {
            for (const RecoveryBuffer* each : program->documents().buffers()) {
                if (each->isSaving() || each->busy())
                    return false;
            }
            return true;
        }));
    }
}

void ProgramTest::writeFile(const char* name, std::string_view bytes) const
{
    std::ofstream stream(file(name), std::ios::binary);
    stream << bytes;
}

std::string ProgramTest::readFile(const char* name) const
{
    std::ostringstream bytes;
    bytes << std::ifstream(file(name), std::ios::binary).rdbuf();
    return bytes.str();
}

void ProgramTest::openFile(const char* name)
{
    answers = {file(name).string()};
    key(Qt::Key_O, Qt::ControlModifier);
    ASSERT_TRUE(wait([&] {
        return window().buffer() && window().buffer()->record().externalPath == file(name).string() &&
               window().buffer()->originalAvailability() == OriginalFileAvailability::current;
    })) << name;
}

std::string ProgramTest::storedText(const Uuid& document)
{
    settle();
    return DocumentRegistry::readDocument(program->documents().library().store(), document).text.text();
}

std::vector<RecoveryWindow> ProgramTest::storedWindows()
{
    settle();
    return WindowStore(program->documents().library().store()).load().windows;
}

std::vector<MessageBar*> ProgramTest::bars(DocumentWindow& window)
{
    std::vector<MessageBar*> shown;
    for (MessageBar* each : window.findChildren<MessageBar*>()) {
        if (each->isVisible())
            shown.push_back(each);
    }
    return shown;
}

std::string ProgramTest::barText()
{
    std::string text;
    for (const MessageBar* each : bars(window()))
        text += (text.empty() ? "" : "\n") + each->sentence().toStdString();
    return text;
}

QAbstractButton* ProgramTest::barButton(const char* name)
{
    for (const MessageBar* shown : bars(window())) {
        for (auto* button : shown->findChildren<QAbstractButton*>()) {
            if (button->isVisible() && button->text() == QString::fromUtf8(name))
                return button;
        }
    }
    ADD_FAILURE() << "no bar offers " << name;
    return nullptr;
}

}  // namespace penmark
