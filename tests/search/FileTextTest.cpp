// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/FileText.h"

#include "base/FileDescriptor.h"
#include "base/SystemError.h"
#include "search/FolderWatcher.h"
#include "search/TextSearchRule.h"
#include "storage/TemporaryFolder.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace penmark {

namespace {

namespace fs = std::filesystem;
using Kind = FileTextReader::Result::Kind;

constexpr std::int64_t second = 1'000'000'000;

}  // namespace

class FileTextTest : public testing::Test {
protected:
    std::string write(const std::string& name, const std::string& bytes)
    {
        std::ofstream(folder.path() / name, std::ios::binary) << bytes;
        return folder.path() / name;
    }
    FileTextReader::Result read(const std::string& path, std::size_t limit = searchSizeLimit(false))
    {
        return reader.read(path, limit, {});
    }
    std::string textOf(const std::string& bytes)
    {
        const auto result = read(write("text", bytes));
        EXPECT_EQ(result.bytes, bytes.size());
        return result.kind == Kind::text ? std::string(result.text) : result.problem + "(none)";
    }
    std::string problemOf(const std::string& path, std::size_t limit = searchSizeLimit(false))
    {
        const auto result = read(path, limit);
        return result.kind == Kind::problem ? result.problem : "none";
    }

    TemporaryFolder folder;
    FileTextReader reader;
};

TEST_F(FileTextTest, DecodesLikeAFileThatIsOpened)
{
    using namespace std::string_literals;
    EXPECT_EQ(textOf("a\r\nü"), "a\r\nü");
    EXPECT_EQ(textOf(""), "");
    EXPECT_EQ(textOf("\xef\xbb\xbfmark"), "mark");
    EXPECT_EQ(textOf("\xff\xfe"s + "a\0\x3d\xd8\x00\xde"s), "a\U0001F600");
    EXPECT_EQ(textOf("\xfe\xff\0b"s), "b");
    for (const std::string& binary : {"a\0b"s, "caf\xe9"s, "\xff\xfe\0\xd8"s, "\xff\xfe"s + "a"})
        EXPECT_EQ(textOf(binary), "(none)") << "a reader that is used again must not give the text before";
    EXPECT_EQ(textOf("shorter"), "shorter");
    std::string large;
    while (large.size() < 3 * FileTextReader::pieceLimit)
        large += "line " + std::to_string(large.size()) + "\n";
    EXPECT_EQ(textOf(large), large);
}

TEST_F(FileTextTest, ReadsFilesOnly)
{
    const std::string file = write("file", "text");
    const auto at = [this](const char* name) { return (folder.path() / name).native(); };
    fs::create_symlink(file, at("link"));
    fs::create_symlink(folder.path(), at("linked folder"));
    ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
    for (const std::string& path :
         {at("link"), at("linked folder"), at("pipe"), folder.path().native(), std::string("/dev/null")})
        EXPECT_EQ(problemOf(path), "Not a regular file: " + path);
    EXPECT_EQ(problemOf(at("linked folder/file")), "none") << "only the last name must be none";
    EXPECT_EQ(problemOf(at("gone")), "Cannot read " + at("gone"));
    EXPECT_EQ(problemOf(file + "/x"), "Cannot read " + file + "/x");
    // A file of the system that can be opened and then refuses to be read.
    EXPECT_EQ(problemOf("/proc/self/mem"), "Read failed: Input/output error");
}

TEST_F(FileTextTest, ReadsUpToTheLimit)
{
    constexpr std::size_t limit = searchSizeLimit(false);
    const std::string path = write("large", "");
    fs::resize_file(path, limit);
    EXPECT_EQ(read(path).kind, Kind::binary);
    EXPECT_EQ(read(path).bytes, limit);
    fs::resize_file(path, limit + 1);
    EXPECT_EQ(problemOf(path), "File exceeds 16 MiB search limit: " + path);
    EXPECT_EQ(read(path, searchSizeLimit(true)).bytes, limit + 1);
    fs::resize_file(path, searchSizeLimit(true) + 1);
    EXPECT_EQ(problemOf(path, searchSizeLimit(true)), "File exceeds 128 MiB search limit: " + path);
    // Files of the system say that they have no bytes, and then more and more come.
    EXPECT_EQ(problemOf("/proc/self/status", 100), "File grew beyond the search limit: /proc/self/status");
    EXPECT_TRUE(read("/proc/self/status").text.starts_with("Name:"));
}

