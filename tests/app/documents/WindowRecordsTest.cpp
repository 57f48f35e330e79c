// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/WindowRecords.h"

#include "app/documents/LibraryFixture.h"
#include "storage/WindowStore.h"

namespace penmark {
namespace {

class WindowRecordsTest : public LibraryFixture {
protected:
    std::vector<Uuid> inLibrary()
    {
        settle();
        std::vector<Uuid> ids;
        for (const RecoveryWindow& window : WindowStore(queue.store()).load().windows)
            ids.push_back(window.id);
        return ids;
    }
};

TEST_F(WindowRecordsTest, OnlyWhatChangedIsWrittenInTheOrderOfUse)
{
    const std::vector<Uuid> ids{Uuid::random(), Uuid::random(), Uuid::random()};
    RecoveryWindow first;
    first.id = ids[0];
    first.unknownMembers = {{"laterKey", RawJson{"{\"a\":[1,2]}"}}};
    first.presentation.emplace().unknownMembers = {{"other", RawJson{"null"}}};
    WindowStore(queue.store()).saveAll(std::vector{first});
    WindowRecords records(queue, WindowStore(queue.store()).load().windows);
    ASSERT_NE(records.find(ids[0]), nullptr);
    int commits = 0;
    queue.store().beforeCommit = [&] { ++commits; };
    records.put(*records.find(ids[0]));
    records.save();
    ASSERT_TRUE(settle());
    EXPECT_EQ(commits, 0) << "nothing has changed";

    records.put({ids[1], {}, {}, true, {}, {}, {}, {}, {}, {}, {}});
    records.put({ids[2], {}, {}, true, {}, {}, {}, {}, {}, {}, {}});
    RecoveryWindow changed = *records.find(ids[0]);
    changed.isOpen = true;
    const auto collecting =
        QObject::connect(&records, &WindowRecords::collect, &records, [&] { records.put(changed); });
    records.save();
    EXPECT_EQ(inLibrary(), ids);
    EXPECT_EQ(commits, 1) << "all in one";
    const RecoveryWindow kept = WindowStore(queue.store()).load().windows[0];
    EXPECT_TRUE(kept.isOpen) << "it was asked for";
    EXPECT_EQ(kept.unknownMembers, first.unknownMembers);
    EXPECT_EQ(kept.presentation, first.presentation);
    QObject::disconnect(collecting);

    records.used(ids[0]);
    records.used(Uuid::random());  // has no record yet
    records.save();
    EXPECT_EQ(inLibrary(), (std::vector{ids[1], ids[2], ids[0]}));

    records.remove(ids[1]);
    records.save();
    EXPECT_EQ(inLibrary(), (std::vector{ids[2], ids[0]}));
}

TEST_F(WindowRecordsTest, WhatCouldNotBeWrittenIsWrittenTheNextTime)
{
    WindowRecords records(queue, {}, std::chrono::milliseconds(50));
    RecoveryWindow window;
    window.id = Uuid::random();
    records.put(window);
    failCommits(3);
    std::vector<std::string> failures;
    int recovered = 0;
    QObject::connect(&records, &WindowRecords::recovered, &records, [&] { ++recovered; });
    const auto begin = std::chrono::steady_clock::now();
    QObject::connect(&records, &WindowRecords::failed, &records,
                     [&](const QString& sentence) { failures.push_back(sentence.toStdString()); });
    records.save();
    ASSERT_TRUE(settle());
    EXPECT_EQ(failures, std::vector{std::string(diskFull)});
    EXPECT_TRUE(inLibrary().empty());
    EXPECT_TRUE(waitUntil([&] { return inLibrary().size() == 1; })) << "by itself, a moment later";
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50 + 100 + 200) * 9 / 10);
    EXPECT_TRUE(waitUntil([&] { return recovered == 1; }));
    EXPECT_EQ(failures.size(), 1U) << "said once for the three";
}

TEST_F(WindowRecordsTest, LastWindowThatCouldNotBeRemovedIsRemovedTheNextTime)
{
    RecoveryWindow window;
    window.id = Uuid::random();
    WindowStore(queue.store()).saveAll(std::vector{window});
    WindowRecords records(queue, {window});
    records.remove(window.id);
    failCommits(1);
    records.save();
    ASSERT_TRUE(settle());
    EXPECT_EQ(inLibrary().size(), 1U);
    records.save();
    EXPECT_TRUE(inLibrary().empty());
}

TEST_F(WindowRecordsTest, OfClosedWindowsTheLatestAreKept)
{
    WindowRecords records(queue, {});
    std::vector<Uuid> ids;
    for (int count = 0; count < 55; ++count) {
        RecoveryWindow window;
        window.id = ids.emplace_back(Uuid::random());
        window.isOpen = count == 1;
        if (count == 3)
            window.sessionID = Uuid::random();
        records.put(window);
    }
    records.save();
    const std::vector<Uuid> kept = inLibrary();
    ASSERT_EQ(kept.size(), 52U) << "fifty closed ones, one that is open and one of a session";
    EXPECT_EQ(kept[0], ids[1]);
    EXPECT_EQ(kept[1], ids[3]);
    EXPECT_EQ(kept[2], ids[5]);
    EXPECT_EQ(kept.back(), ids.back());
}

}  // namespace
}  // namespace penmark
