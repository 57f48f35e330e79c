// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/CheckpointContents.h"

#include "organization/CheckpointStore.h"
#include "storage/ContentStore.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"

#include <algorithm>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

namespace penmark {

namespace {

struct Present {
    std::string title;
    std::optional<std::string> displayTitle;
    std::optional<Uuid> head;
    bool deleted = false;

    static constexpr auto fields()
    {
        using R = Present;
        return std::tuple{field("title", &R::title), field("displayTitle", &R::displayTitle), field("head", &R::head),
                          field("deleted", &R::deleted)};
    }
};

using Hash = std::optional<std::string>;

// What the texts are called; the entry but for its sizes.
struct Compared {
    CheckpointEntry entry;
    Hash then;
    Hash now;
};

// Compares documents by what their rows say. Holds the library's lock, so that all are of one moment.
class Comparison {
public:
    explicit Comparison(RecoveryStore& store)
        : hold_(store.lock()), store_(store), document_(store.prepare("SELECT json FROM documents WHERE id=?")),
          revision_(store.prepare("SELECT hash FROM revisions WHERE id=?"))
    {}

    Compared compare(const CheckpointDocument& covered)
    {
        Compared compared{{covered.documentID, covered.revisionID, {}, {}, {}, {}}, hashOf(covered.revisionID), {}};
        CheckpointEntry& entry = compared.entry;
        const std::string id = covered.documentID.text();
        document_.bind({id});
        const bool isThere = document_.step();
        const auto now = isThere ? decode(document_.text(0)) : std::nullopt;
        entry.title = covered.title.value_or(now ? now->displayTitle.value_or(now->title) : "Untitled");
        if (now && now->head)
            compared.now = now->head == covered.revisionID ? compared.then : hashOf(*now->head);
        if (!isThere)
            entry.state = CheckpointEntry::State::gone;
        else if (now && now->deleted)
            entry.state = CheckpointEntry::State::discarded;
        else if (!now || (now->head != covered.revisionID && (!compared.now || compared.now != compared.then)))
            entry.state = CheckpointEntry::State::changed;
        return compared;
    }

    // Documents with a text that are not among these. Stopped, it counts no further.
    std::size_t countOthers(const std::unordered_set<Uuid>& covered, const std::stop_token& stop)
    {
        std::size_t others = 0;
        store_.forEachRow("SELECT id,json FROM documents", {}, [&](const Statement& row) {
            const auto id = stop.stop_requested() ? std::nullopt : Uuid::parse(row.text(0));
            if (!id || covered.contains(*id))
                return;
            const auto now = decode(row.text(1));
            others += now && now->head && !now->deleted ? 1 : 0;
        });
        return others;
    }

private:
    static std::optional<Present> decode(std::string_view json)
    {
        try {
            return decodeRecord<Present>(json);
        } catch (const RecordError&) {
            return std::nullopt;
        }
    }

    Hash hashOf(const Uuid& revision)
    {
        const std::string id = revision.text();
        revision_.bind({id});
        return revision_.step() ? Hash(revision_.text(0)) : std::nullopt;
    }

    std::unique_lock<std::recursive_mutex> hold_;
    RecoveryStore& store_;
    Statement document_;
    Statement revision_;
};

// Lengths of texts, each looked up once.
class Sizes {
public:
    explicit Sizes(RecoveryStore& store) : content_(store) {}

    std::optional<std::int64_t> of(const Hash& hash)
    {
        if (!hash)
            return std::nullopt;
        const auto [known, isNew] = known_.try_emplace(*hash);
        if (isNew) {
            try {
                known->second = static_cast<std::int64_t>(content_.textSize(*hash));
            } catch (const RecoveryError& error) {
                if (error.which() != RecoveryError::Case::missingContent)
                    throw;
            }
        }
        return known->second;
    }

private:
    ContentStore content_;
    std::unordered_map<std::string, std::optional<std::int64_t>> known_;
};

// Letters of the basic alphabet whatever their case, then by their bytes.
bool comesBefore(const CheckpointEntry& one, const CheckpointEntry& other)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    const auto [a, b] = std::mismatch(one.title.begin(), one.title.end(), other.title.begin(), other.title.end(),
                                      [&](char left, char right) { return lower(left) == lower(right); });
    if (b == other.title.end())
        return a == one.title.end() && std::tie(one.title, one.document) < std::tie(other.title, other.document);
    return a == one.title.end() || static_cast<unsigned char>(lower(*a)) < static_cast<unsigned char>(lower(*b));
}

}  // namespace

std::optional<CheckpointContents> checkpointContents(RecoveryStore& store, const Uuid& checkpoint, std::stop_token stop)
{
    auto loaded = CheckpointStore(store).load(checkpoint);
    if (!loaded)
        return std::nullopt;
    CheckpointContents contents;
    contents.checkpoint = std::move(*loaded);

    std::vector<Compared> compared;
    {
        Comparison comparison(store);
        std::unordered_set<Uuid> covered;
        for (const CheckpointDocument& document : contents.checkpoint.documents) {
            if (stop.stop_requested())
                return std::nullopt;
            covered.insert(document.documentID);
            compared.push_back(comparison.compare(document));
        }
        if (!contents.checkpoint.coversOneDocument())
            contents.newSince = comparison.countOthers(covered, stop);
    }

    Sizes sizes(store);
    for (Compared& document : compared) {
        if (stop.stop_requested())
            return std::nullopt;
        CheckpointEntry& entry = document.entry;
        entry.bytes = sizes.of(document.then);
        entry.bytesNow = sizes.of(document.now);
        using State = CheckpointEntry::State;
        contents.changed += entry.state == State::changed ? 1 : 0;
        contents.discardedOrGone += entry.state == State::discarded || entry.state == State::gone ? 1 : 0;
        contents.entries.push_back(std::move(entry));
    }
    std::sort(contents.entries.begin(), contents.entries.end(), comesBefore);
    return contents;
}

}  // namespace penmark
