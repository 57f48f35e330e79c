// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/TextSnapshot.h"

#include "text/Caret.h"
#include "text/RandomText.h"
#include "text/TextEdit.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <thread>

#include <gtest/gtest.h>

namespace penmark {
namespace {

std::string applied(const std::string& text, const TextEdit& edit)
{
    std::string result;
    std::size_t at = 0;
    std::size_t inserted = 0;
    const std::string with = edit.inserted().text();
    for (const Replacement& replacement : edit.replacements()) {
        result += text.substr(at, replacement.start.value - at);
        result += with.substr(inserted, replacement.inserted);
        inserted += replacement.inserted;
        at = replacement.end().value;
    }
    return result + text.substr(at);
}

/// Lines and UTF-16 offsets of a plain string, counted the slow way.
struct Model {
    explicit Model(const std::string& text)
    {
        lineStarts.push_back(0);
        std::size_t units = 0;
        for (std::size_t at = 0; at < text.size(); ++at) {
            const auto byte = static_cast<unsigned char>(text[at]);
            if ((byte & 0xC0) != 0x80) {
                utf16[at] = units;
                units += byte >= 0xF0 ? 2 : 1;
            }
            if (byte == '\n' || (byte == '\r' && (at + 1 == text.size() || text[at + 1] != '\n')))
                lineStarts.push_back(at + 1);
        }
        utf16[text.size()] = units;
    }
    std::vector<std::size_t> lineStarts;
    std::map<std::size_t, std::size_t> utf16;  // by byte, at characters
};

void expectSame(const TextSnapshot& text, const std::string& plain, Random& random)
{
    ASSERT_EQ(text.text(), plain);
    ASSERT_NO_THROW(text.checkInvariants());
    const Model model(plain);
    ASSERT_EQ(text.lineCount(), model.lineStarts.size());
    ASSERT_EQ(text.utf16End().value, model.utf16.rbegin()->second);
    for (int probe = 0; probe < 20; ++probe) {
        const std::size_t number = random.below(model.lineStarts.size());
        const TextLine line = text.line(LineNumber(number));
        ASSERT_EQ(line.start.value, model.lineStarts[number]);
        const TextLine following = text.lineAfter(line);
        ASSERT_EQ(following.start, text.lineStart(std::min(line.number + 1, LineNumber(text.lineCount() - 1))));
        ASSERT_EQ(following.next, text.lineStart(following.number + 1));
        const std::size_t next = number + 1 < model.lineStarts.size() ? model.lineStarts[number + 1] : plain.size();
        ASSERT_EQ(line.next.value, next);
        const std::string whole = plain.substr(line.start.value, next - line.start.value);
        ASSERT_EQ(line.end.value, line.start.value + whole.find_last_not_of("\r\n") + 1);
        const auto at = std::next(model.utf16.begin(), static_cast<std::ptrdiff_t>(random.below(model.utf16.size())));
        const Utf8Offset offset(at->first);
        ASSERT_EQ(text.toUtf16(offset).value, at->second);
        ASSERT_EQ(text.toUtf8(Utf16Offset(at->second)), offset);
        if (std::next(at) != model.utf16.end() && std::next(at)->second == at->second + 2) {
            ASSERT_EQ(text.toUtf8(Utf16Offset(at->second + 1)), offset) << "inside a surrogate pair";
        }
        const auto lineOf = std::upper_bound(model.lineStarts.begin(), model.lineStarts.end(), offset.value);
        ASSERT_EQ(text.lineAt(offset).value, static_cast<std::size_t>(lineOf - model.lineStarts.begin()) - 1);
    }
}

TextEdit randomEdit(const std::string& text, Random& random, std::size_t places, std::size_t longest = 40)
{
    std::vector<std::size_t> cuts;
    for (std::size_t index = 0; index < 2 * places; ++index)
        cuts.push_back(random.characterBoundary(text));
    std::sort(cuts.begin(), cuts.end());
    TextEditBuilder builder;
    for (std::size_t index = 0; index + 1 < cuts.size(); index += 2) {
        std::size_t end = cuts[index + 1];
        if (random.below(25) != 0)  // now and then a large part goes
            end = std::min(end, cuts[index] + random.below(30));
        while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
            ++end;
        end = std::min(end, cuts[index + 1]);
        builder.replace({Utf8Offset(cuts[index]), Utf8Offset(end)}, random.text(random.below(longest)));
    }
    return std::move(builder).build();
}

TEST(TextSummaryTest, CountsLikeASlowLoopAtEveryLengthAndCut)
{
    Random random(1);
    const std::string text = random.text(400);
    const Model model(text);
    for (const auto& [byte, units] : model.utf16) {
        const std::string_view head = std::string_view(text).substr(0, byte);
        const TextSummary whole = summarize(text);
        ASSERT_EQ(summarize(head) + summarize(std::string_view(text).substr(byte)), whole) << byte;
        ASSERT_EQ(utf16Length(head), units);
        ASSERT_EQ(byteOfUtf16Unit(text, units), byte);
    }
}

TEST(TextSnapshotTest, HoldsEverySmallTextOfLineEnds)
{
    Random random(2);
    // All texts of up to six of these, cut in two pieces and joined by an edit at every place.
    const std::string parts[] = {"\r", "\n", "é"};
    for (int number = 0; number < 729; ++number) {
        std::string text;
        for (int digits = number, index = 0; index < 6; ++index, digits /= 3)
            text += parts[digits % 3];
        for (std::size_t cut : {std::size_t(0), std::size_t(1), text.size()}) {
            if (cut < text.size() && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80)
                continue;
            const TextSnapshot head((std::string_view(text).substr(0, cut)));
            expectSame(head.apply(TextEdit({head.end(), head.end()}, std::string_view(text).substr(cut))), text,
                       random);
        }
    }
}

// Pieces are cut in all ways by editing a large text; every answer must be that of a plain string.
TEST(TextSnapshotTest, AnswersLikeAPlainStringThroughRandomEdits)
{
    for (unsigned seed = 0; seed < 6; ++seed) {
        Random random(seed);
        std::string plain = random.text(seed % 2 ? 60'000 : 300);
        TextSnapshot text{std::string(plain)};
        for (int round = 0; round < 300; ++round) {
            const TextEdit edit = randomEdit(plain, random, 1 + random.below(50), random.below(40) ? 20 : 2'000);
            plain = applied(plain, edit);
            text = text.apply(edit);
            if (round % 30 == 0) {
                ASSERT_NO_FATAL_FAILURE(expectSame(text, plain, random)) << "seed " << seed << " round " << round;
            }
        }
        ASSERT_NO_FATAL_FAILURE(expectSame(text, plain, random));
        const std::size_t from = random.characterBoundary(plain);
        const std::size_t to = std::max(from, random.characterBoundary(plain));
        EXPECT_EQ(text.slice({Utf8Offset(from), Utf8Offset(to)}).text(), plain.substr(from, to - from));
        EXPECT_TRUE(text == TextSnapshot(plain));
        EXPECT_FALSE(text == TextSnapshot(plain + "x"));
    }
}

TEST(TextSnapshotTest, ReadsCharactersBothWaysAcrossPieces)
{
    Random random(4);
    std::string plain = random.text(30'000);
    TextSnapshot text{std::string(plain)};
    for (int round = 0; round < 100; ++round) {
        const TextEdit edit = randomEdit(plain, random, 3);
        plain = applied(plain, edit);
        text = text.apply(edit);
    }
    std::u32string forwards;
    TextReader reader(text);
    for (char32_t character = reader.next(); character != TextReader::none; character = reader.next())
        forwards += character;
    EXPECT_EQ(reader.position(), text.end());
    std::u32string backwards;
    for (char32_t character = reader.previous(); character != TextReader::none; character = reader.previous())
        backwards += character;
    EXPECT_EQ(reader.position(), Utf8Offset(0));
    std::reverse(backwards.begin(), backwards.end());
    EXPECT_EQ(forwards, backwards);
    EXPECT_EQ(forwards.size(), Model(plain).utf16.size() - 1);
}

// 100 MB of pieces of one file may not be copied, and typing may not spread over the tree.
TEST(TextSnapshotTest, SharesALargeTextAndGrowsWithTheEditsOnly)
{
    const auto file = std::make_shared<const std::string>(std::string(50'000'000, 'x'));
    TextSnapshot text(file, *file);
    EXPECT_EQ(text.pieceAt(Utf8Offset(30'000'000)).second.data(),
              file->data() + text.pieceAt(Utf8Offset(30'000'000)).first.value);
    EXPECT_LT(text.treeBytes(), file->size() / 40);
    const std::size_t before = text.treeBytes();
    for (std::size_t key = 0; key < 20'000; ++key)
        text = text.apply(TextEdit({Utf8Offset(20'000'000 + key), Utf8Offset(20'000'000 + key)}, "y"));
    EXPECT_LT(text.treeBytes(), before + 20'000);
    for (std::size_t key = 0; key < 20'000; ++key)
        text = text.apply(TextEdit({Utf8Offset(20'000'000), Utf8Offset(20'000'001)}, ""));
    EXPECT_LT(text.treeBytes(), before + 2'000);
    EXPECT_TRUE(text == TextSnapshot(file, *file));
    text = text.apply(TextEdit({Utf8Offset(0), text.end()}, ""));
    EXPECT_TRUE(text.empty());
}

// One thread types while others read what it published.
TEST(TextSnapshotTest, IsReadByOtherThreadsWhileTheTextIsEdited)
{
    Random random(7);
    std::string plain = random.text(20'000);
    TextSnapshot text{std::string(plain)};
    constexpr int readers = 3;
    constexpr int rounds = 200;
    for (int round = 0; round < rounds; ++round) {
        std::vector<std::thread> threads;
        std::atomic<int> right{0};
        for (int index = 0; index < readers; ++index)
            threads.emplace_back([snapshot = text, &right, expected = summarize(plain)] {
                right += summarize(snapshot.text()) == expected && snapshot.line(LineNumber(5)).next <= snapshot.end();
            });
        for (int edits = 0; edits < 5; ++edits) {
            const TextEdit edit = randomEdit(plain, random, 5);
            plain = applied(plain, edit);
            text = text.apply(edit);
        }
        for (std::thread& thread : threads)
            thread.join();
        ASSERT_EQ(right, readers);
    }
}

TEST(TextEditTest, InvertsAndComposesAtRandom)
{
    Random random(11);
    for (int round = 0; round < 2'000; ++round) {
        const std::string first = random.text(random.below(300));
        const TextSnapshot text(first);
        const TextEdit one = randomEdit(first, random, random.below(8));
        const std::string second = applied(first, one);
        const TextEdit two = randomEdit(second, random, random.below(8));
        const std::string third = applied(second, two);
        const TextEdit both = one.then(two);
        ASSERT_EQ(applied(first, both), third);
        ASSERT_EQ(applied(second, one.inverse(text)), first);
        ASSERT_EQ(applied(third, both.inverse(text)), first);
        ASSERT_EQ(text.apply(both).text(), third);
    }
}

TEST(TextEditTest, MapsPositions)
{
    TextEditBuilder builder;  // "abcdefgh" becomes "XYabZefgh"
    builder.insert(Utf8Offset(0), "XY");
    builder.replace({Utf8Offset(2), Utf8Offset(4)}, "Z");
    const TextEdit edit = std::move(builder).build();
    const std::size_t before[] = {0, 3, 4, 4, 5, 6, 7, 8, 9};
    const std::size_t after[] = {2, 3, 4, 5, 5, 6, 7, 8, 9};
    std::vector<Utf8Offset> all;
    for (std::size_t position = 0; position < 9; ++position) {
        EXPECT_EQ(edit.map(Utf8Offset(position), Stickiness::before).value, before[position]) << position;
        EXPECT_EQ(edit.map(Utf8Offset(position), Stickiness::after).value, after[position]) << position;
        all.emplace_back(position);
    }
    edit.map(all, Stickiness::after);
    EXPECT_TRUE(std::equal(all.begin(), all.end(), std::begin(after),
                           [](Utf8Offset l, std::size_t r) { return l.value == r; }));
}

std::string shown(const CaretSet& carets)
{
    std::string text;
    for (std::size_t index = 0; index < carets.size(); ++index)
        text += std::to_string(carets[index].anchor.value) + "-" + std::to_string(carets[index].head.value) +
                (index == carets.mainIndex() ? "* " : " ");
    return text;
}

Caret caret(std::size_t anchor, std::size_t head)
{
    return {Utf8Offset(anchor), Utf8Offset(head)};
}

TEST(CaretSetTest, OrdersAndMerges)
{
    EXPECT_EQ(shown(CaretSet({caret(9, 9), caret(1, 3), caret(5, 5)}, 1)), "1-3* 5-5 9-9 ");
    EXPECT_EQ(shown(CaretSet({caret(1, 4), caret(3, 6)}, 1)), "1-6* ");
    EXPECT_EQ(shown(CaretSet({caret(4, 1), caret(3, 6)}, 0)), "6-1* ") << "the direction of the main caret stays";
    EXPECT_EQ(shown(CaretSet({caret(1, 3), caret(3, 5)}, 0)), "1-3* 3-5 ") << "adjoining selections stay two";
    EXPECT_EQ(shown(CaretSet({caret(1, 3), caret(3, 3)}, 1)), "1-3* ");
    EXPECT_EQ(shown(CaretSet({caret(2, 2), caret(2, 2), caret(2, 2)}, 2)), "2-2* ");
    CaretSet set(caret(4, 4));
    set.add(caret(1, 1));
    set.add(caret(8, 8));
    EXPECT_EQ(shown(set), "1-1 4-4 8-8* ");
    set.remove(2);
    EXPECT_EQ(shown(set), "1-1 4-4* ");
    const TextEdit edit({Utf8Offset(1), Utf8Offset(1)}, "abc");
    EXPECT_EQ(shown(CaretSet({caret(1, 1), caret(1, 4)}, 0).mapped(edit)), "4-7* ");
    EXPECT_EQ(shown(CaretSet(caret(1, 1)).mapped(edit, false)), "1-1* ");
}

}  // namespace
}  // namespace penmark
