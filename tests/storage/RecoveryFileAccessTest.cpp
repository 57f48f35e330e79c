// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Utf8.h"
#include "base/Uuid.h"
#include "storage/ExternalOriginals.h"
#include "storage/Mount.h"
#include "storage/SaveFixture.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>

#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace penmark {

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

class RecoveryFileAccessTest : public testing::Test, protected SaveFixture {
protected:
    static struct stat statusOf(const fs::path& file)
    {
        struct stat status {};
        EXPECT_EQ(lstat(file.c_str(), &status), 0) << file;
        return status;
    }

    static mode_t modeOf(const fs::path& file) { return statusOf(file).st_mode & 07777U; }
};

/// Lets a privileged test act as an ordinary user for a while.
class AsNobody {
public:
    AsNobody()
    {
        EXPECT_EQ(setegid(nobody), 0);
        EXPECT_EQ(seteuid(nobody), 0);
    }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;
    ~AsNobody()
    {
        EXPECT_EQ(seteuid(0), 0);
        EXPECT_EQ(setegid(0), 0);
    }

    static constexpr uid_t nobody = 65534;
};

TEST_F(RecoveryFileAccessTest, SavesToANewPathThroughTheUmask)
{
    const mode_t umaskBefore = umask(027);
    EXPECT_EQ(save("", std::nullopt), "");
    umask(umaskBefore);
    EXPECT_EQ(contents(files), (Contents{{"letter.txt", ""}}));
    EXPECT_EQ(modeOf(target), 0640U);
    EXPECT_EQ(statusOf(target).st_nlink, 1U);
}

TEST_F(RecoveryFileAccessTest, ReplacesAFileThatIsAsExpected)
{
    const std::string large(5'000'000, 'x');
    std::string held = "old";
    write(target, held);
    for (const std::string& text : {large, std::string(), std::string("short\n")}) {
        EXPECT_EQ(save(text, sha256(held)), "");
        EXPECT_EQ(contents(files), (Contents{{"letter.txt", text}}));
        held = text;
    }
    EXPECT_EQ(contents(library), Contents{});
}

// Each of these is refused before anything is written.
TEST_F(RecoveryFileAccessTest, LeavesAFileThatIsNotAsExpected)
{
    write(target, "theirs");
    const auto missing = files / "missing.txt";
    const auto nowhere = files / "no folder" / "letter.txt";
    const auto directory = files / "folder";
    fs::create_directory(directory);
    const auto pipe = files / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string mine = sha256("mine");
    struct Case {
        fs::path path;
        std::optional<std::string> expected;
        std::string says;
    };
    const std::string storage(storageError);
    const Case cases[] = {
        {target, mine, std::string(externalChange)},
        {target, std::nullopt, std::string(externalChange)},
        {missing, mine, std::string(externalChange)},
        {nowhere, mine, std::string(externalChange)},
        {nowhere, std::nullopt, storage + nowhere.native() + ": No such file or directory"},
        {target / "below a file", std::nullopt, storage + (target / "below a file").native() + ": Not a directory"},
        {directory, mine, std::string(externalChange)},
        {directory, std::nullopt, storage + directory.native() + " is a folder. Choose another name."},
        {pipe, std::nullopt, storage + pipe.native() + " is not a regular file. Choose another name."},
        {"/dev/null", std::nullopt, storage + "/dev/null is not a regular file. Choose another name."},
    };
    for (const auto& [path, expected, says] : cases) {
        EXPECT_EQ(save(path, "text", expected), says);
        EXPECT_EQ(contents(files), (Contents{{"letter.txt", "theirs"}})) << path;
    }
}

TEST_F(RecoveryFileAccessTest, NeverModifiesAReadOnlyFile)
{
    write(target, "old");
    for (const mode_t mode : {0444U, 0400U, 04555U}) {
        ASSERT_EQ(chmod(target.c_str(), mode), 0);
        EXPECT_EQ(save("new", sha256("old")), readOnly);
        EXPECT_EQ(save("new", sha256("another")), readOnly);
        EXPECT_EQ(save("new", std::nullopt), readOnly);
        EXPECT_EQ(contents(files), (Contents{{"letter.txt", "old"}}));
        EXPECT_EQ(modeOf(target), mode);
    }
}

