// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"
#include "base/TextPosition.h"
#include "search/TextSearchError.h"
#include "search/TextSearchRule.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace penmark {

enum class TextMatchKind { exact, normalized, typo };

constexpr auto storedWords(TextMatchKind)
{
    using E = TextMatchKind;
    using Word = std::pair<E, std::string_view>;
    return std::array{Word{E::exact, "exact"}, Word{E::normalized, "normalized"}, Word{E::typo, "typo"}};
}

/// A place where a text matches, in both units.
struct TextMatch {
    Utf16Range range;
    Utf8Range bytes;
    TextMatchKind kind = TextMatchKind::exact;

    friend bool operator==(const TextMatch&, const TextMatch&) = default;
};

/// A rule made ready to be matched with texts. Immutable: any number of threads use one at the same time, each with a
/// Scratch of its own.
class TextMatcher {
public:
    static constexpr std::size_t queryLimit = 4'096;             ///< UTF-16 units
    static constexpr std::size_t normalizedLimit = 2'097'152;    ///< UTF-16 units of a text
    static constexpr std::chrono::milliseconds timeBudget{250};  ///< for one text
    static constexpr Utf8Range everywhere{Utf8Offset(0), Utf8Offset(std::string_view::npos)};

    /// Throws TextSearchError for a query that is empty, too long or no regular expression.
    explicit TextMatcher(TextSearchRule rule);
    ~TextMatcher();
    TextMatcher(TextMatcher&&) noexcept;
    TextMatcher& operator=(TextMatcher&&) noexcept;

    const TextSearchRule& rule() const;

    /// What a thread needs while it matches: its own compiled expression and buffers, which grow to the size of the
    /// largest text and are used again.
    class Scratch {
    public:
        Scratch();
        ~Scratch();
        Scratch(Scratch&&) noexcept;
        Scratch& operator=(Scratch&&) noexcept;

    private:
        friend class TextMatcher;
        struct Parts;
        std::unique_ptr<Parts> parts_;
    };

    /// Appends the matches of a text in valid UTF-8, at most `most` (1 at least): exact ones first, then the others,
    /// each in the order of the text; they do not overlap. An empty match of a regular expression is one.
    ///
    /// They lie in the range `within`, whose ends are borders of characters: what stands around it decides what is a
    /// word, the start of a line or something that an expression looks back at, and is part of no match. So the matches
    /// of a text can be had bit by bit, each time from the end of the last one on.
    ///
    /// Throws TextSearchError if the text is too large for this mode, or `timeBudget` if a regular expression or a
    /// search for words takes longer than `budget`: then what was found is in `matches`. Throws Cancelled within some
    /// 10 ms when asked to stop.
    void find(std::string_view text, std::size_t most, const std::stop_token& stop, Scratch& scratch,
              std::vector<TextMatch>& matches, std::chrono::nanoseconds budget = timeBudget,
              Utf8Range within = everywhere) const;

    /// Words of three bytes or more, lower-cased ASCII: every text with a match holds one of them in one case or
    /// another, unless it holds characters beyond ASCII that fold to ASCII (see foldsToAscii). None if nothing can be
    /// said.
    const std::vector<std::string>& requiredAscii() const;

    /// What takes the place of a match: the replacement as it stands, or, of a regular expression, the template with
    /// "$1", "${name}" and "\" as ICU reads them. Throws TextSearchError if the template refers to a group that is not
    /// there, `staleResult` if the text does not match at this place.
    std::string replacementFor(std::string_view text, const TextMatch& match, std::string_view replacement,
                               Scratch& scratch, Utf8Range within = everywhere) const;

    /// The same for any number of matches of one text, which is prepared once: calls `use` for each of them in turn.
    /// They were found with the same `within`. Throws also `timeBudget` if all of it takes longer than `budget`, and
    /// Cancelled.
    void replaceEach(std::string_view text, std::span<const TextMatch> matches, std::string_view replacement,
                     const std::stop_token& stop, Scratch& scratch,
                     FunctionRef<void(const TextMatch& match, std::string_view with)> use,
                     std::chrono::nanoseconds budget = timeBudget, Utf8Range within = everywhere) const;

private:
    struct Parts;
    std::unique_ptr<const Parts> parts_;
};

/// Whether the text holds one of the few characters beyond ASCII that are equal to ASCII ones when case does not count,
/// such as the Kelvin sign or the ligature "fi". Valid UTF-8. Several GB/s.
bool foldsToAscii(std::string_view text) noexcept;

/// A text as the normalized mode compares it: each user-perceived character folded, runs of white space and of "-",
/// ".", "_" and "/" one blank.
struct NormalizedText {
    /// Where a unit of the folded text comes from.
    struct Origin {
        std::uint32_t start = 0;   ///< UTF-16 units
        std::uint32_t length = 0;  ///< UTF-16 units
    };
    std::u16string text;
    std::vector<Origin> origins;  ///< one for each unit of `text`

    /// Accents always count for nothing, case unless `caseSensitive`. Throws Cancelled; looks at `stop` at every
    /// multiple of 1,024 units.
    static NormalizedText of(std::u16string_view text, bool caseSensitive, const std::stop_token& stop = {});
};

}  // namespace penmark
