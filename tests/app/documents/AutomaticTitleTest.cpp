// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/AutomaticTitle.h"

#include "text/TextSnapshot.h"

#include <string>

#include <gtest/gtest.h>

namespace penmark {
namespace {

TEST(AutomaticTitleTest, IsTheFirstLineThatSaysSomething)
{
    const std::string sixty = std::string(58, 'a') + "éb";
    const struct {
        std::string text, title;
    } cases[] = {
        {"", ""},
        {" \t\r\n\n", ""},
        {"Letter", "Letter"},
        {"\n\r\n  Letter \t\nMore", "Letter"},
        {"one\rtwo", "one"},
        {"## Heading\ntext", "Heading"},
        {"- item", "item"},
        {"> quoted", "quoted"},
        {"// comment", "comment"},
        {"#include <a>", "#include <a>"},
        {"-1 degrees", "-1 degrees"},
        {"-----\nTitle\n=====", "Title"},
        {"{}\n();\nmain", "main"},
        {"Größe", "Größe"},
        {"日本", "日本"},
        {"a\tb\x01"
         "c",
         "a b c"},
        {sixty, sixty},
        {sixty + "c", sixty + "…"},
        {std::string(70, 'w') + " x", std::string(60, 'w') + "…"},
        {std::string(40, 'w') + " " + std::string(30, 'v'), std::string(40, 'w') + "…"},
        {"ab " + std::string(70, 'v'), "ab " + std::string(57, 'v') + "…"},
        {std::string(4'000, '\n') + "too far", ""},
        {std::string(3'999, '\n') + "é", ""},  // half a character is none
        {std::string(3'998, '\n') + "é", "é"},
    };
    for (const auto& [text, title] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(automaticTitle(TextSnapshot(text)), title);
    }
}

}  // namespace
}  // namespace penmark