TEST_F(RecoveryFileAccessTest, SavesBehindLinksAndLeavesThemLinks)
{
    fs::create_directory(files / "real");
    fs::create_symlink("real", files / "folder link");
    fs::create_symlink("../middle", files / "real" / "first");
    fs::create_symlink("real/file", files / "middle");
    const fs::path first = files / "folder link" / "first";

    EXPECT_EQ(save(first, "new", std::nullopt), "") << "a link to nothing gets its target";
    EXPECT_EQ(save(first, "newer", sha256("new")), "");
    EXPECT_EQ(contents(files), (Contents{{"real/file", "newer"}}));
    EXPECT_TRUE(fs::is_symlink(files / "real" / "first"));
    EXPECT_TRUE(fs::is_symlink(files / "middle"));

    fs::create_symlink("loop", files / "loop");
    EXPECT_EQ(save(files / "loop", "text", std::nullopt),
              std::string(storageError) + (files / "loop").native() + ": Too many levels of symbolic links");
}

TEST_F(RecoveryFileAccessTest, WritesTheSameFileUnderAllOfItsNames)
{
    const fs::path other = folder.path() / "other name";
    write(target, "the old text is longer");
    fs::create_hard_link(target, other);
    const auto file = statusOf(target).st_ino;
    EXPECT_EQ(save("new", sha256("the old text is longer")), "");
    EXPECT_EQ(readFile(other), "new");
    EXPECT_EQ(contents(files), (Contents{{"letter.txt", "new"}}));
    EXPECT_EQ(statusOf(target).st_ino, file);
    EXPECT_EQ(save("newer", sha256("the old text is longer")), externalChange);
    EXPECT_EQ(readFile(other), "new");
}

TEST_F(RecoveryFileAccessTest, SavesUnderAnyName)
{
    for (const std::string& name : {"caf\xe9.txt"s, std::string(255, 'n'), "new\nline"s, " .-"s}) {
        const fs::path file = files / name;
        EXPECT_EQ(save(file, "one", std::nullopt), "");
        EXPECT_EQ(save(file, "two", sha256("one")), "");
        EXPECT_EQ(contents(files), (Contents{{name, "two"}}));

        // The other version gets a name that begins with an identifier, and a message that can be shown.
        const std::string said = save(file, "three", sha256("two"), [&](std::string_view call) {
            if (call == "exchange")
                write(file, "theirs");
            return 0;
        });
        EXPECT_TRUE(isValidUtf8(said));
        const Contents kept = contents(library / "External originals");
        ASSERT_EQ(kept.size(), 1U) << said;
        EXPECT_TRUE(Uuid::parse(kept.begin()->first.substr(0, 36))) << kept.begin()->first;
        EXPECT_EQ(kept.begin()->second, "theirs");
        fs::remove_all(library / "External originals");
        fs::remove(file);
    }
    const std::string tooLong(256, 'n');
    EXPECT_EQ(save(files / tooLong, "x", std::nullopt),
              std::string(storageError) + (files / tooLong).native() + ": File name too long");
    EXPECT_EQ(contents(files), Contents{});
}

TEST_F(RecoveryFileAccessTest, ShortensAPreservedNameBetweenCharacters)
{
    EXPECT_EQ(preservedName("a.txt").substr(37), "a.txt");
    EXPECT_EQ(preservedName(std::string(218, 'a')).size(), 255U);
    for (std::size_t shift = 0; shift < 4; ++shift) {
        std::string name(shift, 'a');
        while (name.size() < 250)
            name += "😀";
        const std::string kept = preservedName(name + ".txt").substr(37);
        EXPECT_LE(kept.size(), 218U);
        EXPECT_GE(kept.size(), 214U);
        EXPECT_TRUE(kept.ends_with("😀.txt")) << kept;
    }
    EXPECT_EQ(preservedName("a." + std::string(250, 'b')).size(), 255U) << "that is no extension";
}

