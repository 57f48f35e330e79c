// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/ColorScheme.h"

#include <gtest/gtest.h>

namespace penmark {
namespace {

TEST(ColorSchemeTest, CanBeReadOnEveryBackground)
{
    EXPECT_NEAR(contrast(Rgb(0x000000), Rgb(0xFFFFFF)), 21, 1e-9);
    EXPECT_NEAR(contrast(Rgb(0x777777), Rgb(0xFFFFFF)), 4.478, 0.001);
    for (const ColorScheme* scheme : {&lightColorScheme(), &darkColorScheme()}) {
        const Rgb backgrounds[] = {scheme->background,        scheme->currentLine, scheme->selection,
                                   scheme->inactiveSelection, scheme->findMark,    scheme->bracketMatch};
        for (std::size_t i = 0; i < std::size(backgrounds); ++i) {
            SCOPED_TRACE(i);
            EXPECT_GE(contrast(scheme->text, backgrounds[i]), 4.5);
            for (std::size_t kind = 0; kind < tokenKindCount; ++kind)
                EXPECT_GE(contrast(scheme->tokens[kind].color, backgrounds[i]), 4.5) << "token kind " << kind;
        }
        for (const Rgb number : {scheme->lineNumber, scheme->currentLineNumber, scheme->foldMark})
            EXPECT_GE(contrast(number, scheme->margin), 4.5);
        EXPECT_GE(contrast(scheme->annotation, scheme->background), 4.5);
        EXPECT_GE(contrast(scheme->annotation, scheme->currentLine), 4.5);
    }
}

}  // namespace
}  // namespace penmark
