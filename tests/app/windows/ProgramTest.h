// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/DocumentRegistry.h"
#include "app/settings/Settings.h"
#include "app/windows/DocumentStatusBar.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/Program.h"
#include "storage/TemporaryFolder.h"

#include <QPointer>
#include <QTest>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

class QAbstractButton;

namespace penmark {

/// The program on a library of its own, used by keys that go to whatever has the focus. Each test ends it as a user
/// does, and may start it again on the same library before.
class ProgramTest : public testing::Test {
protected:
    ProgramTest();
    ~ProgramTest() override;

    /// Starts it unless it runs.
    void start(bool restoresWindows = true);
    /// Ctrl+Q, which has to end it.
    void end();
    void restart()
    {
        end();
        start();
    }
    /// Starts it again, and nothing is stored by itself from then on.
    void storeOnlyWhatIsAsked()
    {
        limits.autosave = limits.autosaveAtLatest = std::chrono::hours(1);
        restart();
    }
    /// Runs while the program does not.
    void withLibrary(const std::function<void(RecoveryStore& store)>& work) const;
    /// Has the library hold these windows in place of those with the same identity.
    static void putWindows(RecoveryStore& store, const std::vector<RecoveryWindow>& windows);

    DocumentWindow& window() { return program->frontWindow(); }
    RecoveryBuffer& buffer();
    std::string text() { return buffer().text().text(); }
    /// Line and column of the caret, from 1, as the status bar has it.
    std::string caret();
    /// The tabs as "[a] b c": the first words of their texts or titles, the one in front in brackets.
    static std::string tabs(DocumentWindow& window);
    std::string tabs() { return tabs(window()); }
    std::string status(DocumentStatusBar::Part part);

    /// To what has the focus, which must be something.
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {});
    /// Without the press and release of the modifiers themselves.
    void bareKey(Qt::Key key, Qt::KeyboardModifiers modifiers, bool press);
    void type(const char* text);
    /// A new draft with that text.
    void draft(const char* text);
    /// Drafts in this order, the last in front.
    void drafts(const std::vector<const char*>& texts);
    void runCommand(const char* id);

    static bool wait(const std::function<bool()>& until) { return QTest::qWaitFor(until, 60'000); }
    /// Until nothing of the program waits for a thread.
    void settle();

    std::filesystem::path file(const char* name) const { return folder.path() / name; }
    void writeFile(const char* name, std::string_view bytes) const;
    std::string readFile(const char* name) const;
    /// Opens it in a tab in front.
    void openFile(const char* name);

    /// What the library holds of the document.
    std::string storedText(const Uuid& document);
    std::vector<RecoveryWindow> storedWindows();

    /// The message bars that are seen, and what they say, a line each.
    static std::vector<MessageBar*> bars(DocumentWindow& window);
    std::string barText();
    QAbstractButton* barButton(const char* name);

    TemporaryFolder folder;
    std::unique_ptr<Program> program;
    Settings settings;                                // of the next start
    DocumentRegistry::Limits limits;                  // likewise
    LibraryAccess access = LibraryAccess::readWrite;  // likewise
    std::vector<OpenRequest> startFiles;              ///< of the command line
    std::vector<std::string> asked;                   // captions of questions for files
    std::vector<std::string> answers;                 // paths for the next question; none: it is cancelled
};

}  // namespace penmark
