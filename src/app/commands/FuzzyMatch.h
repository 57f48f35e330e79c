// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringView>
#include <cstdint>
#include <vector>

namespace penmark {

/// A name made ready to be compared: lower case, accents taken off, and the signs that join words (- _ . / :) as
/// blanks. Made once; many patterns are then compared with it.
class FoldedName {
public:
    FoldedName() = default;
    explicit FoldedName(QStringView name);

private:
    friend class FuzzyMatch;

    qsizetype originalPlace(qsizetype at) const { return places_.empty() ? at : places_[static_cast<std::size_t>(at)]; }
    bool startsWord(qsizetype at) const;

    QString text_;
    std::vector<qint32> places_;  // in the name, of each unit of text_; empty if they are the same
    std::uint64_t signs_ = 0;     // which occur, as a set of hashes
    std::uint64_t starts_ = 0;    // of words among the first 64 units
};

/// Compares names with what somebody typed to find one of them. From the best to the least: the name itself; its
/// beginning; beginnings of its words in their order ("mlu" for "Move Lines Up"); a part of it; its letters in their
/// order. Among equals short and early matches come first. A value; any thread; 100,000 names take some 10 ms.
class FuzzyMatch {
public:
    explicit FuzzyMatch(QStringView typed);

    bool isEmpty() const { return letters_.isEmpty(); }
    /// 0: no match; more is better. Scores of different names can be compared. Everything matches an empty pattern.
    int score(const FoldedName& name) const;
    /// The places in the original name, in UTF-16 units, ascending, of what was matched.
    std::vector<qsizetype> marks(const FoldedName& name) const;

private:
    using Places = std::vector<qsizetype>;

    int find(const FoldedName& name, Places* places) const;
    bool findWordStarts(const FoldedName& name, qsizetype& first, Places* places) const;
    bool findLetters(const FoldedName& name, qsizetype& first, qsizetype& gaps, Places* places) const;

    QString typed_;
    QString letters_;  // without blanks
    std::uint64_t signs_ = 0;
};

}  // namespace penmark
