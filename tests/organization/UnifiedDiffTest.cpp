// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/UnifiedDiff.h"

#include "CpuTime.h"
#include "storage/TemporaryFolder.h"

#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

namespace penmark {
namespace {

constexpr UnifiedDiffLabels labels{"a/notes", "b/notes"};

std::string body(std::string_view earlier, std::string_view current)
{
    const std::string text = unifiedDiff(earlier, current, labels);
    const std::string head = "--- a/notes\n+++ b/notes\n";
    EXPECT_TRUE(text.starts_with(head));
    return text.substr(std::min(head.size(), text.size()));
}

TEST(UnifiedDiff, WritesTheFormThatPatchReads)
{
    EXPECT_EQ(unifiedDiff("a\n", "a\n", labels), "");
    EXPECT_EQ(unifiedDiff("", "", labels), "");
    const struct {
        std::string earlier, current, expected;
    } cases[] = {
        {"", "a\nb\n", "@@ -0,0 +1,2 @@\n+a\n+b\n"},
        {"a\n", "", "@@ -1,1 +0,0 @@\n-a\n"},
        {"a", "a\n", "@@ -1,1 +1,1 @@\n-a\n\\ No newline at end of file\n+a\n"},
        {"a\nb", "x\nb", "@@ -1,2 +1,2 @@\n-a\n+x\n b\n\\ No newline at end of file\n"},
        {"a\r\n", "a\n", "@@ -1,1 +1,1 @@\n-a\r\n+a\n"},
        // Six unchanged lines join two changes, seven keep them apart.
        {"x\n1\n2\n3\n4\n5\n6\nx\n", "y\n1\n2\n3\n4\n5\n6\ny\n",
         "@@ -1,8 +1,8 @@\n-x\n+y\n 1\n 2\n 3\n 4\n 5\n 6\n-x\n+y\n"},
        {"x\n1\n2\n3\n4\n5\n6\n7\nx\n", "1\n2\n3\n4\n5\n6\n7\ny\ny\n",
         "@@ -1,4 +1,3 @@\n-x\n 1\n 2\n 3\n@@ -6,4 +5,5 @@\n 5\n 6\n 7\n-x\n+y\n+y\n"},
        {"1\n2\n3\n4\n5\n", "1\n2\n3\n4\n5\n6\n", "@@ -3,3 +3,4 @@\n 3\n 4\n 5\n+6\n"},
    };
    for (const auto& [earlier, current, expected] : cases)
        EXPECT_EQ(body(earlier, current), expected);
}

/// Applies a difference as its format says, looking at nothing but the places and the first characters of lines.
std::string applied(const std::string& diff, const std::string& earlier)
{
    std::istringstream lines(diff);
    std::string line;
    std::string result;
    std::size_t at = 0;  // bytes of the earlier text
    std::size_t number = 1;
    char before = ' ';
    const auto takeLine = [&] {
        const std::size_t end = std::min(earlier.find('\n', at), earlier.size() - 1) + 1;
        const std::string taken = earlier.substr(at, end - at);
        at = end;
        ++number;
        return taken;
    };
    for (int label = 0; label < 2; ++label)
        std::getline(lines, line);
    while (std::getline(lines, line)) {
        const char sign = line[0];
        const std::string text = line.substr(1) + "\n";
        if (sign == '@') {
            const std::size_t start = std::stoul(line.substr(4));
            const bool isAfter = line.find(",0 +") != std::string::npos;  // no line of its own: it begins behind one
            while (number < start + (isAfter ? 1 : 0))
                result += takeLine();
        } else if (sign == '\\') {
            if (before != '-')
                result.pop_back();
        } else {
            if (sign != '+') {
                const std::string taken = takeLine();
                EXPECT_EQ(taken + (taken.ends_with('\n') ? "" : "\n"), text);
            }
            if (sign != '-')
                result += text;
        }
        before = sign;
    }
    return result + earlier.substr(at);
}

void write(const std::filesystem::path& file, const std::string& text)
{
    std::ofstream(file, std::ios::binary) << text;
}

std::string read(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(UnifiedDiff, LeadsFromOneTextToTheOther)
{
    const bool hasPatch = std::system("command -v patch >/dev/null 2>&1") == 0;
    const TemporaryFolder folder(TemporaryFolder::inMemory());
    std::mt19937 random(1);
    for (int round = 0; round < 1000; ++round) {
        SCOPED_TRACE(round);
        const auto someText = [&](std::size_t most) {
            static constexpr const char* parts[] = {"a\n",    "b\n",   "\n",     "c",   "-- x\n",
                                                    "++ y\n", "é\r\n", "\\ z\n", "@@\n"};
            std::string text;
            for (auto count = random() % most; count > 0; --count)
                text += parts[random() % std::size(parts)];
            return text;
        };
        const std::string common = random() % 2 == 0 ? someText(60) : "";
        const std::string earlier = someText(20) + common + someText(20);
        const std::string current = someText(20) + common + someText(20);
        std::string diff;
        const auto result = writeUnifiedDiff(
            earlier, current, labels, [&](UnifiedDiffLine, std::string_view line) { diff.append(line) += '\n'; }, {},
            round % 2 == 0 ? mostUnifiedDiffEdits : 3);
        EXPECT_EQ(result == UnifiedDiffResult::same, earlier == current);
        ASSERT_EQ(applied(diff, earlier), current);
        if (!hasPatch || earlier == current || round % 20 >= 2)
            continue;
        write(folder.path() / "text", earlier);
        write(folder.path() / "diff", diff);
        const std::string command =
            "cd '" + folder.path().string() + "' && patch -s -F0 --posix -o patched text diff >patch.log 2>&1";
        ASSERT_EQ(std::system(command.c_str()), 0) << diff << read(folder.path() / "patch.log");
        ASSERT_EQ(read(folder.path() / "patched"), current) << diff;
    }
}

TEST(UnifiedDiff, TellsTheKindOfEachLine)
{
    using enum UnifiedDiffLine;
    std::vector<UnifiedDiffLine> kinds;
    writeUnifiedDiff("-- a\nb\n-- c", "b\n++ d\n", labels,
                     [&](UnifiedDiffLine kind, std::string_view) { kinds.push_back(kind); });
    EXPECT_EQ(kinds, (std::vector{earlierLabel, currentLabel, place, removed, unchanged, removed, noLineFeed, added}));
}

// Large texts with few changes are compared exactly; where finding the fewest would take minutes, a block will do.
TEST(UnifiedDiff, EndsInTimeForLargeTexts)
{
    std::mt19937 random(2);
    std::string earlier;
    std::string current;
    std::string shuffled;
    for (int line = 0; line < 100'000; ++line) {
        const std::string text = "line " + std::to_string(random() % 50'000) + "\n";
        earlier += text;
        current += line % 400 == 7 ? "new\n" : text;
        shuffled += "line " + std::to_string(random() % 50'000) + "\n";
    }
    const auto ignore = [](UnifiedDiffLine, std::string_view) {};
    auto start = cpuTime();
    EXPECT_EQ(writeUnifiedDiff(earlier, current, labels, ignore), UnifiedDiffResult::different);
    EXPECT_LT((cpuTime() - start).count(), granted(0.2));
    start = cpuTime();
    EXPECT_EQ(writeUnifiedDiff(earlier, shuffled, labels, ignore, {}, 10'000), UnifiedDiffResult::block);
    EXPECT_LT((cpuTime() - start).count(), granted(0.3));
}

}  // namespace
}  // namespace penmark
