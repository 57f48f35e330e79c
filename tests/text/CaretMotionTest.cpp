// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/CaretMotion.h"

#include "CpuTime.h"
#include "text/Characters.h"
#include "text/RandomText.h"
#include "text/TextSnapshot.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace penmark {
namespace {

/// A text and its carets as one string: ^ is a bare caret or the head of a selection, | its anchor, which comes first.
struct Marked {
    explicit Marked(const std::string& marked)
    {
        std::vector<Caret> carets;
        std::string plain;
        Utf8Offset anchor;
        bool isOpen = false;  // an anchor waits for its head
        for (const char byte : marked) {
            const Utf8Offset here(plain.size());
            if (byte == '|')
                anchor = here;
            else if (byte == '^')
                carets.emplace_back(isOpen ? anchor : here, here);
            else
                plain += byte;
            isOpen = byte == '|' || (isOpen && byte != '^');
        }
        text = TextSnapshot(plain);
        set = CaretSet(carets, carets.size() - 1);
    }

    TextSnapshot text;
    CaretSet set;
};

std::string shown(const TextSnapshot& text, const CaretSet& carets)
{
    std::string result = text.text();
    for (std::size_t i = carets.size(); i-- > 0;) {
        const Caret& caret = carets[i];
        if (caret.hasSelection())
            result.insert(caret.end().value, caret.isForward() ? "^" : "|");
        result.insert(caret.start().value, caret.hasSelection() && caret.isForward() ? "|" : "^");
    }
    return result;
}

TEST(CaretMotion, MovesByTheText)
{
    struct Case {
        Motion motion;
        std::string before;
        std::string after;
        std::string selected;
    };
    using enum Motion;
    for (const Case& c : {
             Case{nextGrapheme, "a^e\u0301^b", "ae\u0301^b^", "a|e\u0301^|b^"},
             Case{nextGrapheme, "a|bc^d", "abc^d", "a|bcd^"},
             Case{previousGrapheme, "a|bc^d", "a^bcd", "a|b^cd"},
             Case{previousGrapheme, "a\r\n^b", "a^\r\nb", "a^\r\n|b"},
             Case{nextWordStart, "o^ne two", "one ^two", "o|ne ^two"},
             Case{nextWordEnd, "one^ two", "one two^", "one| two^"},
             Case{previousWordStart, "one two^", "one ^two", "one ^two|"},
             Case{lineStart, "x\n  one^", "x\n  ^one", "x\n  ^one|"},
             Case{lineStart, "x\n  ^one", "x\n^  one", "x\n^  |one"},
             Case{lineStart, "x\n^  one", "x\n  ^one", "x\n|  ^one"},
             Case{lineEnd, "o^ne\r\ntwo", "one^\r\ntwo", "o|ne^\r\ntwo"},
             Case{documentStart, "one^ two^", "^one two", "^one two|"},
             Case{documentEnd, "one^ two^", "one two^", "one| two^"},
             Case{nextParagraph, "^a\nb\n \n\nc\n", "a\nb\n \n\n^c\n", "|a\nb\n \n\n^c\n"},
             Case{nextParagraph, "a\r\n^\r\n  c\r\n", "a\r\n\r\n^  c\r\n", "a\r\n|\r\n^  c\r\n"},
             Case{nextParagraph, "a\n\n^c\nd", "a\n\nc\nd^", "a\n\n|c\nd^"},
             Case{previousParagraph, "a\n\n  b\nc^", "a\n\n^  b\nc", "a\n\n^  b\nc|"},
             Case{previousParagraph, "\na\nb\n\t\n^\n\nc", "\n^a\nb\n\t\n\n\nc", "\n^a\nb\n\t\n|\n\nc"},
             Case{previousParagraph, "\n\n^a", "^\n\na", "^\n\n|a"},
             Case{matchingBracket, "f^(a[0])", "f(a[0])^", "f|(a[0])^"},
             Case{matchingBracket, "f(^a[0])", "f(a[0]^)", "f(|a[0]^)"},
             Case{matchingBracket, "f(a[0])^ ", "f^(a[0]) ", "f^(a[0])| "},
             Case{matchingBracket, "f(a[0]^)", "f(^a[0])", "f(^a[0]|)"},
             Case{matchingBracket, "f(^) x^", "f^() x^", "f^(|) x^"},
         }) {
        const Marked marked(c.before);
        EXPECT_EQ(shown(marked.text, moveCarets(marked.text, marked.set, c.motion, false)), c.after) << c.before;
        EXPECT_EQ(shown(marked.text, moveCarets(marked.text, marked.set, c.motion, true)), c.selected) << c.before;
    }
}

TEST(CaretMotion, GrowsSelections)
{
    using enum SelectionUnit;
    struct Case {
        SelectionUnit unit;
        std::vector<std::string> steps;
    };
    for (const Case& c : {
             Case{word, {"on^e |two^", "|one^ |two^", "|one^ |two^"}},
             Case{line, {"a\nb^b\nc", "a\n|bb\n^c", "a\n|bb\nc^", "a\n|bb\nc^"}},
             Case{line, {"a|a\n^b", "|aa\n^b"}},
             Case{brackets,
                  {"{f(a[^0], (b))}", "{f(a[|0^], (b))}", "{f(a|[0]^, (b))}", "{f(|a[0], (b)^)}", "{f|(a[0], (b))^}",
                   "{|f(a[0], (b))^}", "|{f(a[0], (b))}^", "|{f(a[0], (b))}^"}},
             Case{brackets, {"(a) ^ [b", "(a) ^ [b"}},
             Case{brackets, {"((a)(b) ^)", "(|(a)(b) ^)", "|((a)(b) )^"}},
             Case{all, {"a^b^", "|ab^"}},
         }) {
        const Marked marked(c.steps[0]);
        CaretSet carets = marked.set;
        for (std::size_t i = 1; i < c.steps.size(); ++i) {
            carets = growSelections(marked.text, carets, c.unit);
            EXPECT_EQ(shown(marked.text, carets), c.steps[i]) << c.steps[0] << ", step " << i;
        }
    }
}

// A mark may stand on a blank or a bracket, and goes with it.
TEST(CaretMotion, NoCaretGoesInsideOfACharacter)
{
    const Marked indented("  \u0301ab^");
    const CaretSet start = moveCarets(indented.text, indented.set, Motion::lineStart, false);
    EXPECT_EQ(shown(indented.text, start), " ^ \u0301ab");
    EXPECT_EQ(shown(indented.text, moveCarets(indented.text, start, Motion::lineStart, false)), "^  \u0301ab");

    const Marked bracket("(\u0301ab^)");
    EXPECT_EQ(shown(bracket.text, moveCarets(bracket.text, bracket.set, Motion::matchingBracket, false)),
              "^(\u0301ab)");
    CaretSet grown = growSelections(bracket.text, bracket.set, SelectionUnit::brackets);
    EXPECT_EQ(shown(bracket.text, grown), "|(\u0301ab^)");
}

// Going back and forth over paragraphs meets the same starts, also in texts of several blocks.
TEST(CaretMotion, ParagraphsAreTheSameFromBothSides)
{
    Random random(7);
    std::string text;
    std::vector<Utf8Offset> expected;
    for (bool blank = true; text.size() < 400'000;) {
        const std::size_t kind = random.below(2000);
        const bool isBlank = kind < 3;
        if (!isBlank && blank)
            expected.emplace_back(text.size());
        blank = isBlank;
        text += isBlank ? " \t" : "  words and more\twords";
        text += kind % 3 ? "\r\n" : "\n";
    }
    const TextSnapshot snapshot(text);
    ASSERT_GT(expected.size(), 10U);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const Caret here(expected[i]);
        const Utf8Offset next = i + 1 < expected.size() ? expected[i + 1] : snapshot.end();
        EXPECT_EQ(moveCarets(snapshot, CaretSet(here), Motion::nextParagraph, false).main().head, next);
        EXPECT_EQ(moveCarets(snapshot, CaretSet(Caret(next)), Motion::previousParagraph, false).main().head, here.head);
    }
}

