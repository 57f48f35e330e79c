// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/BracketMatcher.h"
#include "text/Caret.h"

#include <cstddef>
#include <vector>

namespace penmark {

class TextSnapshot;

/// Where carets go by the text alone. All carets move at once; those that meet become one. With `select` the anchors
/// stay; without, selections are given up, and a step by one character only goes to the selection's edge.
enum class Motion {
    previousGrapheme,
    nextGrapheme,
    previousWordStart,
    nextWordStart,
    nextWordEnd,
    lineStart,  ///< the first character that is not blank; from there, column 0
    lineEnd,
    previousParagraph,  ///< the start of a paragraph; blank lines separate them
    nextParagraph,      ///< the start of the next one, or the end of the text
    documentStart,
    documentEnd,
    matchingBracket,  ///< from outside of a bracket to the outside of the other one, from inside to the inside
};

/// Thousands of carets share the limit of the rules among them.
CaretSet moveCarets(const TextSnapshot& text, const CaretSet& carets, Motion motion, bool select,
                    const BracketRules& brackets = {});

/// Where the heads of the carets go, in the order of the carets.
std::vector<Utf8Offset> headsAfter(const TextSnapshot& text, const CaretSet& carets, Motion motion,
                                   const BracketRules& brackets = {});

/// What a selection grows to.
enum class SelectionUnit {
    word,      ///< of a bare caret; selections stay
    line,      ///< whole lines with their line ends; whole lines grow by the next one
    brackets,  ///< what stands between the brackets around it; if it is that already, the brackets too
    all,
};

CaretSet growSelections(const TextSnapshot& text, const CaretSet& carets, SelectionUnit unit,
                        const BracketRules& brackets = {});

/// The rows of a text as they are laid out, which only a view knows.
class VisualRows {
public:
    struct Place {
        Utf8Offset offset;
        CaretAffinity affinity = CaretAffinity::downstream;
    };
    struct Step {
        Place place;
        std::size_t rows = 0;  ///< how many rows away from where it began
    };

    virtual ~VisualRows() = default;

    /// Where a caret is drawn in its row, in the layout's unit.
    virtual double x(Place place) const = 0;
    /// The place nearest to `x` in the row so many rows below, or above if negative; as far as there are rows.
    virtual Step rowsBelow(Place from, std::ptrdiff_t rows, double x) const = 0;
    virtual Place rowStart(Place place) const = 0;
    virtual Place rowEnd(Place place) const = 0;
    /// Rows that one page moves by; at least 1.
    virtual std::size_t pageRows() const = 0;
};

/// Up and down keep the goal of a caret; beyond the first and last row they go to the start and end of the text.
enum class VisualMotion { rowUp, rowDown, pageUp, pageDown, rowStart, rowEnd };

CaretSet moveCarets(const TextSnapshot& text, const CaretSet& carets, VisualMotion motion, bool select,
                    const VisualRows& rows);

}  // namespace penmark
