// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/SystemError.h"
#include "storage/SaveFixture.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <iostream>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace penmark {

namespace {

namespace fs = std::filesystem;

/// A save with everything around it: which way it takes, and what lies where before.
struct Way {
    std::string name;
    bool targetExists = true;
    bool inPlace = false;  // the target's own bytes are overwritten
    bool hardLinked = false;
    std::map<std::string, int> refusals;  // calls that the file system does not offer, with its error
};

const std::vector<Way>& ways()
{
    static const std::vector<Way> all{
        {"exchange", true, false, false, {}},
        {"link and rename", true, false, false, {{"exchange", EINVAL}}},
        {"copy and rename", true, false, false, {{"exchange", ENOSYS}, {"linkat", EPERM}}},
        {"hard-linked", true, true, true, {}},
        {"mounted over", true, true, false, {{"exchange", EBUSY}}},
        {"mounted over, without exchange", true, true, false, {{"exchange", EINVAL}, {"renameat", EBUSY}}},
        {"new", false, false, false, {}},
        {"new, without links", false, false, false, {{"linkat", EPERM}}},
        {"new, with neither", false, false, false, {{"linkat", EOPNOTSUPP}, {"rename to new", EINVAL}}},
    };
    return all;
}

/// One run of a save, and what must hold however it ended.
class SaveRun : public SaveFixture {
public:
    explicit SaveRun(const Way& way) : SaveFixture(TemporaryFolder::inMemory()), way_(way)
    {
        if (way.inPlace) {  // so much that it takes more than one call to write, of which the second can fail
            before += std::string(1'100'000, 'b');
            after += std::string(1'200'000, 'a');
        }
        if (way.targetExists)
            write(target, before);
        if (way.hardLinked)
            fs::create_hard_link(target, folder.path() / "other name");
    }

    /// Saves; `interfere` is called before each system call with its number from 1 and its name.
    std::string go(const std::function<int(int, std::string_view)>& interfere)
    {
        const auto expected = way_.targetExists ? std::optional(sha256(before)) : std::nullopt;
        return save(after, expected, [&](std::string_view call) {
            calls.emplace_back(call);
            const int error = interfere(static_cast<int>(calls.size()), call);
            const auto refused = way_.refusals.find(calls.back());
            return error != 0 || refused == way_.refusals.end() ? error : refused->second;
        });
    }

    std::optional<std::string> targetContent() const
    {
        return fs::exists(target) ? std::optional(readFile(target)) : std::nullopt;
    }

    /// The contents of everything but the target, hidden names and the library included.
    Contents leftovers() const
    {
        Contents all = contents(folder.path());
        all.erase("files/letter.txt");
        all.erase("other name");
        return all;
    }

    bool survives(const std::string& text) const
    {
        const Contents all = contents(folder.path());
        return std::any_of(all.begin(), all.end(), [&](const auto& file) { return file.second == text; });
    }

