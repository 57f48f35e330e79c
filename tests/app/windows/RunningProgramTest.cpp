// SPDX-License-Identifier: GPL-3.0-or-later
// What the running program does with what later starts hand over to it.
#include "app/penmark/RunningProgram.h"

#include "app/editor/EditorView.h"
#include "app/shell/HandOverClient.h"
#include "app/windows/ProgramTest.h"

#include <QApplication>
#include <QTimer>
#include <future>

namespace penmark {
namespace {

using Outcome = HandOverResult::Outcome;

class RunningProgramTest : public ProgramTest {
protected:
    RunningProgramTest()
    {
        qputenv("XDG_RUNTIME_DIR", QByteArray::fromStdString(folder.path().string()));
        running = std::make_unique<RunningProgram>(*program);
    }
    ~RunningProgramTest() override
    {
        running.reset();
        qunsetenv("XDG_RUNTIME_DIR");
    }

    std::future<HandOverResult> ask(const HandOverRequest& request)
    {
        return std::async(std::launch::async,
                          [root = program->libraryRoot(), request] { return handOver(root, request); });
    }
    static bool isReady(std::future<HandOverResult>& answer)
    {
        return wait([&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    }
    HandOverResult answer(const HandOverRequest& request)
    {
        auto result = ask(request);
        EXPECT_TRUE(isReady(result));
        return result.get();
    }

    std::unique_ptr<RunningProgram> running;
};

TEST_F(RunningProgramTest, AskedForANewWindowItMakesOneWithATab)
{
    type("before");
    HandOverRequest request;
    request.newWindow = true;
    request.newDraft = true;
    EXPECT_EQ(answer(request).outcome, Outcome::accepted);
    ASSERT_EQ(program->windows().size(), 2U);
    EXPECT_EQ(tabs(), "[New]");

    request.newDraft = false;
    request.targets = {{"", true, {}, {}}};
    request.standardInput = "piped";
    EXPECT_EQ(answer(request).outcome, Outcome::accepted);
    ASSERT_EQ(program->windows().size(), 3U);
    EXPECT_EQ(tabs(), "[piped]");
    EXPECT_EQ(text(), "piped");
}

TEST_F(RunningProgramTest, InputThatIsNoTextDoesNotKeepFilesFromOpening)
{
    type("before");
    writeFile("there.txt", "there");
    HandOverRequest request;
    request.newWindow = true;
    request.targets = {{"", true, {}, {}}};
    request.standardInput = std::string("\xff\xfe\x00", 3);
    HandOverResult refused = answer(request);
    EXPECT_EQ(refused.outcome, Outcome::refused);
    EXPECT_NE(refused.sentence, "");
    EXPECT_EQ(program->windows().size(), 1U) << "no window for nothing";

    request.targets.push_back({file("there.txt").string(), false, {}, {}});
    refused = answer(request);
    EXPECT_EQ(refused.outcome, Outcome::refused) << "it is said all the same";
    EXPECT_NE(refused.sentence, "");
    ASSERT_EQ(program->windows().size(), 2U);
    EXPECT_EQ(tabs(), "[there.txt]");
    EXPECT_EQ(text(), "there");
}

TEST_F(RunningProgramTest, WhoWaitsForACancelledOpeningIsToldSo)
{
    writeFile("there.txt", "there");
    HandOverRequest request;
    request.wait = true;
    request.targets = {{file("there.txt").string(), false, {}, {}}};
    // The library is busy, so that the opening has not ended when Esc comes.
    std::promise<void> goOn;
    program->documents().library().read(
        program.get(), [until = goOn.get_future().share()](RecoveryStore&) { until.wait(); }, [] {},
        [](const RecoveryError&) {});
    auto result = ask(request);
    const QDeadlineTimer deadline(60'000);
    while (!deadline.hasExpired() && result.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        QTest::keyClick(&window(), Qt::Key_Escape);
        QTest::qWait(10);
    }
    goOn.set_value();
    ASSERT_TRUE(isReady(result));
    const HandOverResult told = result.get();
    EXPECT_EQ(told.outcome, Outcome::refused);
    EXPECT_NE(told.sentence.find("Opening was cancelled."), std::string::npos) << told.sentence;
    EXPECT_EQ(tabs(), "[New]");
}

TEST_F(RunningProgramTest, WhileItEndsItTurnsAwayWhoAsks)
{
    type("text");
    std::promise<void> goOn;
    program->documents().library().run(
        program.get(), [until = goOn.get_future().share()](RecoveryStore&) { until.wait(); }, [] {},
        [](const RecoveryError&) {});
    program->quit();
    HandOverRequest request;
    request.targets = {{"", true, {}, {}}};
    request.standardInput = "piped";
    EXPECT_EQ(answer(request).outcome, Outcome::ending);
    EXPECT_EQ(tabs(), "[text]");
    QTimer::singleShot(0, program.get(), [&] { goOn.set_value(); });
    EXPECT_EQ(QApplication::exec(), 0);
    running.reset();
    program.reset();
}

}  // namespace
}  // namespace penmark
