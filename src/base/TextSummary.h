// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string_view>

namespace penmark {

/// What is counted of a stretch of UTF-8. Summaries of adjoining stretches add up, also where a CR LF or a line was
/// cut in two.
struct TextSummary {
    std::size_t bytes = 0;
    std::size_t utf16Units = 0;
    std::size_t lineFeeds = 0;        ///< all of them, those behind a CR too
    std::size_t carriageReturns = 0;  ///< all of them, those before an LF too
    std::size_t pairs = 0;            ///< CR LF
    bool startsWithLineFeed = false;
    bool endsWithCarriageReturn = false;

    /// Line ends: LF, CR LF and CR each count once.
    std::size_t lineEnds() const { return lineFeeds + carriageReturns - pairs; }

    friend bool operator==(const TextSummary&, const TextSummary&) = default;
    TextSummary& operator+=(const TextSummary& next);
    friend TextSummary operator+(TextSummary first, const TextSummary& second) { return first += second; }
};

/// Counts valid UTF-8, at several GB/s.
TextSummary summarize(std::string_view utf8) noexcept;

/// How often the byte stands in the text, at some ten GB/s.
std::size_t countByte(std::string_view text, char byte) noexcept;

/// UTF-16 code units of valid UTF-8, at several GB/s.
std::size_t utf16Length(std::string_view utf8) noexcept;

/// The byte at which the UTF-16 unit with this index begins; for the second unit of a surrogate pair, where the pair
/// begins. `utf8.size()` if there are no more units than that.
std::size_t byteOfUtf16Unit(std::string_view utf8, std::size_t unit) noexcept;

}  // namespace penmark
