// SPDX-License-Identifier: GPL-3.0-or-later
#include "CpuTime.h"
#include "MarkedText.h"
#include "text/Characters.h"
#include "text/commands/Clipboard.h"
#include "text/commands/Comments.h"
#include "text/commands/Deleting.h"
#include "text/commands/Indent.h"
#include "text/commands/LetterCase.h"
#include "text/commands/LineOrder.h"
#include "text/commands/Lines.h"
#include "text/commands/Occurrences.h"
#include "text/commands/Typing.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace penmark::test {

namespace {

using namespace std::string_literals;

const std::vector<std::string> fragments{
    "a",      "B",  "ß",    "é",      "e\u0301", "\u0301", "字",   "ไทย",  "กำ",  "🇩🇪", "🇩",    "👩‍💻",
    "\u200D", "💻",  "가",   "\u1100", "\u1161",  "क्षि",    "İ",    "ﬁ",    "1",   "0",  "- ",   "2) ",
    "1. ",    "> ", "[ ] ", "(",      "{",       "}",      "//",   "ab",   " ",   "  ", "    ", "\t",
    "\t",     "\n", "\n",   "\n",     "\r",      "\r",     "\r\n", "\r\n", "foo", "\0"s};
const std::array<std::string, 3> lineEnds{"\n", "\r\n", "\r"};

class Randomness {
public:
    explicit Randomness(unsigned seed) : engine_(seed) {}

    std::size_t below(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine_); }

    /// Put together from the middle outwards, so that it is cut into many pieces.
    TextSnapshot text()
    {
        TextSnapshot text;
        for (std::size_t left = below(300); left > 0; --left) {
            const Utf8Offset at = text.characterStart(Utf8Offset(below(text.end().value + 1)));
            text = text.apply(TextEdit({at, at}, fragments[below(fragments.size())]));
        }
        return text;
    }

    CaretSet carets(const TextSnapshot& text)
    {
        std::vector<Caret> carets(1 + below(50));
        for (Caret& caret : carets) {
            caret = Caret(place(text));
            if (below(3) == 0)
                caret.head = place(text);
            else if (below(2) == 0)
                caret.head = nextGrapheme(text, caret.anchor);
        }
        const std::size_t main = below(carets.size());
        return {std::move(carets), main};
    }

    EditOptions options()
    {
        EditOptions options;
        options.indentWithTabs = below(2) == 0;
        options.indentWidth = 1 + below(4);
        options.tabWidth = 1 + below(8);
        options.lineEnd = lineEnds[below(3)];
        options.lineComment = below(2) == 0 ? "//" : "";
        options.blockCommentStart = "(";
        options.blockCommentEnd = "}";
        options.markdown = below(2) == 0;
        options.overtype = below(4) == 0;
        return options;
    }

private:
    Utf8Offset place(const TextSnapshot& text)
    {
        return graphemeStart(text, text.characterStart(Utf8Offset(below(text.end().value + 1))));
    }

    std::mt19937 engine_;
};

std::vector<std::string> linesOf(const TextSnapshot& text)
{
    std::vector<std::string> lines;
    for (LineNumber number; number.value < text.lineCount(); ++number)
        lines.push_back(text.text(text.line(number).content()));
    return lines;
}

std::vector<std::string> sortedLinesOf(const TextSnapshot& text)
{
    std::vector<std::string> lines = linesOf(text);
    std::sort(lines.begin(), lines.end());
    return lines;
}

std::string joined(const std::vector<std::string>& lines, const std::string& end)
{
    std::string text;
    for (const std::string& line : lines)
        text += (&line == lines.data() ? "" : end) + line;
    return text;
}

/// Calls with a random text, carets and options again and again.
template <class Body>
void forRandomTexts(Body body)
{
    for (unsigned seed = 0; seed < 400 && !testing::Test::HasFatalFailure(); ++seed) {
        Randomness random(seed);
        const TextSnapshot text = random.text();
        const CaretSet carets = random.carets(text);
        const EditOptions options = random.options();
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + writeMarks(text, carets));
        body(text, carets, options, random);
    }
}

}  // namespace

