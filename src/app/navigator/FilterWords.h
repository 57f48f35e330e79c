// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

/// The text as filters compare it: without case and accents, ligatures and the like taken apart, as UTF-8. Vowels of
/// scripts that write them as marks stay.
std::string foldForFilter(std::string_view utf8);

/// What was typed into a filter: words that must all be found. A value type; any thread.
class FilterWords {
public:
    struct Mark {
        qsizetype start = 0;  ///< in UTF-16 units
        qsizetype length = 0;
        friend bool operator==(const Mark&, const Mark&) = default;
    };

    FilterWords() = default;
    explicit FilterWords(const QString& typed);

    /// Nothing to look for: everything matches.
    bool isEmpty() const { return words_.empty(); }

    /// Each word is in the one or the other; both are folded.
    bool match(std::string_view folded, std::string_view otherFolded) const;

    /// Where words stand in a text that is shown, in order, apart from one another.
    std::vector<Mark> marks(const QString& shown) const;

    friend bool operator==(const FilterWords&, const FilterWords&) = default;

private:
    std::vector<std::string> words_;  // folded
};

}  // namespace penmark
