// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/WordMarks.h"

#include "CpuTime.h"

#include <string>

#include <gtest/gtest.h>

namespace penmark {
namespace {

/// The line with its marks in brackets; offsets of UTF-16 become places in the text only if they are right.
std::string bracketed(std::string_view line, const std::vector<Utf16Range>& marks)
{
    std::string text;
    std::size_t unit = 0;
    for (std::size_t i = 0; i <= line.size(); ++i) {
        const auto byte = i < line.size() ? static_cast<unsigned char>(line[i]) : 0U;
        if ((byte & 0xc0) != 0x80)
            for (const Utf16Range& mark : marks)
                text += mark.end.value == unit ? "]" : "";
        if ((byte & 0xc0) != 0x80)
            for (const Utf16Range& mark : marks)
                text += mark.start.value == unit ? "[" : "";
        if (i == line.size())
            break;
        text += line[i];
        if ((byte & 0xc0) != 0x80)
            unit += byte < 0xf0 ? 1 : 2;
    }
    return text;
}

std::string unbracketed(std::string text)
{
    std::erase_if(text, [](char c) { return c == '[' || c == ']'; });
    return text;
}

TEST(WordMarks, MarksTheWordsThatHaveChanged)
{
    const struct {
        std::string removed, added;
    } cases[] = {
        {"the quick [brown] fox", "the quick [red] fox"},
        {"one two three", "one two [and a half ]three"},
        {"keep [old words] here please", "keep [new things] here please"},  // the blank between is one with them
        {"total = [a] + b;", "total = [count] + b;"},
        {"    return value;", "[        ]return value;"},
        {"für [Käse] und Brot", "für [Soße] und Brot"},
        {"[e\u0301te\u0301] en France", "[ete] en France"},  // a mark belongs to its letter
        {"我喜欢[红]茶", "我喜欢[绿]茶"},
        {"これは[犬]です", "これは[猫]です"},
        {"😀 said [yes] 😀", "😀 said [no] 😀"},
        {"family [👨‍👩‍👧] here", "family [👨‍👩‍👦] here"},  // not the last child alone
        {"flag [🇩🇪]🇫🇷 waves", "flag [🇩🇰]🇫🇷 waves"},
        {"слово [старое] тут", "слово [новое] тут"},
        {"สวัสดี[ก]ชาว", "สวัสดี[ข]ชาว"},
        {"same", "same"},
        {"", ""},
    };
    for (const auto& [removed, added] : cases) {
        SCOPED_TRACE(removed);
        std::string from = unbracketed(removed);
        std::string to = unbracketed(added);
        if (removed.starts_with("    "))
            from = removed;
        const std::string_view a[] = {from};
        const std::string_view b[] = {to};
        const auto pairs = WordMarks().mark(a, b);
        ASSERT_EQ(pairs.size(), 1U);
        EXPECT_EQ(bracketed(to, pairs[0].addedMarks), added);
        if (removed.find('[') != std::string::npos || added.find('[') == std::string::npos) {
            EXPECT_EQ(bracketed(from, pairs[0].removedMarks), removed);
        }
    }
}

TEST(WordMarks, PairsLinesThatResembleEachOther)
{
    const struct {
        std::vector<std::string_view> removed, added;
        std::string pairs;
    } cases[] = {
        {{"nothing alike at all"}, {"entirely different words"}, ""},
        {{"a b c d e f g h"}, {"h i j k l m n o"}, ""},  // one letter of eight
        {{"one two three four five six seven"}, {"seven six five four three two one"}, ""},
        {{"first line here", "second line there"}, {"first line now here", "second line not there"}, "0-0 1-1 "},
        // One more line before: the place alone would pair the wrong ones.
        {{"alpha beta gamma", "delta epsilon zeta"},
         {"something new", "alpha beta gamma!", "delta epsilon zeta!"},
         "0-1 1-2 "},
        {{"alpha beta gamma", "to be left out", "delta epsilon zeta"},
         {"alpha beta gamma!", "delta epsilon zeta!"},
         "0-0 2-1 "},
        {{"x", "", "y"}, {"z", "", "w"}, "1-1 "},
        {{"alone"}, {}, ""},
    };
    for (const auto& [removed, added, expected] : cases) {
        std::string pairs;
        for (const MarkedPair& pair : WordMarks().mark(removed, added))
            pairs += std::to_string(pair.removed) + "-" + std::to_string(pair.added) + " ";
        EXPECT_EQ(pairs, expected);
    }
}

// The slowest there are: long lines of the same characters, each a word, in different orders.
TEST(WordMarks, EndsItsWorkWhateverTheLines)
{
    std::vector<std::string> lines(400);
    for (std::size_t i = 0; i < lines.size(); ++i)
        for (std::size_t k = 1; k <= 1000; ++k) {
            const std::size_t c = 0x4e00 + k * (i + 1) % 1009;
            lines[i] += static_cast<char>(0xe0 | c >> 12);
            lines[i] += static_cast<char>(0x80 | (c >> 6 & 0x3f));
            lines[i] += static_cast<char>(0x80 | (c & 0x3f));
        }
    const std::vector<std::string_view> removed(lines.begin(), lines.begin() + 200);
    const std::vector<std::string_view> added(lines.begin() + 200, lines.end());
    auto start = cpuTime();
    WordMarks().mark(removed, added);
    EXPECT_LT((cpuTime() - start).count(), granted(0.08));

    // Too many lines to try each with each.
    for (std::size_t i = 0; i < 4000; ++i) {
        lines.push_back("line");
        for (std::size_t k = 0; k < 20; ++k)
            lines.back() += ' ' + std::to_string((i * 31 + k * 17) % 500);
    }
    const std::vector<std::string_view> many(lines.begin() + 400, lines.begin() + 2390);
    const std::vector<std::string_view> others(lines.begin() + 2390, lines.end());
    start = cpuTime();
    WordMarks().mark(many, others);
    EXPECT_LT((cpuTime() - start).count(), granted(0.08));
}

}  // namespace
}  // namespace penmark
