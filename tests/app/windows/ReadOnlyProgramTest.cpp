// SPDX-License-Identifier: GPL-3.0-or-later
// The program with a library that it can read and not write.
#include "app/penmark/RunningProgram.h"
#include "app/shell/HandOverClient.h"
#include "app/windows/MessageBar.h"
#include "app/windows/ProgramTest.h"
#include "base/FileDescriptor.h"

#include <QAbstractButton>
#include <QApplication>
#include <QTimer>
#include <algorithm>
#include <future>

#include <sys/file.h>

namespace penmark {
namespace {

constexpr auto ctrl = Qt::ControlModifier;
constexpr auto nothingIsStored = "Nothing can be stored: this library is open for reading only";

class ReadOnlyProgramTest : public ProgramTest {
protected:
    ReadOnlyProgramTest()
    {
        qputenv("XDG_STATE_HOME", QByteArray::fromStdString(file("state").string()));
        draft("stored text");
        program->documents().storeAll();
        end();
        bytes = readFile(database());
        access = LibraryAccess::readOnly;
        start();
    }
    ~ReadOnlyProgramTest() override
    {
        if (program)
            end();
        EXPECT_EQ(readFile(database()), bytes) << "the library has changed";
        EXPECT_FALSE(std::filesystem::exists(folder.path() / "library/recovery.sqlite-journal"));
        qunsetenv("XDG_STATE_HOME");
    }

    static const char* database() { return "library/recovery.sqlite"; }

    /// Ctrl+Q, and what the bar says when the program has not ended.
    void stayAfterQuit(const std::string& sentence)
    {
        key(Qt::Key_Q, ctrl);
        ASSERT_TRUE(wait([&] { return barText().find(sentence) != std::string::npos; })) << barText();
        EXPECT_FALSE(program->isEnding());
    }

    std::string bytes;
};

TEST_F(ReadOnlyProgramTest, ShowsWhatIsThereAndEndsWithoutAQuestion)
{
    EXPECT_EQ(text(), "stored text");
    EXPECT_EQ(barText(), nothingIsStored);
    emit window().bar()->dismissed();
    // A window that has changed is remembered for this run, and nothing is said of it.
    window().resize(711, 511);
    program->records().save();
    key(Qt::Key_N, ctrl);
    window().resize(733, 533);
    program->records().save();
    settle();
    EXPECT_EQ(barText(), "");
    writeFile("a.txt", "of a file");
    openFile("a.txt");
    EXPECT_EQ(text(), "of a file");
    // A text that was typed and taken away again is nothing, and neither is a file that was only looked at.
    key(Qt::Key_N, ctrl);
    type("x");
    key(Qt::Key_Backspace);
    end();
    EXPECT_FALSE(std::filesystem::exists(file("state"))) << "nothing had to be rescued";
}

TEST_F(ReadOnlyProgramTest, TypedTextIsSavedElsewhereAndHoldsTheProgram)
{
    type(" more");
    program->documents().storeAll();
    ASSERT_TRUE(wait([this] { return !buffer().error().empty(); }));
    EXPECT_NE(buffer().error().find("open for reading only"), std::string::npos) << buffer().error();
    answers = {file("copy.txt").string()};
    runCommand("file.saveCopy");
    ASSERT_TRUE(wait([this] { return readFile("copy.txt") == text(); }));
    EXPECT_EQ(text(), "stored text more");

    stayAfterQuit("This text is stored nowhere");
    answers = {file("second.txt").string()};
    barButton("Save a Copy…")->click();
    ASSERT_TRUE(wait([this] { return readFile("second.txt") == "stored text more"; }));

    draft("another");
    stayAfterQuit("This text and 1 more are stored nowhere");
    QTimer::singleShot(0, &window(), [this] { barButton("Quit Anyway")->click(); });
    QTimer::singleShot(60'000, program.get(), [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QApplication::exec(), 0);
    program.reset();
    std::vector<std::string> rescued;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(file("state"))) {
        if (entry.is_regular_file())
            rescued.push_back(penmark::readFile(entry.path()));
    }
    std::sort(rescued.begin(), rescued.end());
    EXPECT_EQ(rescued, (std::vector<std::string>{"another", "stored text more"}));
}

// SIGTERM and the end of a session do not wait for what cannot happen.
TEST_F(ReadOnlyProgramTest, EndsAtOnceWhenItMust)
{
    QTimer::singleShot(0, program.get(), [this] { program->quit(true); });
    QTimer::singleShot(60'000, program.get(), [] { QCoreApplication::exit(99); });
    EXPECT_EQ(QApplication::exec(), 0);
    program.reset();
    start();
    type("!");
    QTimer::singleShot(0, program.get(), [this] { program->quit(true); });
    QTimer::singleShot(60'000, program.get(), [] { QCoreApplication::exit(99); });
    EXPECT_EQ(QApplication::exec(), 1) << "a text was not stored";
    program.reset();
    EXPECT_TRUE(std::filesystem::exists(file("state")));
}

TEST_F(ReadOnlyProgramTest, TakesNothingOverForAWriter)
{
    qputenv("XDG_RUNTIME_DIR", QByteArray::fromStdString(folder.path().string()));
    const auto outcome = [this] {
        auto answer = std::async(std::launch::async,
                                 [root = program->libraryRoot()] { return handOver(root, HandOverRequest()); });
        EXPECT_TRUE(wait([&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
        return answer.get().outcome;
    };
    {
        const FileDescriptor lock = FileDescriptor::open(file("library/writer.lock"), O_RDWR);
        ASSERT_EQ(flock(lock.get(), LOCK_EX | LOCK_NB), 0) << "reading holds no lock";
        const RunningProgram running(*program);
        EXPECT_EQ(outcome(), HandOverResult::Outcome::notRunning);
    }
    const RunningProgram running(*program);
    EXPECT_EQ(outcome(), HandOverResult::Outcome::accepted) << "nobody else is there to show it";
    qunsetenv("XDG_RUNTIME_DIR");
}

}  // namespace
}  // namespace penmark