TEST(RandomCommands, GiveEditsThatFitAndCaretsBetweenCharacters)
{
    forRandomTexts(
        [](const TextSnapshot& text, const CaretSet& carets, const EditOptions& options, Randomness& random) {
            const std::string typed = fragments[random.below(fragments.size())];
            const commands::ClipboardText copied = commands::copy(text, random.carets(text), options);
            const bool keeps = random.below(2) == 0;
            const std::vector<std::pair<const char*, std::function<EditResult()>>> all{
                {"type", [&] { return commands::typeText(text, carets, typed, options); }},
                {"newline", [&] { return commands::insertNewline(text, carets, options); }},
                {"surround", [&] { return commands::surround(text, carets, "<", typed); }},
                {"transpose", [&] { return commands::transpose(text, carets); }},
                {"backspace", [&] { return commands::deleteBackward(text, carets, options); }},
                {"delete", [&] { return commands::deleteForward(text, carets); }},
                {"word left", [&] { return commands::deleteWordLeft(text, carets); }},
                {"word right", [&] { return commands::deleteWordRight(text, carets); }},
                {"to start", [&] { return commands::deleteToLineStart(text, carets); }},
                {"to end", [&] { return commands::deleteToLineEnd(text, carets); }},
                {"delete lines", [&] { return commands::deleteLines(text, carets); }},
                {"duplicate", [&] { return commands::duplicate(text, carets, options); }},
                {"join", [&] { return commands::joinLines(text, carets); }},
                {"below", [&] { return commands::insertLineBelow(text, carets, options); }},
                {"above", [&] { return commands::insertLineAbove(text, carets, options); }},
                {"unique", [&] { return commands::uniqueLines(text, carets); }},
                {"upper", [&] { return commands::upperCase(text, carets); }},
                {"lower", [&] { return commands::lowerCase(text, carets); }},
                {"title", [&] { return commands::titleCase(text, carets); }},
                {"swap", [&] { return commands::swapCase(text, carets); }},
                {"indent", [&] { return commands::indentLines(text, carets, options); }},
                {"outdent", [&] { return commands::outdentLines(text, carets, options); }},
                {"tab", [&] { return commands::tabKey(text, carets, options); }},
                {"back tab", [&] { return commands::backTabKey(text, carets, options); }},
                {"convert", [&] { return commands::convertIndentation(text, carets, keeps, options); }},
                {"comment", [&] { return commands::toggleComment(text, carets, options); }},
                {"cut", [&] { return commands::cut(text, carets); }},
                {"paste", [&] { return commands::paste(text, carets, copied, options, keeps); }},
                {"replace", [&] { return commands::replaceAll(text, carets, typed, "x"); }}};
            for (const auto& [name, command] : all) {
                SCOPED_TRACE(name);
                checkResult(text, command());
            }
        });
}

TEST(RandomCommands, LineCommandsKeepTheLines)
{
    forRandomTexts([](const TextSnapshot& text, const CaretSet& carets, const EditOptions& options, Randomness&) {
        const std::vector<std::string> before = sortedLinesOf(text);
        for (const EditResult& result : {commands::moveLinesUp(text, carets), commands::moveLinesDown(text, carets),
                                         commands::sortLines(text, carets), commands::reverseLines(text, carets)}) {
            checkResult(text, result);
            EXPECT_EQ(sortedLinesOf(text.apply(result.edit)), before);
        }
        const EditResult trimmed = commands::trimTrailingBlanks(text, CaretSet());
        checkResult(text, trimmed);
        std::vector<std::string> expected = linesOf(text);
        for (std::string& line : expected)
            line.erase(line.find_last_not_of(" \t") + 1);
        EXPECT_EQ(linesOf(text.apply(trimmed.edit)), expected);

        const EditResult converted = commands::convertLineEnds(text, carets, options.lineEnd);
        checkResult(text, converted);
        EXPECT_EQ(text.apply(converted.edit).text(), joined(linesOf(text), options.lineEnd));
        EXPECT_EQ(converted.carets.size(), carets.size());
    });
}

// A selection within a line must go on holding its text, and a caret its place. One of a line end may lose it to the
// end of the text.
TEST(RandomCommands, MovedLinesTakeTheirCaretsAlong)
{
    const auto describe = [](const TextSnapshot& in, const CaretSet& set) {
        std::multiset<std::string> lines;
        for (const Caret& caret : set) {
            const TextLine line = in.lineContaining(caret.start());
            if (caret.end() <= line.end)
                lines.insert(in.text({line.start, caret.start()}) + "|" + in.text(caret.range()) + "|" +
                             in.text({caret.end(), line.end}));
        }
        return lines;
    };
    forRandomTexts([&](const TextSnapshot& text, const CaretSet& carets, const EditOptions&, Randomness&) {
        const std::multiset<std::string> before = describe(text, carets);
        for (const EditResult& result : {commands::moveLinesUp(text, carets), commands::moveLinesDown(text, carets)}) {
            const std::multiset<std::string> after = describe(text.apply(result.edit), result.carets);
            EXPECT_TRUE(std::includes(after.begin(), after.end(), before.begin(), before.end()));
        }
    });
}