/// An access control list in the kernel's form: version 2, then (tag, permissions, identifier) each.
std::string accessList(std::initializer_list<std::array<std::uint32_t, 3>> entries)
{
    std::string bytes("\2\0\0\0", 4);
    for (const auto& [tag, permissions, id] : entries) {
        for (const std::uint32_t part : {tag, tag >> 8U, permissions, permissions >> 8U})
            bytes += static_cast<char>(part & 0xffU);
        for (unsigned shift = 0; shift < 32; shift += 8)
            bytes += static_cast<char>((id >> shift) & 0xffU);
    }
    return bytes;
}

std::string attribute(const fs::path& file, const char* name)
{
    std::string value(1000, '\0');
    const ssize_t got = getxattr(file.c_str(), name, value.data(), value.size());
    value.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return value;
}

TEST_F(RecoveryFileAccessTest, KeepsPermissionsAttributesAndAccessList)
{
    constexpr std::uint32_t none = 0xffffffff;
    const std::string list =
        accessList({{0x01, 6, none}, {0x02, 6, 1234}, {0x04, 4, none}, {0x10, 6, none}, {0x20, 0, none}});
    const std::string inherited =
        accessList({{0x01, 7, none}, {0x02, 7, 4321}, {0x04, 5, none}, {0x10, 7, none}, {0x20, 5, none}});
    write(target, "old");
    if (setxattr(target.c_str(), "user.note", "kept", 4, 0) != 0 ||
        setxattr(target.c_str(), "system.posix_acl_access", list.data(), list.size(), 0) != 0)
        GTEST_SKIP() << "this file system has no extended attributes or no access lists: " << std::strerror(errno);
    const fs::path plain = files / "plain";
    write(plain, "old");
    ASSERT_EQ(chmod(plain.c_str(), 06751), 0);
    // What files inherit here must not reach those that did not have it.
    ASSERT_EQ(setxattr(files.c_str(), "system.posix_acl_default", inherited.data(), inherited.size(), 0), 0);

    EXPECT_EQ(save(target, "new", sha256("old")), "");
    EXPECT_EQ(attribute(target, "user.note"), "kept");
    EXPECT_EQ(attribute(target, "system.posix_acl_access"), list);
    EXPECT_EQ(save(plain, "new", sha256("old")), "");
    EXPECT_EQ(attribute(plain, "system.posix_acl_access"), "");
    EXPECT_EQ(modeOf(plain), 06751U);
}

TEST_F(RecoveryFileAccessTest, KeepsTheOwnerWherePermitted)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs a privileged user to give files away";
    constexpr uid_t nobody = AsNobody::nobody;
    write(target, "old");
    ASSERT_EQ(chown(target.c_str(), 4321, 8765), 0);
    ASSERT_EQ(chmod(target.c_str(), 06755), 0);
    EXPECT_EQ(save("new", sha256("old")), "");
    EXPECT_EQ(statusOf(target).st_uid, 4321U);
    EXPECT_EQ(statusOf(target).st_gid, 8765U);
    EXPECT_EQ(modeOf(target), 06755U);

    // An ordinary user takes the file over; neither the foreign user's rights nor the foreign group's come along.
    ASSERT_EQ(chmod(target.c_str(), 06776), 0);
    for (const fs::path& path : {folder.path(), files})
        ASSERT_EQ(chmod(path.c_str(), 0777), 0);
    {
        const AsNobody user;
        EXPECT_EQ(save("newer", sha256("new")), "");
    }
    EXPECT_EQ(readFile(target), "newer");
    EXPECT_EQ(statusOf(target).st_uid, nobody);
    EXPECT_EQ(statusOf(target).st_gid, nobody);
    EXPECT_EQ(modeOf(target), 0766U);
}

