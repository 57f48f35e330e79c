// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/Highlighter.h"

#include "CpuTime.h"
#include "text/TextEdit.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace penmark {
namespace {

using Lines = std::vector<std::vector<Token>>;

// Every line read from the top with a tokenizer of its own.
Lines fromScratch(const TextSnapshot& text, EditorLanguage language)
{
    Tokenizer tokenizer(language);
    LineState state;
    Lines lines(text.lineCount());
    for (std::size_t i = 0; i < lines.size(); ++i)
        state = tokenizer.tokenize(text.text(text.line(LineNumber(i)).content()), state, lines[i]);
    return lines;
}

std::vector<Token> tokensOf(Highlighter& highlighter, std::size_t line)
{
    std::vector<Token> tokens;
    highlighter.tokens(LineNumber(line), tokens);
    return tokens;
}

bool contains(const std::vector<LineRange>& ranges, std::size_t line)
{
    return std::any_of(ranges.begin(), ranges.end(), [&](LineRange range) { return range.contains(LineNumber(line)); });
}

// A view that paints some lines, edits at one or more places and works in slices of any size. In the end each painted
// line that was not reported since looks as if the text had been read from the top, and so do all when asked again.
TEST(HighlighterTest, AgreesWithReadingFromTheTopAfterAnyEdits)
{
    constexpr std::string_view fragments[] = {
        "/*", "*/",         "\"",         "`",         "${",     "}",      "x\n", "\n", "\r",   "\r\n", "//",
        "é ", "if (a) b\n", "<script>\n", "</script>", "\n\n\n", "\"\"\"", "'''", "{",  "<!--", "-->",  "```\n"};
    std::mt19937 random(5);
    for (const EditorLanguage language :
         {EditorLanguage::javaScript, EditorLanguage::html, EditorLanguage::python, EditorLanguage::markdown}) {
        SCOPED_TRACE(name(language));
        std::string start;
        for (int i = 0; i < 700; ++i)
            start += i % 97 == 0 ? "/* `\n" : i % 50 == 0 ? "*/ ` \"\"\"\n" : "let a = 1;\n";
        TextSnapshot text(start);
        Highlighter highlighter;
        highlighter.reset(text, language);
        std::vector<std::pair<bool, std::vector<Token>>> painted(text.lineCount());
        for (int round = 0; round < 600; ++round) {
            SCOPED_TRACE(round);
            TextEditBuilder builder;
            std::size_t at = 0;
            for (std::size_t places = 1 + random() % 3; places > 0; --places) {
                at += random() % (text.end().value + 1);
                if (at > text.end().value)
                    break;
                at = text.characterStart(Utf8Offset(at)).value;
                const std::size_t most = random() % 20 == 0 ? 900 : 4;
                const std::size_t end = std::max(
                    at, text.characterStart(Utf8Offset(std::min(at + random() % most, text.end().value))).value);
                std::string inserted;
                for (std::size_t parts = random() % 3; parts > 0; --parts)
                    inserted += fragments[random() % std::size(fragments)];
                builder.replace({Utf8Offset(at), Utf8Offset(end)}, inserted);
                at = end + 1;
            }
            const TextEdit edit = std::move(builder).build();
            if (edit.empty())
                continue;
            const std::size_t lastLine = text.lineAt(edit.spanBefore().end).value;
            const std::size_t linesBefore = text.lineCount();
            text = text.apply(edit);
            highlighter.update(edit, text);

            // The view keeps what it painted outside of the edited lines.
            const std::size_t first = text.lineAt(edit.spanAfter().start).value;
            std::vector<std::pair<bool, std::vector<Token>>> next(text.lineCount());
            for (std::size_t line = 0; line + 1 < std::min(first, painted.size()); ++line)
                next[line] = painted[line];
            for (std::size_t line = lastLine + 2; line < linesBefore; ++line)
                next.at(line + text.lineCount() - linesBefore) = painted[line];
            painted = std::move(next);

            const std::size_t top = random() % text.lineCount();
            for (std::size_t line = top; line < std::min(top + 40, text.lineCount()); ++line)
                painted[line] = {true, tokensOf(highlighter, line)};
            const auto forget = [&](const Highlighter::Work& work) {
                for (std::size_t line = 0; line < painted.size(); ++line)
                    painted[line].first = painted[line].first && !contains(work.changed, line);
            };
            for (std::size_t slices = random() % 3; slices > 0; --slices)
                forget(highlighter.work(random() % 3000));
            if (round % 10 != 0)
                continue;
            Highlighter::Work work;
            do {
                work = highlighter.work(1 + random() % 5000);
                forget(work);
            } while (work.more);
            const Lines expected = fromScratch(text, language);
            std::vector<Token> tokens;
            for (std::size_t line = 0; line < expected.size(); ++line) {
                SCOPED_TRACE(line);
                ASSERT_EQ(highlighter.tokens(LineNumber(line), tokens), Highlighter::Certainty::exact);
                ASSERT_EQ(tokens, expected[line]);
                if (painted[line].first) {
                    ASSERT_EQ(painted[line].second, expected[line]) << "painted differently and not reported";
                }
            }
        }
    }
}

TEST(HighlighterTest, ColoursVisibleLinesOfAHugeTextAtOnce)
{
    std::string content;
    for (int i = 0; i < 1'000'000; ++i)
        content += "int value = 1;\n";
    TextSnapshot text(std::move(content));
    Highlighter highlighter;
    highlighter.reset(text, EditorLanguage::c);
    std::vector<Token> tokens;
    EXPECT_EQ(highlighter.tokens(LineNumber(900'000), tokens), Highlighter::Certainty::provisional);
    EXPECT_EQ(tokens.size(), 2U);
    std::vector<LineRange> changed;
    while (true) {
        const Highlighter::Work work =
            highlighter.work(std::chrono::steady_clock::now() + std::chrono::milliseconds(1));
        changed.insert(changed.end(), work.changed.begin(), work.changed.end());
        if (!work.more)
            break;
    }
    EXPECT_TRUE(changed.empty()) << "the guess was right";
    EXPECT_LT(highlighter.bytes(), 2'600'000U);

    // A comment opened at the start: seen at once nearby, and below when work gets there.
    const TextEdit open({Utf8Offset(0), Utf8Offset(0)}, "/*");
    text = text.apply(open);
    const auto began = cpuTime();
    highlighter.update(open, text);
    EXPECT_EQ(highlighter.tokens(LineNumber(30), tokens), Highlighter::Certainty::exact);
    EXPECT_EQ(tokens, (std::vector<Token>{{0, 14, TokenKind::comment}}));
    EXPECT_EQ(highlighter.tokens(LineNumber(900'000), tokens), Highlighter::Certainty::provisional);
    EXPECT_EQ(tokens.size(), 2U) << "the colours stay until they are known to be wrong";
    const std::chrono::duration<double> took = cpuTime() - began;
    EXPECT_LT(took.count(), granted(0.002));
    changed.clear();
    while (true) {
        const Highlighter::Work work = highlighter.work(1'000'000);
        changed.insert(changed.end(), work.changed.begin(), work.changed.end());
        if (!work.more)
            break;
    }
    EXPECT_TRUE(contains(changed, 900'000));
    EXPECT_EQ(tokensOf(highlighter, 900'000).size(), 1U);
}

TEST(HighlighterTest, ReportsLinesThatWereShownOtherwise)
{
    std::string content = "/*\n";
    for (int i = 0; i < 1'000; ++i)
        content += "int a;\n";
    TextSnapshot text(content);
    Highlighter highlighter;
    highlighter.reset(text, EditorLanguage::c);
    const auto insert = [&](std::size_t line, std::string_view inserted) {
        const Utf8Offset at = text.lineStart(LineNumber(line));
        const TextEdit edit({at, at}, inserted);
        text = text.apply(edit);
        highlighter.update(edit, text);
    };
    const auto isComment = [&](std::size_t line) {
        const std::vector<Token> tokens = tokensOf(highlighter, line);
        return tokens.size() == 1 && tokens[0].kind == TokenKind::comment;
    };

    // A guess far below, an edit that changes it, and the truth at last.
    for (std::size_t line = 800; line < 820; ++line)
        EXPECT_FALSE(isComment(line));
    insert(810, "/*");
    EXPECT_TRUE(isComment(815));
    EXPECT_FALSE(isComment(805));
    Highlighter::Work work = highlighter.work(std::size_t{0});
    EXPECT_TRUE(work.more);
    EXPECT_TRUE(contains(work.changed, 815));
    EXPECT_FALSE(contains(work.changed, 805));
    work = highlighter.work(std::size_t{100'000});
    EXPECT_FALSE(work.more);
    EXPECT_TRUE(contains(work.changed, 805));
    EXPECT_FALSE(contains(work.changed, 815));

    // What was found out before an edit is reported where the lines are after it.
    insert(100, "*/");
    EXPECT_FALSE(isComment(120));
    insert(0, "\n\n");
    work = highlighter.work(std::size_t{100'000});
    for (const std::size_t line : {103U, 121U, 122U, 123U})
        EXPECT_TRUE(contains(work.changed, line)) << line;
}

// An edit of every second line, and before it is read again, one of every third.
TEST(HighlighterTest, ReadsHundredsOfThousandsOfEditedLinesOnce)
{
    constexpr std::size_t lines = 150'000;
    constexpr std::size_t lineBytes = 3;
    std::string content;
    for (std::size_t line = 0; line < lines; ++line)
        content += "12\n";
    TextSnapshot text(content);
    Highlighter highlighter;
    highlighter.reset(text, EditorLanguage::c);
    while (highlighter.work(std::size_t{1'000'000}).more) {}

    const auto begin = cpuTime();
    for (const std::size_t step : {2U, 3U}) {
        TextEditBuilder builder;
        for (std::size_t line = 0; line < lines; line += step)
            builder.replace({Utf8Offset(line * lineBytes), Utf8Offset(line * lineBytes + 2)}, step == 2 ? "/*" : "*/");
        const TextEdit edit = std::move(builder).build();
        text = text.apply(edit);
        highlighter.update(edit, text);
    }
    std::size_t calls = 0;
    while (highlighter.work(std::size_t{20'000}).more)
        ++calls;
    const std::chrono::duration<double> took = cpuTime() - begin;
    EXPECT_LT(calls, 2 * lines * lineBytes / 20'000);
    EXPECT_LT(took.count(), granted(1));
    EXPECT_TRUE(tokensOf(highlighter, 1)[0].kind == TokenKind::number);
    EXPECT_TRUE(tokensOf(highlighter, 5)[0].kind == TokenKind::comment);
    EXPECT_TRUE(tokensOf(highlighter, lines - 5)[0].kind == TokenKind::number);
    EXPECT_TRUE(tokensOf(highlighter, lines - 1)[0].kind == TokenKind::comment);
}

TEST(HighlighterTest, PassesTheStateOverLinesThatAreTooLong)
{
    const std::string fits(20'000, 'x');
    for (const std::string& longLine : {fits + "x", std::string(100'000, '*') + "/", std::string(30'000, '/')}) {
        Highlighter highlighter;
        highlighter.reset(TextSnapshot("/*\n" + longLine + "\r" + fits + "\r\n*/1"), EditorLanguage::c);
        while (highlighter.work(100).more) {}
        EXPECT_TRUE(tokensOf(highlighter, 1).empty());
        EXPECT_EQ(tokensOf(highlighter, 2), (std::vector<Token>{{0, 20'000, TokenKind::comment}}));
        EXPECT_EQ(tokensOf(highlighter, 3),
                  (std::vector<Token>{{0, 2, TokenKind::comment}, {2, 1, TokenKind::number}}));
    }
}

}  // namespace
}  // namespace penmark
