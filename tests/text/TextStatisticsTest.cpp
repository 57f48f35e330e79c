// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/TextStatistics.h"

#include "CpuTime.h"
#include "text/RandomText.h"
#include "text/TextEdit.h"
#include "text/TextSnapshot.h"

#include <algorithm>
#include <chrono>

#include <gtest/gtest.h>

namespace penmark {
namespace {

TEST(TextStatistics, CountsWhatAReaderWould)
{
    struct Case {
        std::string text;
        std::size_t characters;
        std::size_t words;
    };
    for (const Case& c : {
             Case{"", 0, 0},
             Case{"Hello, world!\r\n", 14, 2},
             Case{"don't stop 'quoted' l’été rock'n'roll", 37, 5},
             Case{"3.14 1,000 a.b 1.", 17, 5},
             Case{"snake_case x2 2x - --", 21, 3},
             Case{"e\u0301te\u0301 \u0301a", 5, 2},
             Case{"👨‍👩‍👧 👍🏽 🇩🇪🇫🇷 ❤️a", 9, 1},
             Case{"中文字。かな", 6, 5},
             Case{"한국어 문장", 6, 2},
             Case{"\u1112\u1161\u11ab", 1, 1},
             Case{"API를 中a", 7, 3},
             Case{"x\u00ady می\u200cخواهم", 11, 2},
             Case{"नमस्ते", 4, 1},
             Case{"ภาษาไทย", 7, 2},
         }) {
        const TextCounts counts = TextStatistics(TextSnapshot(c.text)).counts();
        EXPECT_EQ(counts.characters(), c.characters) << c.text;
        EXPECT_EQ(counts.words(), c.words) << c.text;
    }
}

TEST(TextStatistics, ReadingTime)
{
    std::string english;
    std::string chinese;
    for (int i = 0; i < 460; ++i)
        english += "word ";
    for (int i = 0; i < 500; ++i)
        chinese += i % 2 ? "字" : "한";
    EXPECT_DOUBLE_EQ(TextStatistics(TextSnapshot(english)).counts().readingTime().count(), 120);
    EXPECT_DOUBLE_EQ(TextStatistics(TextSnapshot(english + chinese)).counts().readingTime().count(), 180);
}

TEST(TextStatistics, ASelectionCountsAsATextOfItsOwn)
{
    const TextSnapshot text(std::string_view("one 'two' don't e\u0301"));
    EXPECT_EQ(TextStatistics::count(text, {Utf8Offset(1), Utf8Offset(7)}).words(), 2U);
    EXPECT_EQ(TextStatistics::count(text, {Utf8Offset(14), Utf8Offset(15)}).words(), 1U);
    EXPECT_EQ(TextStatistics::count(text, {Utf8Offset(2), text.end()}),
              TextStatistics(TextSnapshot(text.text({Utf8Offset(2), text.end()}))).counts());
}

// Edits of one or many places near one another, in texts where what a character counts for depends on its neighbors.
TEST(TextStatistics, AfterEditsTheSameAsCountedAnew)
{
    static const char* const touchy[] = {"a",      "'", "1",      ".",  "\r", "\n", "\u200d", "😀",
                                         "\u0301", "🇩", "\u00ad", "字", "한", "ไ",  " "};
    for (unsigned seed = 1; seed <= 60; ++seed) {
        Random random(seed);
        const auto some = [&](std::size_t count) {
            std::string text = random.below(2) ? random.text(count) : "";
            while (count-- > 0)
                text += touchy[random.below(std::size(touchy))];
            return text;
        };
        TextSnapshot text(some(200));
        TextStatistics statistics(text);
        for (int step = 0; step < 50; ++step) {
            const std::string plain = text.text();
            std::vector<std::size_t> cuts(2 * (1 + random.below(random.below(2) ? 1 : 30)));
            for (std::size_t& cut : cuts)
                cut = random.characterBoundary(plain);
            std::sort(cuts.begin(), cuts.end());
            TextEditBuilder builder;
            for (std::size_t i = 0; i < cuts.size(); i += 2) {
                const std::size_t end = random.below(2) ? cuts[i] : cuts[i + 1];
                builder.replace({Utf8Offset(cuts[i]), Utf8Offset(end)}, some(random.below(4)));
            }
            const TextEdit edit = std::move(builder).build();
            const TextSnapshot after = text.apply(edit);
            statistics.update(text, edit, after);
            ASSERT_EQ(statistics.counts(), TextStatistics(after).counts()) << seed << ", " << step;
            text = after;
        }
    }
}

TEST(TextStatistics, AKeyPressCostsNothingInALargeText)
{
    std::string prose;
    while (prose.size() < 20'000'000)
        prose += "Lorem ipsum, 'dolor' sit amet 3.14. It doesn't matter.\n";
    const TextSnapshot text(std::move(prose));
    auto begin = cpuTime();
    const auto took = [&] { return std::chrono::duration<double, std::milli>(cpuTime() - begin).count(); };
    TextStatistics statistics(text);
    RecordProperty("milliseconds to count 20 MB", std::to_string(took()));
    EXPECT_LT(took(), granted(0.3) * 1000);
    const TextEdit edit({Utf8Offset(10'000'000), Utf8Offset(10'000'001)}, "x");
    const TextSnapshot after = text.apply(edit);
    begin = cpuTime();
    statistics.update(text, edit, after);
    EXPECT_LT(took(), granted(0.001) * 1000);
}

// As replacing all makes them, close together or not.
TEST(TextStatistics, ManyPlacesTakeNoLongerThanTheWholeText)
{
    for (const std::size_t distance : {20U, 2'000U}) {
        std::string words;
        TextEditBuilder builder;
        for (std::size_t place = 0; place < (distance == 20 ? 400'000U : 4'000U); ++place) {
            words += "it's " + std::string(distance, place % 3 ? 'x' : '.');
            builder.replace({Utf8Offset(words.size() - 2), Utf8Offset(words.size())}, place % 2 ? "'s" : " é");
        }
        const TextSnapshot text(std::move(words));
        const TextEdit edit = std::move(builder).build();
        const TextSnapshot after = text.apply(edit);
        TextStatistics statistics(text);
        const auto begin = cpuTime();
        statistics.update(text, edit, after);
        EXPECT_LT(std::chrono::duration<double>(cpuTime() - begin).count(), granted(0.06)) << distance;
        EXPECT_EQ(statistics.counts(), TextStatistics(after).counts()) << distance;
    }
}

}  // namespace
}  // namespace penmark