    std::string before = "what was there before";
    std::string after = "what is saved";
    std::vector<std::string> calls;

private:
    const Way& way_;
};

/// The old or the new text is whole at the target; a file that is overwritten in place may be half-written when nothing
/// works any more, but then its old text is whole beside it.
void expectNothingLost(const SaveRun& run, const Way& way, bool nothingWorks)
{
    const auto held = run.targetContent();
    if (!way.targetExists) {
        // The name that was reserved for a text is empty until the text takes it.
        const bool reserved = nothingWorks && held == "" && way.refusals.count("rename to new") != 0;
        EXPECT_TRUE(!held || held == run.after || reserved);
        return;
    }
    EXPECT_TRUE(held == run.before || held == run.after || (held && nothingWorks && way.inPlace));
    EXPECT_TRUE(held == run.after || run.survives(run.before));
}

/// Saves while this call fails and, unless `once`, every later one. False if the save makes fewer calls.
bool saveWithFault(const Way& way, int at, bool once, int error)
{
    SaveRun run(way);
    const std::string said =
        run.go([&](int call, std::string_view) { return call == at || (!once && call > at) ? error : 0; });
    const bool faulted = static_cast<int>(run.calls.size()) >= at;
    const std::string call = faulted ? run.calls[static_cast<std::size_t>(at) - 1] : "none";
    SCOPED_TRACE(way.name + (once ? ", call " : ", from call ") + std::to_string(at) + " " + call + ": " + said);

    expectNothingLost(run, way, !once);
    const bool saved = run.targetContent() == run.after;
    EXPECT_TRUE(saved || !said.empty());
    EXPECT_TRUE(faulted || said.empty());
    // Beside the target nothing remains, or a whole text after a failure behind the replacement.
    const bool removable = once && call != "unlinkat";
    for (const auto& [name, content] : run.leftovers()) {
        EXPECT_TRUE(!removable || (saved && !said.empty())) << name;
        EXPECT_TRUE(!once || content == run.before || content == run.after) << name;
    }
    if (once && faulted && !saved && said != SaveFixture::notSynchronized) {
        EXPECT_EQ(said,
                  std::string(SaveFixture::storageError) + run.target.native() + ": " + SystemError::reason(error));
    }
    return faulted;
}

/// What a save calls, repetitions counted, and the permissions of the hidden file at the first write.
std::string callsOf(const Way& way)
{
    SaveRun run(way);
    std::string result;
    const std::string said = run.go([&](int, std::string_view call) {
        if (call != "write" || !result.empty())
            return 0;
        for (const auto& entry : fs::directory_iterator(run.files)) {
            if (entry.path().filename().native().starts_with(".penmark-write-"))
                result = (entry.status().permissions() & fs::perms(077)) == fs::perms::none ? "private" : "shared";
        }
        return 0;
    });
    EXPECT_EQ(said, "");
    for (std::size_t i = 0, count = 1; i < run.calls.size(); i += count, count = 1) {
        while (i + count < run.calls.size() && run.calls[i + count] == run.calls[i])
            ++count;
        result += ", " + run.calls[i] + (count > 1 ? " x" + std::to_string(count) : "");
    }
    return result;
}

// No fault shows a missing sync, nor two calls in the wrong order: only a power cut would. So the lists are spelled
// out.
TEST(SaveFaultTest, MakesItsCallsAndSyncsInOrder)
{
    const std::map<std::string, std::string> expected{
        {"exchange",
         "private, open folder, fstatat, openat, pread x2, faccessat, openat, write, ftruncate, fchown, fsetxattr, "
         "fchmod, openat, fsync, exchange, fstatat, renameat, openat x2, fsync, "
         "pread x2, unlinkat, openat, fsync folder"},
        {"link and rename",
         "private, open folder, fstatat, openat, pread x2, faccessat, openat, write, ftruncate, fchown, fsetxattr, "
         "fchmod, openat, fsync, exchange, fstatat, linkat, openat x2, pread x2, renameat, openat, fsync, "
         "pread x2, unlinkat, openat, fsync folder"},
        {"copy and rename",
         "private, open folder, fstatat, openat, pread x2, faccessat, openat, write, ftruncate, fchown, fsetxattr, "
         "fchmod, openat, fsync, exchange, fstatat, linkat, openat x2, fchown, fsetxattr, fchmod, pread, write, "
         "pread, ftruncate, fsync, openat, fsync folder, openat, pread x2, renameat, openat, fsync, "
         "pread x2, unlinkat, openat, fsync folder"},
        {"hard-linked",
         "private, open folder, fstatat, openat, pread x3, faccessat, openat, write x2, ftruncate, fchown, fsetxattr, "
         "fchmod, openat, fsync, openat x2, fchown, fsetxattr, fchmod, pread, write, pread, write, pread, ftruncate, "
         "fsync, "
         "openat, fsync folder, lease, pread x3, write x2, ftruncate, fsync, pread x3, unlinkat, openat, fsync folder, "
         "unlinkat"},
        {"mounted over",
         "private, open folder, fstatat, openat, pread x3, faccessat, openat, write x2, ftruncate, fchown, fsetxattr, "
         "fchmod, openat, fsync, exchange, openat x2, fchown, fsetxattr, fchmod, pread, write, pread, write, pread, "
         "ftruncate, fsync, "
         "openat, fsync folder, lease, pread x3, write x2, ftruncate, fsync, pread x3, unlinkat, openat, fsync folder, "
         "unlinkat"},
        {"mounted over, without exchange",
         "private, open folder, fstatat, openat, pread x3, faccessat, openat, write x2, ftruncate, fchown, fsetxattr, "
         "fchmod, openat, fsync, exchange, fstatat, linkat, openat x2, pread x3, renameat, unlinkat, "
         "openat x2, fchown, fsetxattr, fchmod, pread, write, pread, write, pread, ftruncate, fsync, "
         "openat, fsync folder, lease, pread x3, write x2, ftruncate, fsync, pread x3, unlinkat, openat, fsync folder, "
         "unlinkat"},
        {"new", "shared, open folder, fstatat, openat, write, ftruncate, openat, fsync, linkat, "
                "openat, fsync folder, unlinkat"},
        {"new, without links", "shared, open folder, fstatat, openat, write, ftruncate, openat, fsync, linkat, "
                               "rename to new, openat, fsync folder"},
        {"new, with neither", "shared, open folder, fstatat, openat, write, ftruncate, openat, fsync, linkat, "
                              "rename to new, openat, renameat, pread, openat, fsync folder"},
    };
    const mode_t umaskBefore = umask(022);
    for (const Way& way : ways()) {
        const auto listed = expected.find(way.name);
        EXPECT_EQ(callsOf(way), listed == expected.end() ? "" : listed->second) << way.name;
    }
    umask(umaskBefore);
}

// The other program's version is on the disk, with its name, before the backup goes.
TEST(SaveFaultTest, SyncsAPreservedVersionBeforeItsBackupIsRemoved)
{
    SaveRun run(ways().front());
    std::string calls;
    run.go([&](int, std::string_view call) {
        if (call == "exchange")
            SaveFixture::write(run.target, "theirs");
        calls += call == "mkdir" ? ": " : " ";
        calls += call;
        return 0;
    });
    EXPECT_EQ(
        calls.substr(calls.find(": ")),
        ": mkdir open folder openat pread write pread ftruncate open fsync openat fsync folder open folder openat "
        "fsync folder unlinkat openat fsync folder");
}

// Fails the first system call, then the second, … until a save gets through; once that call alone, and once that call
// and every later one, as when a disk goes away.
TEST(SaveFaultTest, LosesNothingWhicheverCallFails)
{
    int faults = 0;
    for (const Way& way : ways()) {
        for (const bool once : {true, false}) {
            for (const int error : {EIO, ENOSPC}) {
                if (way.inPlace && error == EIO)
                    continue;  // these are long, and what they do depends on the error least
                for (int at = 1; saveWithFault(way, at, once, error); ++at) {
                    ++faults;
                    ASSERT_FALSE(testing::Test::HasFailure());
                }
            }
        }
    }
    std::cout << faults << " faults\n";
}

// The process ends before the first system call, before the second, …: no clean-up runs, and nothing is lost.
TEST(SaveFaultTest, LosesNothingWhereverTheProcessEnds)
{
    int ends = 0;
    for (const Way& way : ways()) {
        for (int at = 1;; ++at) {
            SaveRun run(way);
            const pid_t child = fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                run.go([&](int call, std::string_view) {
                    if (call == at)
                        _exit(1);
                    return 0;
                });
                _exit(0);
            }
            int status = 0;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            SCOPED_TRACE(way.name + ", before call " + std::to_string(at));
            expectNothingLost(run, way, true);
            if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
                EXPECT_EQ(run.targetContent(), run.after);
                EXPECT_EQ(run.leftovers(), Contents{});
                break;
            }
            ++ends;
            ASSERT_FALSE(testing::Test::HasFailure());
        }
    }
    std::cout << ends << " ends\n";
}

}  // namespace

}  // namespace penmark
