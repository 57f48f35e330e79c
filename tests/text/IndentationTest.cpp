// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/Indentation.h"

#include "text/TextSnapshot.h"

#include <gtest/gtest.h>

namespace penmark {
namespace {

TEST(Indentation, IsToldByTheText)
{
    const auto spaces = [](std::size_t width) { return IndentationStyle{false, width}; };
    struct Case {
        const char* what;
        std::string text;
        std::optional<IndentationStyle> expected;
    };
    for (const Case& c : {
             Case{"nothing", "", std::nullopt},
             Case{"no line is indented", "a\nb\n\nc\n", std::nullopt},
             Case{"tabs", "a {\n\tb\n\t\tc\n}\n", IndentationStyle{true, std::nullopt}},
             Case{"CR LF", "a {\r\n  b {\r\n    c\r\n  }\r\n}\r\n", spaces(2)},
             Case{"4 in spite of one line of 2", "a\n    b\n        c\n  d\na\n    b\n", spaces(4)},
             Case{"comments", "/*\n * one\n * two\n */\nint a() {\n    b;\n}\n/*\n * x\n */\n", spaces(4)},
             Case{"aligned arguments", "f(){\n  int x = call(a,\n               b,\n               c);\n  y;\n}\n",
                  spaces(2)},
             Case{"a continued expression", "if x:\n   a = b +\n        c\n   d\n", spaces(3)},
             Case{"JSON", "{\n  \"a\": [\n    1,\n    2\n  ],\n  \"b\": {\n    \"c\": 3\n  }\n}\n", spaces(2)},
             Case{"a list only", "# Title\n\n- one\n  more\n- two\n   - deeper\n     text\n1. x\n   y\n", std::nullopt},
             Case{"tabs with a few aligned lines", "a {\n\tb\n\tc\n  x\n}\n", IndentationStyle{true, std::nullopt}},
         })
        EXPECT_EQ(detectIndentation(TextSnapshot(c.text)), c.expected) << c.what;

    // What stands behind the limits is not read.
    std::string lines;
    for (int i = 0; i < 10'000; ++i)
        lines += "a\n";
    EXPECT_EQ(detectIndentation(TextSnapshot(lines + "a\n    b\n")), std::nullopt);
    EXPECT_EQ(detectIndentation(TextSnapshot(std::string(1'000'000, 'x') + "\na\n    b\n")), std::nullopt);
}

TEST(Indentation, ColumnsAndPlaces)
{
    struct Case {
        std::string text;
        std::vector<std::size_t> columns;  // behind each character, tab stops every 4
    };
    for (const Case& c : {
             Case{"a\tb\t\tc", {1, 4, 5, 8, 12, 13}},
             Case{"中a\t文", {2, 3, 4, 6}},
             Case{"e\u0301x\u200db", {1, 1, 2, 2, 3}},
             Case{"😀\u1112\u1161\u11abﾊ", {2, 4, 4, 4, 5}},
         }) {
        SCOPED_TRACE(c.text);
        const TextSnapshot text("line\n" + c.text + "\nmore");
        const TextLine line = text.line(LineNumber(1));
        TextReader reader(text, line.start);
        std::size_t previous = 0;
        for (const std::size_t column : c.columns) {
            const Utf8Offset start = reader.position();
            reader.next();
            EXPECT_EQ(columnAfter(text, {line.start, reader.position()}, 4), column);
            EXPECT_EQ(columnAfter(text, {start, reader.position()}, 4, previous), column);
            for (std::size_t within = previous; within < column; ++within)
                EXPECT_EQ(placeAtColumn(text, line, within, 4), (ColumnPlace{start, previous}));
            previous = column;
        }
        EXPECT_EQ(reader.position(), line.end);
        EXPECT_EQ(placeAtColumn(text, line, 1000, 4), (ColumnPlace{line.end, previous}));
    }
}

TEST(Indentation, OfALine)
{
    const TextSnapshot text(std::string_view(" \t x \n\t \r\n\nend"));
    const std::size_t ends[] = {3, 8, 10, 11};
    for (std::size_t i = 0; i < text.lineCount(); ++i) {
        const TextLine line = text.line(LineNumber(i));
        EXPECT_EQ(indentationOf(text, line.start), (Utf8Range{line.start, Utf8Offset(ends[i])})) << i;
    }
}

}  // namespace
}  // namespace penmark