TEST_F(RecoveryFileAccessTest, GivesTheSystemsReasonWhereTheFolderOrFileIsNotOurs)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs a privileged user to make what others may not change";
    write(target, "old");
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(files.c_str(), 0755), 0);
    const auto saveAsNobody = [&](const fs::path& file, const std::optional<std::string>& expected) {
        const AsNobody user;
        return save(file, "new", expected);
    };
    const std::string denied = ": Permission denied";
    const fs::path created = files / "new file";
    EXPECT_EQ(saveAsNobody(target, sha256("old")), readOnly);
    EXPECT_EQ(saveAsNobody(created, std::nullopt), std::string(storageError) + created.native() + denied);
    ASSERT_EQ(chmod(target.c_str(), 0666), 0);
    EXPECT_EQ(saveAsNobody(target, sha256("old")), std::string(storageError) + target.native() + denied);
    ASSERT_EQ(chmod(target.c_str(), 0622), 0);
    EXPECT_EQ(saveAsNobody(target, sha256("old")), std::string(storageError) + target.native() + denied);
    EXPECT_EQ(contents(files), (Contents{{"letter.txt", "old"}}));

    // A folder whose files only their owner may rename, and one that may be written but not listed.
    ASSERT_EQ(chmod(target.c_str(), 0666), 0);
    ASSERT_EQ(chmod(files.c_str(), 01777), 0);
    EXPECT_EQ(saveAsNobody(target, sha256("old")), "");
    EXPECT_EQ(contents(files), (Contents{{"letter.txt", "new"}}));
    EXPECT_EQ(statusOf(target).st_uid, 0U) << "written in place";
    ASSERT_EQ(chmod(files.c_str(), 0733), 0);
    EXPECT_EQ(saveAsNobody(created, std::nullopt), "");
    EXPECT_EQ(contents(files), (Contents{{"letter.txt", "new"}, {"new file", "new"}}));
}

// Permissions that were meant for another owner would lock the new one out: such a file is not taken over.
TEST_F(RecoveryFileAccessTest, LeavesAForeignFileToItsOwnerWhereTakingItOverWouldHideIt)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs a privileged user to make what others may not change";
    for (const fs::path& path : {folder.path(), files})
        ASSERT_EQ(chmod(path.c_str(), 0777), 0);
    write(target, "old");
    std::string held = "old";
    for (const mode_t mode : {0466U, 0066U}) {
        ASSERT_EQ(chmod(target.c_str(), mode), 0);
        const AsNobody user;
        EXPECT_EQ(save("new " + held, sha256(held)), "");
        held = "new " + held;
        EXPECT_EQ(statusOf(target).st_uid, 0U);
        EXPECT_EQ(modeOf(target), mode);
    }
    EXPECT_EQ(contents(files), (Contents{{"letter.txt", held}}));
    ASSERT_EQ(chmod(target.c_str(), 0), 0);
    const AsNobody user;
    EXPECT_EQ(save("newest", sha256(held)), readOnly) << "rather than unreadable";
}

// Where only owners may rename, a second name for another's file could not be removed again.
TEST_F(RecoveryFileAccessTest, GivesNoSecondNameToAnothersFile)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs a privileged user to make what others may not change";
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    write(target, "old");
    ASSERT_EQ(chmod(target.c_str(), 0666), 0);
    ASSERT_EQ(chmod(files.c_str(), 01777), 0);
    bool linked = false;
    const AsNobody user;
    EXPECT_EQ(save("new", sha256("old"),
                   [&](std::string_view call) {
                       linked = linked || call == "linkat";
                       return call == "exchange" ? EINVAL : 0;
                   }),
              "");
    EXPECT_FALSE(linked);
    EXPECT_EQ(contents(files), (Contents{{"letter.txt", "new"}}));
}

TEST_F(RecoveryFileAccessTest, RefusesWhatIsNoPathOfAFile)
{
    const std::string says = std::string(storageError) + "This is not the path of a file.";
    for (const std::string& path : {""s, (files / "a").native() + "\0b"s}) {
        EXPECT_EQ(save(fs::path(path), "text", std::nullopt), says);
        EXPECT_EQ(save(fs::path(path), "text", sha256("text")), says);
    }
    EXPECT_EQ(contents(files), Contents{});
    fs::create_symlink("middle", files / "link");
    fs::create_symlink("nothing", files / "middle");
    EXPECT_EQ(resolveOriginal(files / "link"), files / "nothing");
}