// Somebody who writes all the time must be noticed; how often it takes depends on the machine.
TEST_F(FileTextTest, NoticesThatAFileChangesMeanwhile)
{
    const std::string path = write("busy", std::string(8 * FileTextReader::pieceLimit, 'x'));
    std::atomic<bool> isDone = false;
    std::jthread writer([&] {
        const FileDescriptor file = FileDescriptor::open(path, O_WRONLY);
        for (long step = 0; !isDone; ++step) {
            const timespec times[2] = {{1'000, 0}, {1'000, step % 1'000'000}};
            futimens(file.get(), times);
        }
    });
    std::string problem = "none";
    for (int i = 0; i < 1'000 && problem == "none"; ++i)
        problem = problemOf(path);
    isDone = true;
    EXPECT_EQ(problem, "File changed while it was read: " + path);
}

TEST_F(FileTextTest, StopsWhenAsked)
{
    std::stop_source source;
    source.request_stop();
    EXPECT_THROW(reader.read(write("file", "text"), 100, source.get_token()), Cancelled);
}

// A key must be another one for every state of a file, and none where a later change could leave the state as it is.
TEST_F(FileTextTest, NamesStatesOfFiles)
{
    const std::string path = write("file", "text");
    EXPECT_EQ(read(path).key, std::nullopt) << "written just now";
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    const std::int64_t changed = status.st_ctim.tv_sec * second + status.st_ctim.tv_nsec;
    const auto key = fileStateKey(status, changed + 2 * second);
    ASSERT_TRUE(key);
    EXPECT_EQ(key->size(), 64U);
    EXPECT_EQ(fileStateKey(path.c_str(), changed + 3 * second), key);
    for (const std::int64_t now : {changed + 2 * second - 1, changed, changed - 100 * second})
        EXPECT_EQ(fileStateKey(status, now), std::nullopt);

    const std::int64_t later = changed + 100 * second;
    const auto keyWith = [&](auto change) {
        struct stat other = status;
        change(other);
        return fileStateKey(other, later);
    };
    EXPECT_NE(keyWith([](struct stat& s) { ++s.st_size; }), key);
    EXPECT_NE(keyWith([](struct stat& s) { ++s.st_ino; }), key);
    EXPECT_NE(keyWith([](struct stat& s) { ++s.st_dev; }), key);
    EXPECT_NE(keyWith([](struct stat& s) { ++s.st_mtim.tv_nsec; }), key);
    EXPECT_NE(keyWith([](struct stat& s) { ++s.st_ctim.tv_nsec; }), key);
    EXPECT_EQ(keyWith([](struct stat& s) { ++s.st_atim.tv_nsec; }), key) << "reading is no change";
    EXPECT_EQ(keyWith([](struct stat& s) { s.st_mtim.tv_sec += 99; }), std::nullopt);

    fs::create_symlink(path, folder.path() / "link");
    for (const fs::path& other : {folder.path() / "link", folder.path(), folder.path() / "gone"})
        EXPECT_EQ(fileStateKey(other.c_str(), later), std::nullopt) << other;
    // A file of this system that is old enough gets its key while it is read.
    EXPECT_EQ(read("/etc/passwd").key, fileStateKey("/etc/passwd", later));
}

TEST(FolderWatcherTest, TellsOfChangesButNotOfReading)
{
    const TemporaryFolder folder;
    const fs::path file = folder.path() / "file";
    std::ofstream(file) << "text";
    fs::create_directory(folder.path() / "sub");
    FolderWatcher watcher;
    ASSERT_TRUE(watcher.add(folder.path()));
    EXPECT_TRUE(watcher.add(folder.path() / "gone"));
    EXPECT_FALSE(watcher.drain());

    std::string text;
    std::ifstream(file) >> text;
    fs::permissions(file, fs::perms::owner_all);
    std::ofstream(folder.path() / "sub/inside") << "x";
    EXPECT_FALSE(watcher.drain());

    const auto tells = [&watcher](auto change) {
        change();
        const bool isTold = watcher.drain();
        return isTold && !watcher.drain();
    };
    EXPECT_TRUE(tells([&] { std::ofstream(file, std::ios::app) << "more"; }));
    EXPECT_TRUE(tells([&] { fs::rename(file, folder.path() / "sub/moved"); }));
    EXPECT_TRUE(tells([&] { fs::rename(folder.path() / "sub/moved", file); }));
    EXPECT_TRUE(tells([&] { fs::remove(file); }));
    EXPECT_TRUE(tells([&] { fs::create_directory(folder.path() / "new"); }));
    ASSERT_TRUE(watcher.add(folder.path() / "sub"));
    EXPECT_TRUE(tells([&] { std::ofstream(folder.path() / "sub/inside") << "y"; }));
}

TEST(FolderWatcherTest, KnowsWhatChangedBeforeItWatched)
{
    const TemporaryFolder folder;
    const auto put = [&](const char* name) { std::ofstream(folder.path() / name) << "text"; };
    fs::create_directories(folder.path() / "sub/empty");
    fs::create_directory(folder.path() / "ignored");
    put("ignored/file");
    put("sub/file");
    FolderScanner::Listing listing;
    listing.files.setFolder(folder.path());
    listing.files.addFile("sub/file");
    const auto watched = [&](FolderWatcher& watcher) {
        const FolderWatcher::Result result = watcher.addAll(listing);
        EXPECT_TRUE(result.isComplete);
        return result.hasChanged;
    };
    const auto settle = [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        listing.began = std::chrono::system_clock::now();
    };
    FolderWatcher watcher;
    settle();
    EXPECT_FALSE(watched(watcher));
    EXPECT_FALSE(watcher.drain());
    put("ignored/file");
    EXPECT_FALSE(watcher.drain());
    put("sub/empty/file");
    EXPECT_TRUE(watcher.drain()) << "a folder without files may get some";

    const std::function<void()> changes[] = {
        [&] { put("sub/file"); }, [&] { put("new"); }, [&] { fs::create_directory(folder.path() / "sub/folder"); },
        [&] { put("sub/folder/file"); }, [&] { fs::remove(folder.path() / "new"); }};
    for (const auto& change : changes) {
        settle();
        FolderWatcher before;
        EXPECT_FALSE(watched(before));
        change();
        FolderWatcher after;
        EXPECT_TRUE(watched(after)) << &change - changes;
    }
    settle();
    put("ignored/other");
    EXPECT_FALSE(watched(watcher)) << "what is ignored may change all the time";
    listing.began = std::chrono::system_clock::now() + std::chrono::hours(1);
    EXPECT_FALSE(watched(watcher));
}

// Whenever it comes: before the looks and the watches, between them or behind.
TEST(FolderWatcherTest, MissesNothingWhileItBegins)
{
    const TemporaryFolder folder;
    for (int number = 0; number < 500; ++number)
        fs::create_directory(folder.path() / std::to_string(number));
    fs::path last;  // to be looked at
    for (const fs::directory_entry& each : fs::directory_iterator(folder.path()))
        last = each.path();
    FolderScanner::Listing listing;
    listing.files.setFolder(folder.path());
    for (int round = 0; round < 10; ++round) {
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        listing.began = std::chrono::system_clock::now();
        FolderWatcher watcher;
        std::jthread other([&] {
            std::this_thread::sleep_for(std::chrono::microseconds(400) * round);
            std::ofstream(last / "file") << "text";
        });
        const bool hasChanged = watcher.addAll(listing).hasChanged;
        other.join();
        EXPECT_TRUE(watcher.drain() || hasChanged) << round;
        fs::remove(last / "file");
    }
}

}  // namespace penmark
