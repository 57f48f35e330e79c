// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/Tokenizer.h"

#include "CpuTime.h"

#include <chrono>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace penmark {
namespace {

using L = EditorLanguage;

char letter(TokenKind kind)
{
    constexpr std::string_view letters = "ktcnse/#fv@pTKSHiB`Lq-";
    static_assert(letters.size() == tokenKindCount);
    return letters[static_cast<std::size_t>(kind)];
}

// Each line of the text with the kinds of its bytes below, as letters.
std::string dump(L language, const std::string& text)
{
    Tokenizer tokenizer(language);
    LineState state;
    std::vector<Token> tokens;
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        state = tokenizer.tokenize(line, state, tokens);
        std::string kinds(line.size(), ' ');
        for (const Token& token : tokens)
            kinds.replace(token.start, token.length, token.length, letter(token.kind));
        while (kinds.ends_with(' '))
            kinds.pop_back();
        result += line + "\n" + kinds + "\n";
    }
    return result;
}

// A text with the kinds of its bytes below each line, as dump() shows them.
struct Example {
    L language;
    std::string_view linesAndKinds;
};

TEST(TokenizerTest, ColoursOrdinaryCode)
{
    constexpr Example examples[] = {
#include "text/highlight/TokenizerExamples.inc"
    };
    for (const Example& example : examples) {
        SCOPED_TRACE(name(example.language));
        std::istringstream lines{std::string(example.linesAndKinds.substr(1))};
        std::string text;
        std::string expected;
        for (std::string line, kinds; std::getline(lines, line) && std::getline(lines, kinds);) {
            text += line + "\n";
            expected += line + "\n" + kinds + "\n";
        }
        EXPECT_EQ(dump(example.language, text), expected);
    }
}

// Fragments that open, close and look like constructs of any language, in random order: whatever comes, tokens ascend,
// stay inside of the line and begin and end at characters, and a line means the same when it is read again.
TEST(TokenizerTest, KeepsTokensInOrderWhateverStandsThere)
{
    constexpr std::string_view fragments[] = {
        "\"",   "'",   "`",     "\"\"\"", "/*",      "*/",   "//",   "#",   "\\",        "\\(",      "${",
        "$(",   "{",   "}",     "(",      ")",       "[",    "]",    "<",   "</script>", "<script>", "<style>",
        "<!--", "-->", "<<EOF", "EOF",    "R\"x(",   ")x\"", "r#\"", "\"#", "$a$",       "é",        "𝄞",
        " ",    "\t",  "name",  "if",     "0x1.5e+", ":",    ";",    "- ",  "|",         "~~~",      "```js",
        "**",   "_",   "f\"",   "&amp;",  "@a",      "=",    "%",    "!"};
    std::mt19937 random(11);
    std::uniform_int_distribution<std::size_t> pick(0, std::size(fragments) - 1);
    for (const L language : editorLanguages()) {
        SCOPED_TRACE(name(language));
        Tokenizer tokenizer(language);
        LineState state;
        std::vector<Token> tokens;
        std::vector<Token> again;
        for (int i = 0; i < 4000; ++i) {
            std::string line;
            for (std::size_t parts = random() % 12; parts > 0; --parts)
                line += fragments[pick(random)];
            const LineState before = state;
            state = tokenizer.tokenize(line, before, tokens);
            SCOPED_TRACE(line);
            ASSERT_EQ(tokenizer.tokenize(line, before, again), state);
            ASSERT_EQ(again, tokens);
            std::uint32_t last = 0;
            for (const Token& token : tokens) {
                ASSERT_GE(token.start, last);
                ASSERT_GT(token.length, 0U);
                ASSERT_LE(token.end(), line.size());
                ASSERT_NE(line[token.start] & 0xC0, 0x80);
                ASSERT_TRUE(token.end() == line.size() || (line[token.end()] & 0xC0) != 0x80);
                last = token.end();
            }
        }
    }
}

// A line of 200 KB made of one fragment over and over takes milliseconds; looking ahead to its end at each
// fragment would take seconds.
TEST(TokenizerTest, TakesLinearTimeOnHostileLines)
{
    constexpr std::string_view fragments[] = {"[",     "[a](",       "`a``", "**a",  "_a ",    "*a _b ~~",    "/[",
                                              "= /",   "<a ",        "<!--", "<<'",  "<<\"a",  "${a",         "$(",
                                              "\"",    "{a:",        "a: ",  "a#\"", "#[",     "\\(",         "\"#\\#",
                                              "R\"a(", ")a ",        "$a",   "$a$",  "'a",     "/*",          "*/",
                                              "(((",   "&a",         "a;",   "a{",   "\"a\" ", "<script></",  "\t",
                                              "#",     "<script>a<", "- - ", "f\"{", "@a.",    "`````a```b``"};
    for (const L language : editorLanguages()) {
        Tokenizer tokenizer(language);
        std::vector<Token> tokens;
        for (const std::string_view fragment : fragments) {
            for (const std::string_view start : {"", " "}) {
                std::string line(start);
                for (int i = 0; start.starts_with(' ') && i < 10'000; ++i)
                    line += ' ';
                while (line.size() < 60'000)
                    line += fragment;
                const auto began = cpuTime();
                const LineState state = tokenizer.tokenize(line, {}, tokens);
                tokenizer.tokenize(line, state, tokens);
                const std::chrono::duration<double> took = cpuTime() - began;
                EXPECT_LT(took.count(), granted(0.05)) << name(language) << ": " << start << fragment;
            }
        }
    }
}

TEST(EditorLanguageTest, IsGuessedFromTheNameThenFromTheFirstLine)
{
    const struct {
        std::string_view file;
        std::string_view firstLine;
        L expected;
    } cases[] = {
        {"/a.py/b.RS", "#!/bin/sh", L::rust},
        {"README", "", L::markdown},
        {"/home/x/.bashrc", "", L::shell},
        {"a.tar.hpp", "", L::c},
        {"tool", "#!/usr/bin/env -S LANG=C python3.11 -u", L::python},
        {"tool", "#!/bin/sh", L::shell},
        {"tool", "#!/opt/unknown", L::plainText},
        {"tool", "#!", L::plainText},
        {"tool", "<!DOCTYPE HTML>", L::html},
        {"notes.", "", L::plainText},
        {"", "", L::plainText},
        {"a.py pyw", "", L::plainText},
    };
    for (const auto& each : cases)
        EXPECT_EQ(guessLanguage(each.file, each.firstLine), each.expected) << each.file << " " << each.firstLine;
    for (const L language : editorLanguages())
        EXPECT_EQ(languageNamed(name(language)), language);
    EXPECT_EQ(name(L::c), "C / C++");
    EXPECT_EQ(languageNamed("c / c++"), std::nullopt);
    EXPECT_EQ(languageOfFence("C++"), L::c);
    EXPECT_EQ(languageOfFence("TypeScript"), L::javaScript);
    EXPECT_EQ(languageOfFence("nothing"), std::nullopt);
}

}  // namespace
}  // namespace penmark
