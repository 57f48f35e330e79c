// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/RecoveryWindow.h"
#include "text/editor/EditorState.h"

#include <cstddef>
#include <map>
#include <optional>
#include <vector>

namespace penmark {

/// The tabs of a window: which documents, in which order, which is in front, how each was seen last, and in which order
/// they were used. What a window's record says of its tabs, and nothing that is drawn. Any thread, one at a time.
class TabList {
public:
    TabList() = default;
    explicit TabList(const RecoveryWindow& record);
    /// Writes the tabs into a record, whose other fields stay.
    void fill(RecoveryWindow& record) const;

    const std::vector<Uuid>& documents() const { return documents_; }
    bool empty() const { return documents_.empty(); }
    std::optional<std::size_t> indexOf(const Uuid& document) const;
    bool contains(const Uuid& document) const { return indexOf(document).has_value(); }
    /// Absent only without any tab.
    std::optional<Uuid> selected() const { return selected_; }

    /// Behind the selected tab, or at the end; does not select it. A document has one tab at most.
    void add(const Uuid& document, bool atEnd = false);
    /// A tab that comes from another window keeps its identity; one that was put aside here has its own again.
    void insert(const Uuid& document, std::size_t index, const std::optional<Uuid>& tabID = {});
    void select(const Uuid& document);
    /// Brings it to the front for a look: the order of use stays until it is selected.
    void show(const Uuid& document) { selected_ = document; }
    void move(std::size_t from, std::size_t to);
    /// Selects the one used before if it was in front.
    void remove(const Uuid& document);
    void removeAllBut(const Uuid& document);
    /// Takes over which tabs there are and their order; how the others were seen stays known of those that are put
    /// aside.
    void follow(const RecoveryWindow& record);

    /// The tab that was used before the one in front; `steps` of them, around the end.
    std::optional<Uuid> byUse(std::size_t steps) const;
    /// Its neighbour by place, around the end.
    std::optional<Uuid> byPlace(std::ptrdiff_t steps) const;

    /// Absent if there is no such tab.
    std::optional<Uuid> tabID(const Uuid& document) const;

    const EditorState* stateOf(const Uuid& document) const;
    void setState(const Uuid& document, EditorState state);

private:
    void readStates(const RecoveryWindow& record);

    std::vector<Uuid> documents_;
    std::optional<Uuid> selected_;
    std::vector<Uuid> used_;  // the one in front first
    std::map<Uuid, EditorState> states_;
    std::map<Uuid, RawJson> unreadStates_;  // in a form that this version does not know
    std::map<Uuid, Uuid> tabIDs_;           // also of tabs that are put aside
};

}  // namespace penmark