// The carets of a document move as each of them would alone, and in a few milliseconds.
TEST(CaretMotion, TenThousandCarets)
{
    Random random(3);
    std::string text;
    while (text.size() < 1'500'000)
        text += random.text(20) + (random.below(5) ? "\n" : "\n\n");
    const TextSnapshot snapshot(text);
    std::vector<Caret> each;
    for (std::size_t i = 0; i < 10'000; ++i)
        each.emplace_back(snapshot.characterStart(Utf8Offset(i * 149)));
    const CaretSet carets(each, 5000);

    using enum Motion;
    for (const Motion motion :
         {previousGrapheme, nextGrapheme, previousWordStart, nextWordStart, nextWordEnd, lineStart, lineEnd,
          previousParagraph, nextParagraph, documentStart, documentEnd, matchingBracket}) {
        SCOPED_TRACE(static_cast<int>(motion));
        const auto begin = cpuTime();
        const CaretSet moved = moveCarets(snapshot, carets, motion, false);
        const std::chrono::duration<double, std::milli> took = cpuTime() - begin;
        RecordProperty("milliseconds of motion " + std::to_string(static_cast<int>(motion)),
                       std::to_string(took.count()));
        EXPECT_LT(took.count(), granted(0.2) * 1000);
        BracketRules nearBy;  // the share of one caret of so many
        nearBy.limit = 4096;
        std::vector<Caret> alone;
        for (const Caret& caret : each)
            alone.push_back(moveCarets(snapshot, CaretSet(caret), motion, false, nearBy).main());
        EXPECT_EQ(moved, CaretSet(alone, 5000));
        if (motion == lineEnd) {
            for (Caret& caret : alone)
                caret = Caret(snapshot.lineContaining(each[static_cast<std::size_t>(&caret - alone.data())].head).end);
            EXPECT_EQ(moved, CaretSet(alone, 5000));
        }
    }
}

// Carets that stand as near to one another as they can move as each of them would alone.
TEST(CaretMotion, CaretsOfOneWordMoveAsEachAlone)
{
    using enum Motion;
    for (unsigned seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        const TextSnapshot text(random.text(60));
        std::vector<Caret> each;
        for (Utf8Offset at;; at = penmark::nextGrapheme(text, at)) {
            if (each.empty() || random.below(4))
                each.emplace_back(at);
            if (at == text.end())
                break;
        }
        const CaretSet carets(each, 0);
        for (const Motion motion : {previousWordStart, nextWordStart, nextWordEnd, previousParagraph, nextParagraph}) {
            std::vector<Utf8Offset> alone;
            for (const Caret& caret : carets)
                alone.push_back(moveCarets(text, CaretSet(caret), motion, false).main().head);
            EXPECT_EQ(headsAfter(text, carets, motion), alone) << static_cast<int>(motion) << ": " << text.text();
        }
        std::vector<Caret> words;
        for (const Caret& caret : carets)
            words.push_back(growSelections(text, CaretSet(caret), SelectionUnit::word).main());
        EXPECT_EQ(growSelections(text, carets, SelectionUnit::word), CaretSet(words, 0)) << text.text();
    }
}

// Ten thousand carets in one word of 10 MB.
TEST(CaretMotion, CaretsOfALongWordReadItOnce)
{
    const TextSnapshot text(std::string(10'000'000, 'a'));
    std::vector<Caret> each;
    for (std::size_t index = 0; index < 10'000; ++index)
        each.emplace_back(Utf8Offset(index * 1'000));
    const CaretSet carets(each, 0);
    const auto begin = cpuTime();
    EXPECT_EQ(moveCarets(text, carets, Motion::nextWordStart, false), CaretSet(Caret(text.end())));
    EXPECT_EQ(moveCarets(text, carets, Motion::nextWordEnd, false), CaretSet(Caret(text.end())));
    EXPECT_EQ(moveCarets(text, carets, Motion::previousWordStart, false), CaretSet(Caret(Utf8Offset(0))));
    EXPECT_EQ(growSelections(text, carets, SelectionUnit::word), CaretSet(Caret(Utf8Offset(0), text.end())));
    const std::chrono::duration<double> took = cpuTime() - begin;
    EXPECT_LT(took.count(), granted(0.5));
}

/// Rows of four characters of one byte, each one unit wide, whatever the text.
class FourColumns final : public VisualRows {
public:
    explicit FourColumns(std::size_t size) : size_(size) {}
    double x(Place place) const override { return static_cast<double>(place.offset.value - start(place)); }
    Step rowsBelow(Place from, std::ptrdiff_t rows, double x) const override
    {
        const auto row = static_cast<std::ptrdiff_t>(start(from) / 4);
        const std::ptrdiff_t to = std::clamp(row + rows, std::ptrdiff_t(0), static_cast<std::ptrdiff_t>(size_ / 4));
        const std::size_t offset = std::min(size_, static_cast<std::size_t>(to) * 4 + static_cast<std::size_t>(x));
        return {{Utf8Offset(offset), x >= 4 ? CaretAffinity::upstream : CaretAffinity::downstream},
                static_cast<std::size_t>(std::abs(to - row))};
    }
    Place rowStart(Place place) const override { return {Utf8Offset(start(place))}; }
    Place rowEnd(Place place) const override
    {
        return {Utf8Offset(std::min(size_, start(place) + 4)), CaretAffinity::upstream};
    }
    std::size_t pageRows() const override { return 2; }

private:
    static std::size_t start(Place place)
    {
        const std::size_t at = place.offset.value;
        return (at > 0 && place.affinity == CaretAffinity::upstream ? at - 1 : at) / 4 * 4;
    }
    std::size_t size_;
};

TEST(CaretMotion, MovesByRows)
{
    const TextSnapshot text(std::string_view("abcdefghijklmn"));  // abcd efgh ijkl mn
    const FourColumns rows(14);
    using enum VisualMotion;
    const auto walk = [&](Caret from, std::initializer_list<VisualMotion> motions, bool select = false) {
        CaretSet carets{from};
        for (const VisualMotion motion : motions)
            carets = moveCarets(text, carets, motion, select, rows);
        return carets.main();
    };
    const auto at = [](std::size_t offset) { return Caret(Utf8Offset(offset)); };
    // A row that is too short does not lose the column.
    EXPECT_EQ(walk(at(7), {rowDown, rowDown, rowUp}).head.value, 11U);
    EXPECT_EQ(walk(at(3), {pageDown, pageUp}).head.value, 3U);
    EXPECT_EQ(walk(at(5), {pageDown, pageDown, pageDown}).head, text.end());
    EXPECT_EQ(walk(at(6), {rowUp, rowUp}).head.value, 0U);
    EXPECT_EQ(walk(at(6), {rowUp, rowUp, rowDown}).head.value, 6U);
    // The end of a row is not the start of the next one.
    EXPECT_EQ(walk(at(5), {rowEnd}).head.value, 8U);
    EXPECT_EQ(walk(at(5), {rowEnd, rowEnd, rowStart}).head.value, 4U);
    EXPECT_EQ(walk(at(5), {rowEnd, rowDown}).head.value, 12U);
    EXPECT_EQ(walk(at(5), {rowEnd, rowDown}).affinity, CaretAffinity::upstream);
    EXPECT_FALSE(walk(at(7), {rowDown, rowStart}).goal);
    // A selection is left from its upper or lower edge, or grows from its head.
    const Caret selection(Utf8Offset(9), Utf8Offset(6));
    EXPECT_EQ(walk(selection, {rowDown}).head.value, 13U);
    EXPECT_EQ(walk(selection, {rowUp}).head.value, 2U);
    EXPECT_EQ(walk(selection, {rowDown}, true).range(), (Utf8Range{Utf8Offset(9), Utf8Offset(10)}));
}

TEST(BracketMatcher, LooksWithinItsLimitAndItsKindOfText)
{
    const std::string text = "( \")\" [ ) ] 「x」";
    const TextSnapshot snapshot(text);
    BracketRules rules;
    rules.pairs.push_back({U'「', U'」'});
    const auto closeOf = [&](std::size_t open) {
        const auto match = BracketMatcher(snapshot, rules).at(Utf8Offset(open));
        return match ? match->close.start.value : std::string::npos;
    };
    EXPECT_EQ(closeOf(0), 3U);
    EXPECT_EQ(closeOf(6), 10U);  // past a bracket of another kind
    EXPECT_EQ(closeOf(12), 16U);
    rules.isSkipped = [](Utf8Offset at) { return at.value == 3; };
    EXPECT_EQ(closeOf(0), 8U);
    EXPECT_EQ(closeOf(3), std::string::npos);
    EXPECT_FALSE(BracketMatcher(snapshot, rules).at(Utf8Offset(2)));

    for (const std::size_t distance : {99U, 100U}) {
        BracketRules near;
        near.limit = 100;
        const TextSnapshot apart("(" + std::string(distance, ' ') + ")");
        const bool found = distance == 99;
        const BracketMatcher matcher(apart, near);
        EXPECT_EQ(matcher.at({}).has_value(), found);
        EXPECT_EQ(matcher.at(apart.end()).has_value(), found);
        EXPECT_EQ(matcher.enclosing({Utf8Offset(1), Utf8Offset(1)}).has_value(), found);
        EXPECT_TRUE(matcher.enclosing({Utf8Offset(50), Utf8Offset(51)}));
    }
}

}  // namespace
}  // namespace penmark
