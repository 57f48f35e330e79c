// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/OriginalFile.h"

#include "base/FileDescriptor.h"
#include "base/Sha256.h"
#include "storage/RecoveryError.h"
#include "storage/TemporaryFolder.h"

#include <chrono>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace penmark {

namespace {

namespace fs = std::filesystem;

void overwrite(const fs::path& file, std::string_view bytes)
{
    FileDescriptor::open(file, O_WRONLY | O_CREAT | O_TRUNC).writeAll(bytes);
}

void setModified(const fs::path& file, const struct stat& status)
{
    const timespec times[] = {status.st_atim, status.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
}

class OriginalFileTest : public testing::Test {
protected:
    // A snapshot that was taken long after the file's last change, so that its dates settle a comparison.
    DocumentFileSnapshot lateSnapshot() const
    {
        return takeSnapshot(file, [] { return Date{Date::now().seconds + 60}; });
    }

    OriginalFileAvailability check(const DocumentFileSnapshot& snapshot, const std::string& content) const
    {
        return checkOriginal(snapshot, sha256(content)).availability;
    }

    using A = OriginalFileAvailability;
    TemporaryFolder folder;
    fs::path file = folder.path() / "original.txt";
};

TEST_F(OriginalFileTest, SeesWhatHappenedToTheFile)
{
    overwrite(file, "first");
    const DocumentFileSnapshot early = takeSnapshot(file);
    const DocumentFileSnapshot late = lateSnapshot();
    EXPECT_EQ(late.fileSize, 5);
    EXPECT_EQ(check(early, "first"), A::current);
    EXPECT_EQ(check(late, "first"), A::current);

    // The dates move on with the kernel's ticks only.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    struct stat before {};
    ASSERT_EQ(stat(file.c_str(), &before), 0);
    overwrite(file, "other");
    EXPECT_EQ(check(late, "first"), A::changed) << "same size, other date";
    setModified(file, before);
    EXPECT_EQ(check(late, "first"), A::changed) << "same size, date put back";

    // Written back: the dates differ, the text does not.
    overwrite(file, "first");
    const OriginalCheck again = checkOriginal(late, sha256("first"));
    EXPECT_EQ(again.availability, A::current);
    EXPECT_NE(again.snapshot.modifiedAt, late.modifiedAt);
    EXPECT_NE(again.snapshot.statusChangedAt, late.statusChangedAt);

    overwrite(file, "first and more");
    EXPECT_EQ(check(late, "first"), A::changed);
    fs::remove(file);
    EXPECT_EQ(check(late, "first"), A::unavailable);
    fs::create_directory(file);
    EXPECT_EQ(check(late, "first"), A::unavailable);
    fs::remove(file);
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_EQ(check(late, "first"), A::unavailable) << "and without waiting for a writer";
}

// A file system whose dates are coarse shows the same ones for two writes in a row: a snapshot taken between them must
// not vouch for the file. The remembered snapshot is given just the dates that the second write left.
TEST_F(OriginalFileTest, ReadsTheFileWhenTheSnapshotIsTooCloseToItsLastChange)
{
    overwrite(file, "other");
    DocumentFileSnapshot remembered = takeSnapshot(file);
    remembered.takenAt = Date{remembered.modifiedAt->seconds + 1.9};
    EXPECT_EQ(check(remembered, "first"), A::changed);

    // Beyond that the dates are trusted, and the file is not read.
    remembered.takenAt = Date{remembered.modifiedAt->seconds + 10};
    EXPECT_EQ(check(remembered, "first"), A::current);
}

TEST_F(OriginalFileTest, FollowsLinks)
{
    overwrite(file, "text");
    const fs::path link = folder.path() / "link";
    fs::create_symlink("original.txt", link);
    EXPECT_EQ(takeSnapshot(link).fileSize, 4);
    EXPECT_EQ(fileDigest(link), sha256("text"));
    fs::remove(file);
    EXPECT_FALSE(takeSnapshot(link).exists);
}

TEST_F(OriginalFileTest, DigestsWhatIsLargerThanOnePieceAndRefusesWhatIsNoFile)
{
    std::string bytes(3'000'001, 'a');
    bytes[2'500'000] = 'b';
    overwrite(file, bytes);
    EXPECT_EQ(fileDigest(file), sha256(bytes));
    for (const fs::path& path : {folder.path(), fs::path("/dev/null"), folder.path() / "missing"})
        EXPECT_THROW(fileDigest(path), RecoveryError) << path;
}

TEST(OriginalStatusTest, HasOneTextForEachState)
{
    using A = OriginalFileAvailability;
    struct Case {
        std::optional<A> availability;
        bool unsaved;
        std::string_view text;
    };
    for (const auto& [availability, unsaved, text] : {
             Case{std::nullopt, true, "No file · Save to choose a location"},
             Case{A::checking, true, "Checking original file…"},
             Case{A::changed, true, "Original file changed"},
             Case{A::unavailable, false, "Original file unavailable"},
             Case{A::current, true, "Unsaved file changes"},
             Case{A::current, false, "File saved"},
         })
        EXPECT_EQ(originalStatusText(availability, unsaved), text);
}

TEST(OriginalCheckSerialsTest, DropsTheResultOfAnOlderCheck)
{
    OriginalCheckSerials serials;
    EXPECT_FALSE(serials.accept(0)) << "nothing was started";
    const auto slow = serials.start();
    const auto quick = serials.start();
    EXPECT_FALSE(serials.accept(slow));
    EXPECT_TRUE(serials.accept(quick));
    EXPECT_FALSE(serials.accept(slow));
    EXPECT_FALSE(serials.accept(quick));
    EXPECT_FALSE(serials.isChecking());
    const auto next = serials.start();
    EXPECT_FALSE(serials.accept(quick)) << "a newer check was started since";
    EXPECT_TRUE(serials.isChecking());
    EXPECT_TRUE(serials.accept(next));
}

}  // namespace

}  // namespace penmark
