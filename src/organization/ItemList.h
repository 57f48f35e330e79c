// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Uuid.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace penmark {

/// Records of one kind, in the order in which they were added, found by identity. A copy shares everything, and so is a
/// snapshot for another thread; a change of one record copies that record and two arrays of small entries. Whether two
/// lists hold the same record is seen by its address.
template <class T>
class ItemList {
public:
    using Item = std::shared_ptr<const T>;

    class Iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = const T*;
        using reference = const T&;

        Iterator() = default;
        explicit Iterator(typename std::vector<Item>::const_iterator at) : at_(at) {}
        const T& operator*() const { return **at_; }
        const T* operator->() const { return at_->get(); }
        Iterator& operator++()
        {
            ++at_;
            return *this;
        }
        Iterator operator++(int) { return Iterator(at_++); }
        friend bool operator==(const Iterator&, const Iterator&) = default;

    private:
        typename std::vector<Item>::const_iterator at_;
    };

    ItemList() : rep_(empty()) {}
    ItemList(const ItemList& other) : rep_(other.share()) {}
    ItemList& operator=(const ItemList& other)
    {
        rep_ = other.share();
        return *this;
    }
    ItemList(ItemList&& other) noexcept : rep_(std::exchange(other.rep_, empty())) {}
    ItemList& operator=(ItemList&& other) noexcept
    {
        rep_.swap(other.rep_);
        return *this;
    }
    ~ItemList() = default;

    std::size_t size() const { return rep_->items.size(); }
    bool isEmpty() const { return rep_->items.empty(); }
    Iterator begin() const { return Iterator(rep_->items.begin()); }
    Iterator end() const { return Iterator(rep_->items.end()); }
    /// In order.
    const std::vector<Item>& items() const { return rep_->items; }

    /// Null if there is none. Valid until this list changes.
    const T* find(const Uuid& id) const
    {
        const Place* const place = placeOf(id);
        return place == nullptr ? nullptr : rep_->items[place->index].get();
    }
    bool contains(const Uuid& id) const { return placeOf(id) != nullptr; }
    /// Null if there is none.
    Item share(const Uuid& id) const
    {
        const Place* const place = placeOf(id);
        return place == nullptr ? nullptr : rep_->items[place->index];
    }

    /// Replaces the record of this identity in its place, or adds it behind the others. An equal one changes nothing.
    void put(T value)
    {
        const Place* const place = placeOf(value.id);
        if (place != nullptr && *rep_->items[place->index] == value)
            return;
        const std::size_t index = place != nullptr ? place->index : size();
        Rep& rep = own();
        const Uuid id = value.id;
        auto item = std::make_shared<const T>(std::move(value));
        if (index < rep.items.size()) {
            rep.items[index] = std::move(item);
            return;
        }
        rep.items.push_back(std::move(item));
        const auto before = std::lower_bound(rep.places.begin(), rep.places.end(), id,
                                             [](const Place& at, const Uuid& wanted) { return at.id < wanted; });
        rep.places.insert(before, {id, static_cast<std::uint32_t>(index)});
    }

    /// Changes a copy of the record, except for its identity, and puts it back. False if there is none. What `change`
    /// throws leaves it as it was.
    template <class Change>
    bool change(const Uuid& id, Change&& change)
    {
        const T* const found = find(id);
        if (found == nullptr)
            return false;
        T value = *found;
        change(value);
        assert(value.id == found->id);
        put(std::move(value));
        return true;
    }

    bool remove(const Uuid& id)
    {
        const Place* const place = placeOf(id);
        if (place == nullptr)
            return false;
        const std::uint32_t index = place->index;
        Rep& rep = own();
        rep.items.erase(rep.items.begin() + static_cast<std::ptrdiff_t>(index));
        std::erase_if(rep.places, [&](const Place& at) { return at.index == index; });
        for (Place& at : rep.places) {
            if (at.index > index)
                --at.index;
        }
        return true;
    }

    /// Removes all that `isUnwanted` names; cheaper than one by one.
    template <class IsUnwanted>
    void removeIf(IsUnwanted&& isUnwanted)
    {
        if (std::none_of(begin(), end(), isUnwanted))
            return;
        std::vector<Item> kept;
        for (const Item& item : rep_->items) {
            if (!isUnwanted(*item))
                kept.push_back(item);
        }
        rep_ = empty();
        assign(std::move(kept));
    }

    /// Of records that were read: identities are each there once, later ones with the same are left out.
    void assign(std::vector<Item> items)
    {
        auto rep = std::make_shared<Rep>();
        rep->items = std::move(items);
        for (std::size_t index = 0; index < rep->items.size(); ++index)
            rep->places.push_back({rep->items[index]->id, static_cast<std::uint32_t>(index)});
        std::sort(rep->places.begin(), rep->places.end(), [](const Place& one, const Place& other) {
            return one.id != other.id ? one.id < other.id : one.index < other.index;
        });
        rep_ = std::move(rep);
        std::vector<std::uint32_t> doubles;
        for (std::size_t at = 1; at < rep_->places.size(); ++at) {
            if (rep_->places[at].id == rep_->places[at - 1].id)
                doubles.push_back(rep_->places[at].index);
        }
        if (doubles.empty())
            return;
        std::vector<Item> unique;
        for (std::size_t index = 0; index < rep_->items.size(); ++index) {
            if (std::find(doubles.begin(), doubles.end(), index) == doubles.end())
                unique.push_back(rep_->items[index]);
        }
        assign(std::move(unique));
    }

    /// By identity, order and value.
    friend bool operator==(const ItemList& one, const ItemList& other)
    {
        return one.rep_ == other.rep_ ||
               std::equal(one.items().begin(), one.items().end(), other.items().begin(), other.items().end(),
                          [](const Item& a, const Item& b) { return a == b || *a == *b; });
    }

private:
    struct Place {
        Uuid id;
        std::uint32_t index = 0;
    };
    struct Rep {
        std::vector<Item> items;
        std::vector<Place> places;  // by identity
        // Set for good by the first copy, in the thread that copies: from then on another thread may read this. That
        // the other copies are gone again would not tell when their last reader was done.
        std::atomic<bool> isShared = false;
    };

    static std::shared_ptr<Rep> empty() noexcept
    {
        static const auto none = [] {
            auto rep = std::make_shared<Rep>();
            rep->isShared = true;
            return rep;
        }();
        return none;
    }

    const std::shared_ptr<Rep>& share() const
    {
        rep_->isShared.store(true, std::memory_order_relaxed);
        return rep_;
    }

    const Place* placeOf(const Uuid& id) const
    {
        const auto found = std::lower_bound(rep_->places.begin(), rep_->places.end(), id,
                                            [](const Place& at, const Uuid& wanted) { return at.id < wanted; });
        return found != rep_->places.end() && found->id == id ? &*found : nullptr;
    }

    Rep& own()
    {
        if (rep_->isShared.load(std::memory_order_relaxed)) {
            auto rep = std::make_shared<Rep>();
            rep->items.reserve(rep_->items.size() + 1);
            rep->items = rep_->items;
            rep->places.reserve(rep_->places.size() + 1);
            rep->places = rep_->places;
            rep_ = std::move(rep);
        }
        return *rep_;
    }

    std::shared_ptr<Rep> rep_;
};

}  // namespace penmark