TEST_F(RecoveryFileAccessTest, KeepsOtherVersionsPrivate)
{
    write(target, "old");
    const fs::path made = folder.path() / "made" / "library";
    try {
        RecoveryFileAccess(made, [&](std::string_view call) {
            if (call == "exchange")
                write(target, "theirs");
            return 0;
        }).saveFile("new", target, sha256("old"));
        ADD_FAILURE() << "no race";
    } catch (const RecoveryError&) {
        EXPECT_EQ(modeOf(made), 0700U);
        EXPECT_EQ(modeOf(made / "External originals"), 0700U);
    }
}

// Another program's lease on the file is waited for, not reported.
TEST_F(RecoveryFileAccessTest, WaitsForALease)
{
    write(target, "old");
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t holder = fork();
    ASSERT_GE(holder, 0);
    if (holder == 0) {
        const int file = ::open(target.c_str(), O_RDWR);
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGIO);
        sigprocmask(SIG_BLOCK, &signals, nullptr);
        const bool held = fcntl(file, F_SETLEASE, F_WRLCK) == 0;
        const char answer = held ? 'y' : 'n';
        if (::write(ready[1], &answer, 1) == 1 && held) {
            const timespec longest{20, 0};
            sigtimedwait(&signals, nullptr, &longest);
        }
        _exit(0);  // which gives the lease up
    }
    char answer = 'n';
    EXPECT_EQ(read(ready[0], &answer, 1), 1);
    const std::string said = answer == 'y' ? save("new", sha256("old")) : "";
    EXPECT_EQ(waitpid(holder, nullptr, 0), holder);
    close(ready[0]);
    close(ready[1]);
    if (answer != 'y')
        GTEST_SKIP() << "this file system has no leases";
    EXPECT_EQ(said, "");
    EXPECT_EQ(readFile(target), "new");
}

TEST_F(RecoveryFileAccessTest, WritesABindMountedFileInPlace)
{
    const fs::path elsewhere = folder.path() / "elsewhere";
    write(elsewhere, "old");
    write(target, "underneath");
    const Mount bind(elsewhere.c_str(), target, nullptr, MS_BIND, nullptr);
    if (!bind.mounted())
        GTEST_SKIP() << "mounting is not permitted here: " << std::strerror(errno);
    EXPECT_EQ(save("new", sha256("old")), "");
    EXPECT_EQ(readFile(elsewhere), "new");
    EXPECT_EQ(contents(files), (Contents{{"letter.txt", "new"}}));
}

// write() takes a part of the bytes here before the disk is full.
TEST_F(RecoveryFileAccessTest, LeavesTheFileAloneWhenTheDiskIsFull)
{
    const Mount disk("tmpfs", files, "tmpfs", 0, "size=256k");
    if (!disk.mounted())
        GTEST_SKIP() << "mounting is not permitted here: " << std::strerror(errno);
    const std::string old(10'000, 'o');
    write(target, old);
    const auto full = [&](const fs::path& file) {
        return std::string(storageError) + file.native() + ": No space left on device";
    };
    const Contents untouched{{"letter.txt", old}};
    EXPECT_EQ(save(std::string(400'000, 'n'), sha256(old)), full(target));
    EXPECT_EQ(contents(files), untouched);
    EXPECT_EQ(save(files / "new", std::string(400'000, 'n'), std::nullopt), full(files / "new"));
    EXPECT_EQ(contents(files), untouched);

    // In place: the new text fits once, beside the file, but the file cannot grow to it.
    fs::create_hard_link(target, files / "other");
    EXPECT_EQ(save(std::string(150'000, 'n'), sha256(old)), full(target));
    EXPECT_EQ(contents(files), (Contents{{"letter.txt", old}, {"other", old}}));
    EXPECT_EQ(save(std::string(60'000, 'n'), sha256(old)), "");
    EXPECT_EQ(readFile(files / "other"), std::string(60'000, 'n'));
}

TEST_F(RecoveryFileAccessTest, SynchronizesOrSaysSo)
{
    write(target, "text");
    const RecoveryFileAccess access(library);
    EXPECT_NO_THROW(access.syncFile(target));
    try {
        access.syncFile(files / "missing");
        ADD_FAILURE() << "synchronized a missing file";
    } catch (const RecoveryError& error) {
        EXPECT_EQ(error.what(), notSynchronized);
    }
}

}  // namespace

}  // namespace penmark
