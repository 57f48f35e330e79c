// SPDX-License-Identifier: GPL-3.0-or-later
// Every fsync of this test program comes by here, those of SQLite included, so that a test sees when the library's
// folder is synced and lets it fail.
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"
#include "storage/TemporaryFolder.h"

#include <atomic>
#include <cerrno>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::atomic<int> behindCommit = 0;  // folder syncs that found no rollback journal any more
std::atomic<int> failWith = 0;
std::filesystem::path watched;

}  // namespace

extern "C" int fsync(int descriptor)
{
    struct stat status {};
    struct stat library {};
    const bool isLibrary = !watched.empty() && fstat(descriptor, &status) == 0 &&
                           stat(watched.c_str(), &library) == 0 && status.st_ino == library.st_ino &&
                           status.st_dev == library.st_dev;
    if (isLibrary && access((watched / "recovery.sqlite-journal").c_str(), F_OK) != 0) {
        ++behindCommit;
        if (failWith != 0) {
            errno = failWith;
            return -1;
        }
    }
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

namespace penmark {
namespace {

class CommitSyncTest : public testing::Test {
protected:
    void SetUp() override { watched = folder.path(); }
    void TearDown() override
    {
        watched.clear();
        failWith = 0;
    }

    TemporaryFolder folder;
    RecoveryStore store{{folder.path(), {}}};
};

// Without it a power cut can bring the rollback journal back, and the journal takes the commit back.
TEST_F(CommitSyncTest, TheFolderIsSyncedBehindEveryCommit)
{
    behindCommit = 0;
    store.transaction([&] {
        store.setMetadata("a", true);
        store.transaction([&] { store.setMetadata("b", true); });
    });
    EXPECT_EQ(behindCommit, 1);
    store.setMetadata("c", true);  // a statement on its own is a commit as well
    EXPECT_EQ(behindCommit, 2);
    store.query("SELECT * FROM metadata");
    EXPECT_EQ(behindCommit, 2);
}

TEST_F(CommitSyncTest, ASyncThatFailsIsReportedAndOneThatIsNotOfferedIsNot)
{
    for (const int error : {EINVAL, ENOTSUP, EIO, ENOSPC}) {
        failWith = error;
        bool reported = false;
        try {
            store.transaction([&] { store.setMetadata("a", true); });
        } catch (const RecoveryError& failure) {
            EXPECT_EQ(failure.which(), RecoveryError::Case::storage);
            reported = true;
        }
        EXPECT_EQ(reported, error == EIO || error == ENOSPC) << error;
        failWith = 0;
        store.transaction([&] { store.setMetadata("later", true); });
    }
}

}  // namespace
}  // namespace penmark
