// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"
#include "text/TextSnapshot.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

/// One place of an edit: `removed` bytes from `start` on give way to `inserted` bytes.
struct Replacement {
    Utf8Offset start;  ///< in the text before the edit
    std::size_t removed = 0;
    std::size_t inserted = 0;

    Utf8Offset end() const { return start + removed; }
    friend bool operator==(const Replacement&, const Replacement&) = default;
};

/// On which side of text that is inserted exactly at it a position stays.
enum class Stickiness { before, after };

/// Replacements at any number of places at once. All positions are those of the text before the edit; they ascend and
/// do not overlap. The inserted texts stand one behind the other in one snapshot, so an edit costs 32 bytes a place and
/// shares what is large. Immutable once built; any thread.
class TextEdit {
public:
    TextEdit() = default;
    TextEdit(Utf8Range range, std::string_view with);
    TextEdit(std::vector<Replacement> replacements, TextSnapshot inserted);

    bool empty() const { return replacements_.empty(); }
    std::span<const Replacement> replacements() const { return replacements_; }
    const TextSnapshot& inserted() const { return inserted_; }
    std::size_t removedBytes() const;
    /// What the text grows by, negative if it shrinks.
    std::ptrdiff_t growth() const;
    /// The smallest range that contains all places, in the text before and after.
    Utf8Range spanBefore() const;
    Utf8Range spanAfter() const;

    /// Whether it changes or inserts anything within the range or at its ends. O(log k).
    bool touches(Utf8Range range) const;

    /// The edit that takes this one back; `before` is the text this one is applied to.
    TextEdit inverse(const TextSnapshot& before) const;
    /// One edit that does what this and then `next` do.
    TextEdit then(const TextEdit& next) const;

    /// Where a position of the text before is in the text after. The start and the end of replaced text stay its start
    /// and end; one inside of it, or where text is merely inserted, comes to the end (`after`) or the start (`before`).
    /// O(log k).
    Utf8Offset map(Utf8Offset position, Stickiness stickiness) const;
    /// The same for ascending positions, all at once in O(k + positions).
    void map(std::span<Utf8Offset> ascending, Stickiness stickiness) const;

    friend bool operator==(const TextEdit& left, const TextEdit& right)
    {
        return left.replacements_ == right.replacements_ && left.inserted_ == right.inserted_;
    }

private:
    std::ptrdiff_t shiftBefore(std::size_t index) const { return index ? shifts_[index - 1] : 0; }
    Utf8Offset mapNear(Utf8Offset position, std::size_t index, Stickiness stickiness) const;

    std::vector<Replacement> replacements_;
    std::vector<std::ptrdiff_t> shifts_;  // what the text grew by up to and with each replacement
    TextSnapshot inserted_;
};

/// Moves ranges, which ascend and do not overlap, along an edit: text that is inserted at the ends of one stays
/// outside, and those of whose text nothing is left go. There may be very many of them: only those that the edit
/// reaches cost more than an addition.
void mapRanges(std::vector<Utf8Range>& ranges, const TextEdit& edit);

/// Collects an edit place by place, in ascending order. Replacements that touch become one; those that neither remove
/// nor insert are left out.
class TextEditBuilder {
public:
    void reserve(std::size_t places) { replacements_.reserve(places); }
    void replace(Utf8Range range, std::string_view with);
    void insert(Utf8Offset at, std::string_view text) { replace({at, at}, text); }
    void remove(Utf8Range range) { replace(range, {}); }
    TextEdit build() &&;

private:
    std::vector<Replacement> replacements_;
    std::string inserted_;
};

}  // namespace penmark
