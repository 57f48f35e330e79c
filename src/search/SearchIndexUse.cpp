// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/SearchIndexUse.h"

#include "search/TextMatcher.h"

#include <algorithm>
#include <utility>

namespace penmark {

namespace {

constexpr int failuresBorne = 3;  // in a row; another process that writes for a moment is none to give up for

}  // namespace

template <class Call>
void SearchIndexUse::withIndex(Call call)
{
    TextSearchIndex* index = nullptr;
    {
        const std::scoped_lock hold(lock_);
        if (!std::exchange(attempted_, true) && !folder_.empty()) {
            try {
                index_ = std::make_unique<TextSearchIndex>(folder_);
            } catch (const std::exception&) {
                // Every text is searched, then.
            }
        }
        if (failures_ < failuresBorne)
            index = index_.get();
    }
    if (!index)
        return;
    try {
        call(*index);
        const std::scoped_lock hold(lock_);
        failures_ = 0;
    } catch (const std::exception&) {
        const std::scoped_lock hold(lock_);
        ++failures_;
    }
}

std::vector<SearchIndexUse::Answer> SearchIndexUse::lookUp(std::span<const TextKey> keys, bool caseSensitive,
                                                           std::span<const std::string> required)
{
    std::vector<Answer> answers(keys.size(), Answer::unknown);
    if (required.empty())
        return answers;
    const auto answer = [&](const KnownFilter& known) {
        if (!caseSensitive && known.foldsToAscii)
            return Answer::possible;
        const auto mayHold = [&](const std::string& word) { return known.filter.mayHold(word); };
        return std::ranges::any_of(required, mayHold) ? Answer::possible : Answer::absent;
    };
    std::vector<std::size_t> unknown;
    filters_.find(keys, [&](std::size_t at, const KnownFilter* known) {
        if (known)
            answers[at] = answer(*known);
        else if (!keys[at].empty())
            unknown.push_back(at);
    });
    if (unknown.empty())
        return answers;
    withIndex([&](TextSearchIndex& index) {
        for (const std::size_t at : unknown) {
            if (const auto stored = index.filter(keys[at].text())) {
                auto known = std::make_shared<const KnownFilter>(KnownFilter{*stored, true, false});
                answers[at] = answer(*known);
                filters_.put(keys[at], std::move(known));
            }
        }
    });
    return answers;
}

bool SearchIndexUse::note(const TextKey& key, std::string_view text, const std::stop_token& stop)
{
    KnownFilter known;
    known.isAscii = known.filter.addAscii(text, stop);
    if (!known.isAscii) {
        known.filter = {};
        known.filter.addAsciiOf(text, stop);
        known.foldsToAscii = foldsToAscii(text);
    }
    auto filter = std::make_shared<const KnownFilter>(known);
    const bool isKept = filters_.put(key, filter);
    const std::scoped_lock hold(lock_);
    // What the index would trim away need not be written.
    if (noted_.size() >= TextSearchIndex::rowLimit)
        noted_.pop_front();
    noted_.emplace_back(key, std::move(filter));
    return isKept;
}

void SearchIndexUse::store(const std::stop_token& stop)
{
    while (!stop.stop_requested()) {
        std::pair<TextKey, Filter> next;
        {
            const std::scoped_lock hold(lock_);
            if (noted_.empty())
                break;
            next = std::move(noted_.front());
            noted_.pop_front();
        }
        withIndex([&](TextSearchIndex& index) {
            index.recordFilter(next.first.text(), next.second->isAscii ? &next.second->filter : nullptr);
        });
    }
    release();
}

void SearchIndexUse::release()
{
    bool isOpen = false;
    {
        const std::scoped_lock hold(lock_);
        isOpen = index_ != nullptr;
    }
    if (isOpen)
        withIndex([](TextSearchIndex& index) { index.commit(); });
}

}  // namespace penmark
