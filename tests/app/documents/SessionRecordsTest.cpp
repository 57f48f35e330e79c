// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/SessionRecords.h"

#include "app/documents/LibraryFixture.h"
#include "organization/CheckpointStore.h"
#include "organization/SessionError.h"
#include "organization/SessionLibraryStore.h"
#include "organization/SessionVisits.h"
#include "organization/Sessions.h"
#include "storage/WindowStore.h"

namespace penmark {
namespace {

RecoveryWindow aWindow(std::vector<Uuid> documents = {Uuid::random()})
{
    RecoveryWindow window;
    window.id = Uuid::random();
    window.isOpen = true;
    for (const Uuid& document : documents)
        window.tabIDs[document] = Uuid::random();
    window.documents = std::move(documents);
    return window;
}

class SessionRecordsTest : public LibraryFixture {
protected:
    SessionRecordsTest()
    {
        times.clock = [this] { return now; };
        times.calendar = [this](Date date) {
            return LocalDay{"UTC", "day" + std::to_string(static_cast<int>((date.seconds + zone) / 86'400)), ""};
        };
        times.retry = std::chrono::milliseconds(50);
    }

    StoredSessions read() { return StoredSessions::read(queue.store(), times.clock); }
    SessionLibrary inLibrary()
    {
        settle();
        return SessionLibraryStore(queue.store()).load().library;
    }
    std::vector<Uuid> windowRows()
    {
        settle();
        std::vector<Uuid> ids;
        for (const RecoveryWindow& window : WindowStore(queue.store()).load().windows)
            ids.push_back(window.id);
        return ids;
    }
    static std::vector<std::string> days(const SessionLibrary& library)
    {
        std::vector<std::string> keys;
        for (const SessionDay& day : library.runs.find(library.settings.currentRunID.value())->days)
            keys.push_back(day.dayKey + (day.checkpointID ? "" : " without checkpoint"));
        return keys;
    }

    Date now{800'000'000};
    double zone = 0;  // seconds east
    SessionRecords::Times times;
};

TEST_F(SessionRecordsTest, WindowsOfALibraryWithoutSessionsBecomeOne)
{
    const RecoveryWindow behind = aWindow();
    RecoveryWindow closed = aWindow();
    closed.isOpen = false;
    RecoveryWindow front = aWindow();
    front.unknownMembers = {{"laterKey", RawJson{"{\"a\":[1,2]}"}}};
    WindowStore(queue.store()).saveAll(std::vector{behind, closed, front});

    SessionRecords records(queue, read());
    ASSERT_EQ(records.library().sessions.size(), 1U);
    EXPECT_EQ(shownWindows(records.library()), (std::vector{front.id, behind.id})) << "the one used last in front";
    ASSERT_EQ(records.library().recentlyClosed.size(), 1U);
    EXPECT_EQ(records.library().recentlyClosed.begin()->window.documents, closed.documents);
    records.save();
    EXPECT_EQ(windowRows(), (std::vector{behind.id, front.id}));
    EXPECT_EQ(inLibrary(), records.library());
    EXPECT_EQ(inLibrary().findWindow(front.id)->unknownMembers, front.unknownMembers);

    SessionRecords again(queue, read());
    EXPECT_EQ(again.library().sessions, records.library().sessions) << "nothing is taken over twice";
    EXPECT_EQ(again.library().recentlyClosed.size(), 1U);
}

TEST_F(SessionRecordsTest, OnlyWhatChangedIsWritten)
{
    SessionRecords records(queue, read());
    const RecoveryWindow first = aWindow();
    RecoveryWindow second = aWindow();
    records.put(first);
    records.put(second);
    records.save();
    ASSERT_TRUE(settle());
    int commits = 0;
    queue.store().beforeCommit = [&] { ++commits; };
    records.put(first);
    records.save();
    ASSERT_TRUE(settle());
    EXPECT_EQ(commits, 0) << "nothing has changed";

    second.documents.push_back(Uuid::random());
    second.tabIDs[second.documents.back()] = Uuid::random();
    int changes = 0;
    QObject::connect(&records, &SessionRecords::changed, &records, [&] { ++changes; });
    QObject::connect(&records, &SessionRecords::collect, &records, [&] { records.put(second); });
    records.save();
    ASSERT_TRUE(settle());
    EXPECT_EQ(commits, 1) << "it was asked for, and written at once";
    EXPECT_EQ(changes, 1) << "lists hear of another tab";
    EXPECT_EQ(inLibrary().findWindow(second.id)->documents, second.documents);
    records.used(first.id);
    records.save();
    EXPECT_EQ(windowRows(), (std::vector{second.id, first.id}));
}

TEST_F(SessionRecordsTest, ARefusedChangeChangesNothing)
{
    SessionRecords records(queue, read());
    Uuid outer;
    Uuid inner;
    ASSERT_TRUE(records.change([&](SessionLibrary& library) {
        outer = createSession(library, "outer", {}, now);
        inner = createSession(library, "inner", outer, now);
    }));
    const SessionLibrary before = records.library();
    std::vector<std::string> refusals;
    int arranged = 0;
    QObject::connect(&records, &SessionRecords::refused, &records,
                     [&](const QString& sentence) { refusals.push_back(sentence.toStdString()); });
    QObject::connect(&records, &SessionRecords::arranged, &records, [&] { ++arranged; });
    EXPECT_FALSE(records.change([&](SessionLibrary& library) {
        renameSession(library, inner, "half done");
        moveSession(library, outer, inner);
    }));
    EXPECT_EQ(records.library(), before);
    EXPECT_EQ(refusals, std::vector<std::string>{"A session cannot contain itself or one of its parents."});
    EXPECT_EQ(arranged, 0);
}

TEST_F(SessionRecordsTest, WhatCouldNotBeWrittenIsWrittenLater)
{
    SessionRecords records(queue, read(), times);
    const RecoveryWindow window = aWindow();
    records.put(window);
    failCommits(3);
    std::vector<std::string> failures;
    int recovered = 0;
    QObject::connect(&records, &SessionRecords::recovered, &records, [&] { ++recovered; });
    QObject::connect(&records, &SessionRecords::failed, &records,
                     [&](const QString& sentence) { failures.push_back(sentence.toStdString()); });
    const auto begin = std::chrono::steady_clock::now();
    records.save();
    ASSERT_TRUE(settle());
    EXPECT_EQ(failures, std::vector{std::string(diskFull)});
    EXPECT_TRUE(inLibrary().sessions.isEmpty());
    EXPECT_TRUE(waitUntil([&] { return !inLibrary().sessions.isEmpty(); })) << "by itself, a moment later";
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50 + 100 + 200) * 9 / 10);
    EXPECT_TRUE(waitUntil([&] { return recovered == 1; }));
    EXPECT_EQ(failures.size(), 1U) << "said once for the three";
    EXPECT_EQ(windowRows(), std::vector{window.id});
}

// Whoever could not read what there is must not write in its place.
TEST_F(SessionRecordsTest, NothingIsWrittenOverWhatCouldNotBeRead)
{
    WindowStore(queue.store()).saveAll(std::vector{aWindow()});
    SessionLibrary library;
    createSession(library, "kept", {}, now);
    SessionLibraryStore(queue.store()).save({}, library);
    SessionRecords records(queue, {}, times);
    records.put(aWindow());
    records.save();
    records.finish();
    EXPECT_EQ(inLibrary(), library);
    EXPECT_EQ(windowRows().size(), 1U);
}

TEST_F(SessionRecordsTest, AVisitThatDidNotEndWasInterrupted)
{
    {
        SessionRecords records(queue, read(), times);
        EXPECT_FALSE(records.interrupted());
        records.save();
        settle();
    }
    now.seconds += 60;
    {
        SessionRecords records(queue, read(), times);
        ASSERT_TRUE(records.interrupted());
        EXPECT_EQ(records.interrupted()->startedAt, Date{now.seconds - 60});
        records.finish();
        settle();
    }
    SessionRecords records(queue, read(), times);
    EXPECT_FALSE(records.interrupted());
    records.save();
    std::vector<RunStatus> statuses;
    for (const SessionRun& run : inLibrary().runs)
        statuses.push_back(run.status);
    EXPECT_EQ(statuses, (std::vector{RunStatus::recovered, RunStatus::finished, RunStatus::running}));
}

TEST_F(SessionRecordsTest, EachDayOfAVisitHasOneCheckpoint)
{
    SessionRecords records(queue, read(), times);
    records.save();
    ASSERT_TRUE(settle());
    EXPECT_EQ(rows("checkpoints"), "0") << "there is nothing to be restored yet";
    RecoveryBuffer& document = stored("text");
    const auto saveChange = [&] {
        records.put(aWindow());
        records.save();
        return settle() && settle();
    };
    ASSERT_TRUE(saveChange());
    ASSERT_TRUE(saveChange());
    EXPECT_EQ(rows("checkpoints"), "1") << "two writings of a day";
    const std::string today = times.calendar(now).dayKey;
    EXPECT_EQ(days(records.library()), std::vector{today});

    now.seconds += 86'400;
    failCommits(1);
    ASSERT_TRUE(saveChange());
    ASSERT_TRUE(saveChange());
    EXPECT_EQ(rows("checkpoints"), "2") << "the writing behind one that failed";
    zone = 86'400;  // east of the date line
    ASSERT_TRUE(saveChange());
    EXPECT_EQ(rows("checkpoints"), "3");
    zone = 0;
    ASSERT_TRUE(saveChange());
    EXPECT_EQ(rows("checkpoints"), "3") << "back in a day that is known";
    EXPECT_EQ(days(records.library()).size(), 3U);
    records.save();
    EXPECT_EQ(inLibrary().runs, records.library().runs);
    const CheckpointHeader newest = CheckpointStore(queue.store()).headers().headers.front();
    EXPECT_FALSE(newest.pinned);
    EXPECT_EQ(CheckpointStore(queue.store()).load(newest.id)->documents.at(0).documentID, document.id());
}

// What a job has saved must not be written over by what was collected before it answered.
TEST_F(SessionRecordsTest, WritingWaitsForAJobThatAdds)
{
    SessionRecords records(queue, read(), times);
    records.put(aWindow());
    records.save();
    Uuid added;
    bool adopted = false;
    records.runOnSaved(
        [at = now](RecoveryStore& store, SessionLibrary& saved) {
            SessionLibrary library = saved;
            const Uuid session = createSession(library, "restored", {}, at);
            SessionLibraryStore(store).save(saved, library);
            saved = library;
            return session;
        },
        [&](const Uuid& session) {
            added = session;
            EXPECT_TRUE(SessionLibraryStore(queue.store()).load().library.sessions.contains(session));
            records.change([&](SessionLibrary& library) {
                library.sessions.put(*SessionLibraryStore(queue.store()).load().library.sessions.find(session));
            });
            adopted = true;
        },
        [](const RecoveryError& error) { FAIL() << error.what(); });
    const RecoveryWindow meanwhile = aWindow();
    records.put(meanwhile);
    records.save();
    ASSERT_TRUE(waitUntil([&] { return adopted; }));
    EXPECT_TRUE(inLibrary().sessions.contains(added));
    EXPECT_NE(inLibrary().findWindow(meanwhile.id), nullptr) << "written behind the job";
}

// A checkpoint of what is stored would lack what came last, and be said to hold it.
TEST_F(SessionRecordsTest, AJobFailsWithTheWritingThatItIsBehind)
{
    SessionRecords records(queue, read(), times);
    records.save();
    ASSERT_TRUE(settle());
    records.put(aWindow());
    failCommits(1);
    bool ran = false;
    std::vector<std::string> failures;
    const auto run = [&] {
        records.runOnSaved([&](RecoveryStore&, SessionLibrary&) { return ran = true; }, [](bool) {},
                           [&](const RecoveryError& error) { failures.emplace_back(error.what()); });
        return settle();
    };
    ASSERT_TRUE(run());
    EXPECT_FALSE(ran);
    EXPECT_EQ(failures, std::vector{std::string(diskFull)});
    ASSERT_TRUE(run());
    EXPECT_TRUE(ran);
    EXPECT_EQ(failures.size(), 1U);
}

TEST_F(SessionRecordsTest, AVisitIsFinishedWhateverItsJobsAskFor)
{
    SessionRecords records(queue, read(), times);
    records.save();
    ASSERT_TRUE(settle());
    const auto nothing = [](RecoveryStore&, SessionLibrary&) { return true; };
    const auto failed = [](const RecoveryError&) {};
    records.runOnSaved(
        nothing,
        [&](bool) {
            records.runOnSaved(
                nothing, [](bool) {}, failed);
        },
        failed);
    records.finish();
    queue.finishWriting();
    for (const SessionRun& visit : inLibrary().runs)
        EXPECT_EQ(visit.status, RunStatus::finished);
}

}  // namespace
}  // namespace penmark
