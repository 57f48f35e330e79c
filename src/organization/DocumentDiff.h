// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

class ComparedText;

/// A line of a comparison, ready to be shown.
struct DocumentDiffLine {
    enum class Kind : std::uint8_t {
        unchanged,
        removed,
        added,
        collapsed,  ///< stands for `hiddenLines` unchanged lines, the first of which has the line numbers given here
    };

    Kind kind = Kind::unchanged;
    /// Without its line end; more than 1,000 UTF-16 units are cut, and " …" stands for the rest. A collapsed line reads
    /// "12 unchanged lines".
    std::string text = {};
    std::size_t earlierLine = 0;  ///< number in the earlier text, from 1; 0 for an added line
    std::size_t currentLine = 0;  ///< number in the current text, from 1; 0 for a removed line
    std::size_t hiddenLines = 0;  ///< 0 unless collapsed
    /// Removed and added lines: their texts are the same, and only one of them has a carriage return before its line
    /// feed.
    bool differsInLineEndOnly = false;
    /// The changed words of `text`, ascending; empty if the whole line has changed.
    std::vector<Utf16Range> marks = {};

    friend bool operator==(const DocumentDiffLine&, const DocumentDiffLine&) = default;
};

/// Two texts of a document beside each other, as a user looks at them. It keeps what it needs of the texts. Threads:
/// any; copies share what never changes.
struct DocumentDiff {
    static constexpr std::string_view blocksNote = "Large changes are shown as removed and added blocks.";

    std::vector<DocumentDiffLine> lines;
    std::size_t removedLines = 0;
    std::size_t addedLines = 0;
    /// The texts were too large for a comparison line by line: all that is between what they have in common at both
    /// ends counts as removed and added.
    bool fellBackToBlocks = false;
    /// A text is longer than what is compared, so something may differ behind the last line.
    bool isIncomplete = false;

    bool hasChanges() const { return removedLines + addedLines > 0; }

    /// What to say about the lines above them; empty if there is nothing to say.
    std::string_view note() const { return fellBackToBlocks && hasChanges() ? blocksNote : std::string_view(); }

    /// The lines that a collapsed one stands for; none for another line.
    std::vector<DocumentDiffLine> unfolded(std::size_t index) const;

    std::shared_ptr<const ComparedText> currentText;  ///< what `unfolded` reads
};

/// Compares texts in valid UTF-8 line by line, where a line ends at a line feed, and keeps three unchanged lines around
/// each change. Whatever the texts, this takes a fraction of a second: beyond 200,000 UTF-16 units, 2,000 lines, 1,000
/// units in a line, or a product of 1,000,000 between the numbers of lines that are not common to both ends, changes
/// are shown as blocks, and nothing beyond 200,001 units is looked at. Throws Cancelled when stopped.
DocumentDiff compareTexts(std::string_view earlier, std::string_view current, const std::stop_token& stop = {});

}  // namespace penmark
