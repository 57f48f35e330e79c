// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/TabList.h"

#include <algorithm>
#include <utility>

namespace penmark {

TabList::TabList(const RecoveryWindow& record) : tabIDs_(record.tabIDs)
{
    for (const Uuid& document : record.documents)
        add(document, true);
    readStates(record);
    if (record.selected && contains(*record.selected))
        select(*record.selected);
}

void TabList::readStates(const RecoveryWindow& record)
{
    for (const auto& [document, json] : record.editorStates) {
        if (states_.contains(document))
            continue;
        try {
            states_.emplace(document, decodeRecord<EditorState>(json.text));
        } catch (const RecordError&) {
            unreadStates_.emplace(document, json);
        }
    }
}

void TabList::follow(const RecoveryWindow& record)
{
    const auto listed = [&](const Uuid& document) {
        return std::find(record.documents.begin(), record.documents.end(), document) != record.documents.end();
    };
    for (const Uuid& document : std::vector<Uuid>(documents_)) {
        if (listed(document))
            continue;
        std::erase(documents_, document);
        std::erase(used_, document);
        states_.erase(document);  // the record knows how it was seen last
        unreadStates_.erase(document);
    }
    tabIDs_ = record.tabIDs;
    readStates(record);
    for (const Uuid& document : record.documents)
        add(document, true);
    documents_ = record.documents;
    if (selected_ && !contains(*selected_))
        selected_ = used_.empty() ? std::nullopt : std::optional(used_.front());
}

void TabList::fill(RecoveryWindow& record) const
{
    record.documents = documents_;
    record.selected = selected_;
    record.tabIDs = tabIDs_;
    record.editorStates = unreadStates_;
    for (const auto& [document, state] : states_)
        record.editorStates.insert_or_assign(document, RawJson{encodeRecord(state)});
}

std::optional<std::size_t> TabList::indexOf(const Uuid& document) const
{
    const auto found = std::find(documents_.begin(), documents_.end(), document);
    if (found == documents_.end())
        return std::nullopt;
    return static_cast<std::size_t>(found - documents_.begin());
}

void TabList::add(const Uuid& document, bool atEnd)
{
    insert(document, atEnd || !selected_ ? documents_.size() : *indexOf(*selected_) + 1);
}

void TabList::insert(const Uuid& document, std::size_t index, const std::optional<Uuid>& tabID)
{
    if (contains(document))
        return;
    index = std::min(index, documents_.size());
    documents_.insert(documents_.begin() + static_cast<std::ptrdiff_t>(index), document);
    used_.push_back(document);
    tabIDs_.try_emplace(document, tabID ? *tabID : Uuid::random());
    if (!selected_)
        select(document);
}

void TabList::select(const Uuid& document)
{
    selected_ = document;
    std::erase(used_, document);
    used_.insert(used_.begin(), document);
}

void TabList::move(std::size_t from, std::size_t to)
{
    if (from >= documents_.size() || to >= documents_.size())
        return;
    const Uuid document = documents_[from];
    documents_.erase(documents_.begin() + static_cast<std::ptrdiff_t>(from));
    documents_.insert(documents_.begin() + static_cast<std::ptrdiff_t>(to), document);
}

void TabList::remove(const Uuid& document)
{
    std::erase(documents_, document);
    std::erase(used_, document);
    states_.erase(document);
    unreadStates_.erase(document);
    tabIDs_.erase(document);
    if (selected_ == document)
        selected_ = used_.empty() ? std::nullopt : std::optional(used_.front());
}

void TabList::removeAllBut(const Uuid& document)
{
    for (const Uuid& other : std::vector<Uuid>(documents_)) {
        if (other != document)
            remove(other);
    }
}

std::optional<Uuid> TabList::byUse(std::size_t steps) const
{
    if (used_.empty())
        return std::nullopt;
    return used_[steps % used_.size()];
}

std::optional<Uuid> TabList::byPlace(std::ptrdiff_t steps) const
{
    if (!selected_)
        return std::nullopt;
    const auto count = static_cast<std::ptrdiff_t>(documents_.size());
    const auto index = (static_cast<std::ptrdiff_t>(*indexOf(*selected_)) + steps % count + count) % count;
    return documents_[static_cast<std::size_t>(index)];
}

std::optional<Uuid> TabList::tabID(const Uuid& document) const
{
    const auto found = tabIDs_.find(document);
    return found == tabIDs_.end() ? std::nullopt : std::optional(found->second);
}

const EditorState* TabList::stateOf(const Uuid& document) const
{
    const auto found = states_.find(document);
    return found == states_.end() ? nullptr : &found->second;
}

void TabList::setState(const Uuid& document, EditorState state)
{
    unreadStates_.erase(document);
    states_.insert_or_assign(document, std::move(state));
}

}  // namespace penmark