TEST(RandomCommands, DoWhatAStringModelDoes)
{
    forRandomTexts([](const TextSnapshot& text, const CaretSet& carets, EditOptions options, Randomness& random) {
        options.overtype = false;
        options.closeBrackets = false;
        const auto model = [&](auto with) {
            std::string expected = text.text();
            for (std::size_t i = carets.size(); i-- > 0;)
                expected.replace(carets[i].start().value, carets[i].range().size(), with(i));
            return expected;
        };
        const auto check = [&](const EditResult& result, const std::string& expected) {
            EXPECT_EQ(text.apply(result.edit).text(), expected);
        };
        check(commands::typeText(text, carets, "x", options), model([](std::size_t) { return "x"s; }));
        check(commands::surround(text, carets, "<", ">"),
              model([&](std::size_t i) { return "<" + text.text(carets[i].range()) + ">"; }));
        commands::ClipboardText parts;
        for (std::size_t i = 0; i < carets.size(); ++i) {
            const Utf8Offset start(parts.text.size());
            parts.text += std::to_string(i);
            parts.parts.push_back({start, Utf8Offset(parts.text.size())});
        }
        check(commands::paste(text, carets, parts, options), model([](std::size_t i) { return std::to_string(i); }));

        options.indentWithTabs = false;
        const EditResult indented = commands::indentLines(text, carets, options);
        const TextSnapshot after = text.apply(indented.edit);
        EXPECT_TRUE(after.apply(commands::outdentLines(after, indented.carets, options).edit) == text);

        options.lineComment = "%";
        const EditResult commented = commands::toggleComment(text, carets, options);
        const TextSnapshot withMarks = text.apply(commented.edit);
        EXPECT_TRUE(withMarks.apply(commands::toggleComment(withMarks, commented.carets, options).edit) == text);

        const std::string literal = random.below(2) == 0 ? "a" : "foo";
        for (const Utf8Range& match : commands::findAll(text, literal, {Utf8Offset(0), text.end()}))
            EXPECT_EQ(text.text(match), literal);
    });
}

// Matches that lie across pieces must be found as those within one.
TEST(RandomCommands, SearchFindsWhatLiesAcrossPieces)
{
    for (unsigned seed = 0; seed < 200; ++seed) {
        Randomness random(seed);
        TextSnapshot text;
        std::string plain;
        for (std::size_t left = random.below(200); left > 0; --left) {
            const std::size_t at = random.below(plain.size() + 1);
            const std::string piece(1 + random.below(3), random.below(3) == 0 ? 'b' : 'a');
            plain.insert(at, piece);
            text = text.apply(TextEdit({Utf8Offset(at), Utf8Offset(at)}, piece));
        }
        for (const std::string literal : {"a", "ab", "aba", "aaaaab"}) {
            std::vector<Utf8Range> expected;
            for (std::size_t at = plain.find(literal); at != std::string::npos;
                 at = plain.find(literal, at + literal.size()))
                expected.push_back({Utf8Offset(at), Utf8Offset(at + literal.size())});
            EXPECT_EQ(commands::findAll(text, literal, {Utf8Offset(0), text.end()}), expected);
        }
    }
}

// Carets in one word of some megabytes, which none of them reads for itself.
TEST(RandomCommands, ThousandsOfCaretsShareALongWord)
{
    const std::string word(3'000'000, 'a');
    const TextSnapshot text(word + " b");
    std::vector<Caret> each;
    for (std::size_t index = 0; index < 3'000; ++index)
        each.emplace_back(Utf8Offset(index * 1'000 + 1));
    const CaretSet carets(each, 7);
    const auto begin = cpuTime();
    EXPECT_EQ(text.apply(commands::deleteWordLeft(text, carets).edit).end().value, 1'001U);
    EXPECT_EQ(text.apply(commands::deleteWordRight(text, carets).edit).text(), "ab");
    const EditResult upper = commands::upperCase(text, carets);
    EXPECT_EQ(text.apply(upper.edit).text(), std::string(word.size(), 'A') + " b");
    EXPECT_EQ(upper.carets, carets);
    EXPECT_EQ(commands::selectNextOccurrence(text, carets), CaretSet(Caret(Utf8Offset(0), Utf8Offset(word.size()))));
    const std::chrono::duration<double> took = cpuTime() - begin;
    EXPECT_LT(took.count(), granted(0.5));
}

// A selection of megabytes is looked for as well, in about the time that reading the text takes.
TEST(RandomCommands, SearchFindsLongTexts)
{
    Randomness random(1);
    std::string plain;
    while (plain.size() < 8'000'000)
        plain += std::to_string(random.below(1'000'000));
    plain.replace(plain.size() - 2'500'000, 2'500'000, plain, 1'000, 2'500'000);
    const TextSnapshot text{std::string(plain)};
    for (const std::size_t size : {4'095U, 4'096U, 40'000U, 2'000'000U}) {
        for (const std::size_t start : {std::size_t(1'000), std::size_t(3'333), plain.size() - size}) {
            const std::string literal = plain.substr(start, size);
            std::vector<Utf8Range> expected;
            // Not std::string::find: sanitizers look at all of a literal each time that it is compared.
            const std::boyer_moore_horspool_searcher searcher(literal.begin(), literal.end());
            for (auto at = std::search(plain.begin(), plain.end(), searcher); at != plain.end();
                 at = std::search(at + static_cast<std::ptrdiff_t>(size), plain.end(), searcher)) {
                const Utf8Offset from(static_cast<std::size_t>(at - plain.begin()));
                expected.push_back({from, from + size});
            }
            const auto begin = cpuTime();
            EXPECT_EQ(commands::findAll(text, literal, {Utf8Offset(0), text.end()}), expected);
            EXPECT_EQ(commands::findAll(text, literal, {expected[0].start, text.end()}, 1).size(), 1U);
            const std::chrono::duration<double> took = cpuTime() - begin;
            EXPECT_LT(took.count(), granted(0.1));
        }
    }
}

}  // namespace penmark::test
