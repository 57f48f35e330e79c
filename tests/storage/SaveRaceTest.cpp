// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/SaveFixture.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <random>
#include <thread>

#include <fcntl.h>

namespace penmark {

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using std::chrono::microseconds;
using std::chrono::steady_clock;

/// Something that another program does to the target.
struct Interference {
    std::string name;
    std::function<void(const fs::path&)> act;
    bool leavesText = true;
};

const std::string before = "what was there before";
const std::string mine = "what is saved";
const std::string theirs = "what another program wrote";

using Refusals = std::map<std::string, int>;

const std::vector<Interference>& interferences()
{
    static const std::vector<Interference> all{
        {"rewritten", [](const fs::path& file) { SaveFixture::write(file, theirs); }},
        {"renamed over",
         [](const fs::path& file) {
             SaveFixture::write(file.parent_path() / "their file", theirs);
             fs::rename(file.parent_path() / "their file", file);
         }},
        {"turned into a folder",
         [](const fs::path& file) {
             fs::remove(file);
             fs::create_directory(file);
             SaveFixture::write(file / "inside", theirs);
         }},
        {"turned into a link",
         [](const fs::path& file) {
             SaveFixture::write(file.parent_path() / "elsewhere", theirs);
             fs::remove(file);
             fs::create_symlink("elsewhere", file);
         }},
        {"removed", [](const fs::path& file) { fs::remove(file); }, false},
    };
    return all;
}

bool survives(const SaveFixture& fixture, const std::string& text)
{
    const Contents all = SaveFixture::contents(fixture.folder.path());
    return std::any_of(all.begin(), all.end(), [&](const auto& file) { return file.second == text; });
}

bool hasLeftovers(const SaveFixture& fixture)
{
    const Contents all = SaveFixture::contents(fixture.files);
    return std::any_of(all.begin(), all.end(), [](const auto& file) { return file.first.starts_with(".penmark-"); });
}

/// Saves while another program acts before the call with this number; false when the save makes fewer calls.
bool saveWhile(const Interference& other, int at, bool targetExists, const std::map<std::string, int>& refusals)
{
    SaveFixture fixture(TemporaryFolder::inMemory());
    if (targetExists)
        SaveFixture::write(fixture.target, before);
    int calls = 0;
    bool replaced = false;  // the target had the saved text, or what came on top of it
    const auto expected = targetExists ? std::optional(sha256(before)) : std::nullopt;
    const std::string said = fixture.save(mine, expected, [&](std::string_view call) {
        if (++calls == at) {
            replaced = fs::is_regular_file(fixture.target) && readFile(fixture.target) == mine;
            other.act(fixture.target);
        }
        const auto refused = refusals.find(std::string(call));
        return refused == refusals.end() ? 0 : refused->second;
    });
    if (calls < at)
        return false;
    SCOPED_TRACE(other.name + ", call " + std::to_string(at) + ": " + said);
    EXPECT_EQ(survives(fixture, theirs), other.leavesText);
    if (replaced)
        return true;  // what follows happened to a file that was saved
    EXPECT_FALSE(hasLeftovers(fixture));
    if (said == SaveFixture::externalChange) {
        EXPECT_FALSE(survives(fixture, mine));
        return true;
    }
    const bool raced = said.find("An external write raced with Save. Its original is preserved at " +
                                 (fixture.library / "External originals").native() + "/") != std::string::npos;
    // A rename puts it where nobody had looked yet: the name was free when the save began, or the file was removed.
    EXPECT_TRUE(raced || (said.empty() && (!targetExists || !other.leavesText))) << "said nothing";
    EXPECT_EQ(readFile(fixture.target), mine);
    return true;
}

// Another program acts right before each system call of a save in turn.
TEST(SaveRaceTest, KeepsBothVersionsWhereverAnotherProgramActs)
{
    int points = 0;
    for (const Interference& other : interferences()) {
        for (int at = 1; saveWhile(other, at, true, {}); ++at)
            ++points;
    }
    // Without an exchange, a file that is put under the target's name at the last moment is not seen; one that is
    // rewritten is.
    for (const Refusals& refusals :
         {Refusals{{"exchange", EINVAL}}, Refusals{{"exchange", EINVAL}, {"linkat", EPERM}}}) {
        for (int at = 1; saveWhile(interferences().front(), at, true, refusals); ++at)
            ++points;
    }
    std::cout << points << " points\n";
}

TEST(SaveRaceTest, NeverReplacesAFileThatAppearsAtANewName)
{
    for (const Refusals& refusals :
         {Refusals{}, Refusals{{"linkat", EPERM}}, Refusals{{"linkat", EPERM}, {"rename to new", EINVAL}}}) {
        for (const Interference& other : interferences()) {
            // With neither call, a file renamed over the reserved name at the last moment is not seen.
            if (other.name == "rewritten" || (other.name == "renamed over" && refusals.size() < 2)) {
                for (int at = 1; saveWhile(other, at, false, refusals); ++at)
                    continue;
            }
        }
    }
}

/// Another program races with a save, and a call behind the replacement fails, alone or with every rename that follows.
/// False if there are fewer calls.
bool raceAndFail(const Refusals& refusals, int at, bool noRename)
{
    SaveFixture fixture(TemporaryFolder::inMemory());
    SaveFixture::write(fixture.target, before);
    const std::string replacing = refusals.empty() ? "exchange" : "renameat";
    int calls = 0;  // from the replacement on
    const std::string said = fixture.save(mine, sha256(before), [&](std::string_view call) {
        calls += call == replacing || calls > 0 ? 1 : 0;
        if (calls == 1)
            SaveFixture::write(fixture.target, theirs);
        if (calls == at + 1 || (noRename && calls > 1 && call == "renameat"))
            return ENOSPC;
        const auto refused = refusals.find(std::string(call));
        return refused == refusals.end() ? 0 : refused->second;
    });
    SCOPED_TRACE(std::to_string(refusals.size()) + " refusals, call " + std::to_string(at) + ": " + said);
    EXPECT_EQ(readFile(fixture.target), mine);
    EXPECT_TRUE(survives(fixture, theirs));
    const bool through = calls <= at;
    const std::string marker = "reserved at ";
    const auto from = said.find(marker) + marker.size();
    const std::string place = said.substr(from, said.find(". Penmark has also") - from);
    EXPECT_EQ(readFile(place), theirs);
    EXPECT_TRUE(!through || place.starts_with((fixture.library / "External originals" / "").native()));
    return !through;
}

// The message must name a place where the other version is, whatever of keeping it fails.
TEST(SaveRaceTest, NamesThePlaceOfTheOtherVersionWhicheverCallFails)
{
    for (const Refusals& refusals :
         {Refusals{}, Refusals{{"exchange", EINVAL}}, Refusals{{"exchange", EINVAL}, {"linkat", EPERM}}}) {
        for (const bool noRename : {false, true}) {
            for (int at = 1; raceAndFail(refusals, at, noRename); ++at)
                ASSERT_FALSE(testing::Test::HasFailure());
        }
    }
}

// The library folder cannot take it, and without hard links the backup was made before the other program wrote.
TEST(SaveRaceTest, NamesACopyOfTheOtherVersionOrSaysThatThereIsNone)
{
    for (const bool nothingFits : {false, true}) {
        SaveFixture fixture(TemporaryFolder::inMemory());
        SaveFixture::write(fixture.target, before);
        bool full = false;
        const std::string said = fixture.save(mine, sha256(before), [&](std::string_view call) {
            if (call == "renameat")
                SaveFixture::write(fixture.target, theirs);
            full = full || call == "mkdir";
            if (full && (call == "mkdir" || (nothingFits && call == "write")))
                return ENOSPC;
            return call == "exchange" ? EINVAL : call == "linkat" ? EPERM : 0;
        });
        const bool lost = said.find("its version could not be kept: ") != std::string::npos;
        EXPECT_EQ(lost, nothingFits) << said;
        EXPECT_EQ(survives(fixture, theirs), !nothingFits) << said;
        EXPECT_EQ(said.rfind(SaveFixture::storageError), 0U) << "and only once: " << said;
    }
}

// Between the exchange that meets a link and the one that puts it back, a file is put under the name.
TEST(SaveRaceTest, KeepsAFileThatArrivesWhileALinkIsPutBack)
{
    for (const std::string& version : {theirs, before}) {  // also one that looks like the expected file
        SaveFixture fixture(TemporaryFolder::inMemory());
        SaveFixture::write(fixture.target, before);
        int exchanges = 0;
        const std::string said = fixture.save(mine, sha256(before), [&](std::string_view call) {
            if (call == "exchange" && ++exchanges == 1) {
                fs::remove(fixture.target);
                fs::create_symlink("elsewhere", fixture.target);
            } else if (call == "exchange") {
                SaveFixture::write(fixture.files / "their file", version);
                fs::rename(fixture.files / "their file", fixture.target);
            }
            return 0;
        });
        EXPECT_NE(said.find("An external write raced with Save."), std::string::npos) << said;
        EXPECT_TRUE(survives(fixture, version)) << said;
        EXPECT_TRUE(fs::is_symlink(fixture.target));
    }
}

TEST(SaveRaceTest, NamesWhatCouldNotBePutBack)
{
    SaveFixture fixture(TemporaryFolder::inMemory());
    SaveFixture::write(fixture.target, before);
    int exchanges = 0;
    const std::string said = fixture.save(mine, sha256(before), [&](std::string_view call) {
        if (call == "exchange" && ++exchanges == 1) {
            fs::remove(fixture.target);
            fs::create_symlink("elsewhere", fixture.target);
        }
        return call == "exchange" && exchanges == 2 ? EPERM : 0;  // which must not lead to a second way
    });
    const auto from = said.find("preserved at ") + 13;
    EXPECT_TRUE(fs::is_symlink(said.substr(from, said.size() - from - 1))) << said;
    EXPECT_EQ(readFile(fixture.target), mine);
}

// A call that took effect but reports an error, as one on a file system of the network may.
TEST(SaveRaceTest, NoticesARenameThatTookEffectAndFailed)
{
    SaveFixture fixture(TemporaryFolder::inMemory());
    const auto hidden = [&] {
        for (const auto& entry : fs::directory_iterator(fixture.files)) {
            if (entry.path().filename().native().starts_with(".penmark-write-"))
                return entry.path();
        }
        return fs::path();
    };
    for (const std::string& failing : {"exchange"s, "renameat"s, "linkat"s}) {
        const bool isNew = failing == "linkat";
        fs::remove(fixture.target);
        if (!isNew)
            SaveFixture::write(fixture.target, before);
        bool done = false;
        const auto expected = isNew ? std::nullopt : std::optional(sha256(before));
        const std::string said = fixture.save(mine, expected, [&](std::string_view call) {
            if (call == "exchange" && failing != "exchange")
                return EINVAL;
            if (call != failing || done)
                return 0;
            done = true;
            if (failing == "exchange")
                EXPECT_EQ(renameat2(AT_FDCWD, hidden().c_str(), AT_FDCWD, fixture.target.c_str(), RENAME_EXCHANGE), 0);
            else if (isNew)
                fs::create_hard_link(hidden(), fixture.target);
            else
                fs::rename(hidden(), fixture.target);
            return isNew ? EEXIST : EIO;
        });
        EXPECT_EQ(said, "") << failing;
        EXPECT_EQ(SaveFixture::contents(fixture.files), (Contents{{"letter.txt", mine}})) << failing;
    }
}

// The empty file that keeps a new name is filled by another program.
TEST(SaveRaceTest, KeepsWhatIsWrittenToAReservedName)
{
    for (const int error : {0, ENOSPC}) {
        SaveFixture fixture(TemporaryFolder::inMemory());
        const std::string said = fixture.save(mine, std::nullopt, [&](std::string_view call) {
            if (call == "renameat") {
                SaveFixture::write(fixture.target, theirs);
                return error;
            }
            return call == "linkat" ? EPERM : call == "rename to new" ? EINVAL : 0;
        });
        EXPECT_TRUE(survives(fixture, theirs)) << said;
        EXPECT_EQ(readFile(fixture.target), error == 0 ? mine : theirs);
        EXPECT_EQ(said.find("An external write raced with Save.") != std::string::npos, error == 0) << said;
    }
}

// In place, and without an exchange, the file is compared once more just before it is replaced.
TEST(SaveRaceTest, RefusesAFileThatWasRewrittenAfterItsBackup)
{
    for (const bool inPlace : {true, false}) {
        SaveFixture fixture(TemporaryFolder::inMemory());
        SaveFixture::write(fixture.target, before);
        if (inPlace)
            fs::create_hard_link(fixture.target, fixture.folder.path() / "other name");
        const std::string said = fixture.save(mine, sha256(before), [&](std::string_view call) {
            if (call == (inPlace ? "lease" : "linkat"))
                SaveFixture::write(fixture.target, theirs);
            return call == "exchange" ? EINVAL : 0;
        });
        EXPECT_EQ(said, SaveFixture::externalChange);
        EXPECT_EQ(SaveFixture::contents(fixture.files), (Contents{{"letter.txt", theirs}}));
    }
}

// Without a lease, what another program writes while the file is overwritten must at least not go unsaid.
TEST(SaveRaceTest, ReadsBackWhatItWroteInPlace)
{
    SaveFixture fixture(TemporaryFolder::inMemory());
    SaveFixture::write(fixture.target, before);
    fs::create_hard_link(fixture.target, fixture.folder.path() / "other name");
    bool overwriting = false;
    bool acted = false;
    const std::string said = fixture.save(mine, sha256(before), [&](std::string_view call) {
        overwriting = overwriting || call == "lease";
        if (overwriting && call == "fsync" && !acted) {
            acted = true;
            SaveFixture::write(fixture.target, theirs);
        }
        return call == "lease" ? EAGAIN : 0;
    });
    EXPECT_TRUE(acted);
    EXPECT_NE(said.find("does not hold what was written to it. What it held before is preserved at "),
              std::string::npos)
        << said;
    EXPECT_TRUE(survives(fixture, before));
    EXPECT_EQ(readFile(fixture.target), theirs);
}

// A program that had the file open before the save and writes after the replacement: what it writes in the time that it
// is given is kept.
TEST(SaveRaceTest, WaitsForAProgramThatHasTheFileOpen)
{
    SaveFixture fixture;
    SaveFixture::write(fixture.target, before);
    std::thread writer;
    const std::string said = fixture.save(mine, sha256(before), [&](std::string_view call) {
        if (call == "exchange") {
            writer = std::thread([file = FileDescriptor::open(fixture.target, O_WRONLY)] {
                std::this_thread::sleep_for(std::chrono::milliseconds(60));
                file.writeAll(theirs + theirs);
            });
        }
        return 0;
    });
    writer.join();
    EXPECT_NE(said.find("An external write raced with Save."), std::string::npos) << said;
    EXPECT_TRUE(survives(fixture, theirs + theirs));
    EXPECT_EQ(SaveFixture::contents(fixture.files), (Contents{{"letter.txt", mine}}));
}

void pauseUntil(steady_clock::time_point moment)
{
    while (steady_clock::now() < moment)
        std::this_thread::yield();
}

// Another program writes at a random moment of a save, truncating the file and filling it in two parts, or putting
// another file in its place. Each of the two texts must be somewhere, unless the other program has overwritten a file
// that was saved already.
void race(const fs::path& place, int rounds, bool slowed, bool hardLinked)
{
    std::mt19937 random(20'260'301);
    std::mt19937 randomPauses(1);
    SaveFixture fixture(place);
    microseconds span{2000};
    int outcomes[3] = {};
    for (int round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
        const std::string number = std::to_string(round);
        const std::string base = "base " + number;
        const std::string other = "other program " + number + std::string(static_cast<std::size_t>(round % 5000), '.');
        const std::string saved = "saved " + number;
        const bool renames = round % 2 == 0;
        fs::remove(fixture.target);
        SaveFixture::write(fixture.target, base);
        if (hardLinked)
            fs::create_hard_link(fixture.target, fixture.folder.path() / "other name");
        const auto delay = microseconds(random() % static_cast<unsigned>(span.count() + 1));
        const auto pause = microseconds(random() % 2000);
        std::atomic<bool> started = false;
        std::thread writer([&] {
            const fs::path file = renames ? fixture.files / "their file" : fixture.target;
            while (!started)
                std::this_thread::yield();
            pauseUntil(steady_clock::now() + delay);
            const FileDescriptor out = FileDescriptor::open(file, O_WRONLY | O_CREAT | O_TRUNC);
            out.writeAll(other.substr(0, 5));
            pauseUntil(steady_clock::now() + pause);
            out.writeAll(other.substr(5));
            if (renames)
                fs::rename(file, fixture.target);
        });
        started = true;
        const auto begin = steady_clock::now();
        const std::string said = fixture.save(saved, sha256(base), [&](std::string_view) {
            if (slowed)
                std::this_thread::sleep_for(microseconds(randomPauses() % 100));
            return 0;
        });
        span = std::chrono::duration_cast<microseconds>(steady_clock::now() - begin) * 5 / 4;
        span = std::min(span, microseconds(20'000));
        writer.join();

        const std::string held = readFile(fixture.target);
        EXPECT_TRUE(survives(fixture, other)) << "round " << round << ": " << said;
        EXPECT_TRUE(held == saved || held == other) << "round " << round << ": " << held;
        const bool raced = said.find("An external write raced with Save.") != std::string::npos;
        EXPECT_TRUE(said.empty() || raced || said == SaveFixture::externalChange) << said;
        EXPECT_FALSE(hasLeftovers(fixture));
        ++outcomes[said.empty() ? 0 : raced ? 1 : 2];
        fs::remove_all(fixture.library / "External originals");
        fs::remove(fixture.folder.path() / "other name");
    }
    std::cout << rounds << " rounds in " << place << "; saved before the other: " << outcomes[0]
              << ", both kept: " << outcomes[1] << ", refused: " << outcomes[2] << "\n";
}

// PENMARK_RACE_ROUNDS asks for more rounds than fit into an everyday run.
TEST(SaveRaceTest, KeepsBothVersionsOfARealRace)
{
    const char* asked = std::getenv("PENMARK_RACE_ROUNDS");
    const int rounds = asked == nullptr ? 300 : std::atoi(asked);
    for (const bool hardLinked : {false, true}) {
        race(TemporaryFolder::inMemory(), rounds, true, hardLinked);
        race(fs::temp_directory_path(), rounds / 5, false, hardLinked);
    }
}

}  // namespace

}  // namespace penmark
