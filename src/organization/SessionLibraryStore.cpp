// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/SessionLibraryStore.h"

#include "organization/LibraryRepair.h"
#include "storage/Outbox.h"
#include "storage/RecoveryStore.h"
#include "storage/StoredRecord.h"

#include <memory>
#include <tuple>

namespace penmark {

namespace {

constexpr std::string_view settingsKey = "sessionLibrary";

struct RowChange {
    enum class What { remove, update, append };
    What what;
    std::string_view kind;
    std::string id;
    std::string json;
};

// The rows that turn one list into another without changing any other row: those that are gone, those that are changed
// where they stand, and those that come behind all others.
template <class T>
void appendChanges(std::vector<RowChange>& changes, std::string_view kind, const ItemList<T>& stored,
                   const ItemList<T>& wanted)
{
    if (stored == wanted)
        return;
    const auto& was = stored.items();
    const auto& is = wanted.items();
    std::size_t from = 0;
    std::size_t to = 0;
    for (; from < was.size(); ++from) {
        const T& old = *was[from];
        if (to < is.size() && is[to]->id == old.id) {
            if (is[to] != was[from] && *is[to] != old)
                changes.push_back({RowChange::What::update, kind, old.id.text(), encodeStored(*is[to])});
            ++to;
        } else if (!wanted.contains(old.id)) {
            changes.push_back({RowChange::What::remove, kind, old.id.text(), {}});
        } else {
            break;  // it stands elsewhere now: from here on all rows are written anew
        }
    }
    for (; from < was.size(); ++from)
        changes.push_back({RowChange::What::remove, kind, was[from]->id.text(), {}});
    for (; to < is.size(); ++to)
        changes.push_back({RowChange::What::append, kind, is[to]->id.text(), encodeStored(*is[to])});
}

class RowWriter {
public:
    explicit RowWriter(RecoveryStore& store)
        : remove_(store.prepare("DELETE FROM library_items WHERE kind=? AND id=?")),
          update_(store.prepare("UPDATE library_items SET json=? WHERE kind=? AND id=?")),
          updated_(store.prepare("SELECT changes()")),
          append_(store.prepare("INSERT OR REPLACE INTO library_items(kind,id,json) VALUES(?,?,?)"))
    {}

    void write(const RowChange& change)
    {
        switch (change.what) {
        case RowChange::What::remove:
            remove_.bind({change.kind, change.id});
            remove_.run();
            return;
        case RowChange::What::update:
            update_.bind({Blob{change.json}, change.kind, change.id});
            update_.run();
            if (hasUpdated())
                return;
            // The row is not where the last save should have left it. A record at the end is better than none.
            [[fallthrough]];
        case RowChange::What::append:
            append_.bind({change.kind, change.id, Blob{change.json}});
            append_.run();
            return;
        }
    }

private:
    bool hasUpdated()
    {
        updated_.bind({});
        return updated_.step() && updated_.integer(0) > 0;
    }

    Statement remove_;
    Statement update_;
    Statement updated_;
    Statement append_;
};

// Records of one kind as they come.
template <class T>
class KindReader {
public:
    KindReader(std::string_view kind, std::string_view noun) : kind_(kind), noun_(noun) {}

    // False if the record is of another kind. Throws RecoveryError for one that cannot be read.
    bool take(std::string_view kind, std::string_view id, std::string_view json)
    {
        if (kind != kind_)
            return false;
        auto item = std::make_shared<const T>(decodeStored<T>(json, noun_));
        if (item->id.text() != id)
            throw RecoveryError::storage("A " + std::string(noun_) +
                                         " record cannot be read: it is stored under another identifier.");
        items_.push_back(std::move(item));
        return true;
    }
    void giveTo(ItemList<T>& list) { list.assign(std::move(items_)); }

private:
    std::string_view kind_;
    std::string_view noun_;  // in a sentence
    std::vector<typename ItemList<T>::Item> items_;
};

// In one pass through the table, as its rows lie: kind by kind the database would have to sort them first.
void loadItems(RecoveryStore& store, SessionLibrary& library, std::vector<std::string>& problems)
{
    KindReader<PenmarkSession> sessions("session", "session");
    KindReader<PenmarkWorkspace> workspaces("workspace", "workspace");
    KindReader<PenmarkProject> projects("project", "project");
    KindReader<SessionRun> runs("run", "visit");
    KindReader<ClosedPenmarkItem> closed("closed", "closed item");
    store.forEachRow("SELECT kind,id,json FROM library_items ORDER BY rowid", {}, [&](const Statement& row) {
        const auto takenBy = [&](auto& reader) { return reader.take(row.text(0), row.text(1), row.text(2)); };
        try {
            // Another kind belongs to somebody else.
            std::ignore =
                takenBy(sessions) || takenBy(workspaces) || takenBy(projects) || takenBy(runs) || takenBy(closed);
        } catch (const RecoveryError& error) {
            problems.emplace_back(error.what());
        }
    });
    sessions.giveTo(library.sessions);
    workspaces.giveTo(library.workspaces);
    projects.giveTo(library.projects);
    runs.giveTo(library.runs);
    closed.giveTo(library.recentlyClosed);
}

// What can be read of damaged settings; one member does not take the others with it, least of all the history policy.
LibrarySettings readableMembers(std::string_view json)
{
    LibrarySettings settings;
    constexpr auto count = std::tuple_size_v<decltype(LibrarySettings::fields())>;
    std::array<bool, count> seen{};
    parseJson(json, [&](const JsonValue& root) {
        root.forEachMember([&](std::string_view name, const JsonValue& member) {
            LibrarySettings tried = settings;
            try {
                if (detail::decodeMember(member, name, tried, seen, std::make_index_sequence<count>()))
                    settings = std::move(tried);
                else
                    settings.unknownMembers.emplace_back(std::string(name), RawJson{member.text()});
            } catch (const RecordError&) {
                // It keeps its first value.
            }
        });
    });
    return settings;
}

void loadSettings(RecoveryStore& store, LibrarySettings& settings, std::vector<std::string>& problems)
{
    store.forEachRow("SELECT value FROM metadata WHERE key=?", {settingsKey}, [&](const Statement& row) {
        try {
            settings = decodeStored<LibrarySettings>(row.text(0), "session settings");
        } catch (const RecoveryError& error) {
            problems.emplace_back(error.what());
            settings = readableMembers(row.text(0));
        }
    });
}

}  // namespace

SessionLibraryStore::Loaded SessionLibraryStore::load() const
{
    Loaded loaded;
    SessionLibrary& library = loaded.library;
    {
        const auto hold = store_.lock();
        loadItems(store_, library, loaded.problems);
        loadSettings(store_, library.settings, loaded.problems);
    }
    repairNesting(library, loaded.problems);
    loaded.stored = library;
    separateDoubles(library, loaded.problems);  // to be saved, or the identities would be others each time
    return loaded;
}

void SessionLibraryStore::save(const SessionLibrary& stored, const SessionLibrary& library)
{
    validate(library);
    std::vector<RowChange> changes;
    appendChanges(changes, "session", stored.sessions, library.sessions);
    appendChanges(changes, "workspace", stored.workspaces, library.workspaces);
    appendChanges(changes, "project", stored.projects, library.projects);
    appendChanges(changes, "run", stored.runs, library.runs);
    appendChanges(changes, "closed", stored.recentlyClosed, library.recentlyClosed);
    std::string settings;
    if (stored.settings != library.settings)
        settings = encodeStored(library.settings);
    if (changes.empty() && settings.empty())
        return;

    Outbox outbox(store_);
    const std::string catalog = outbox.isSyncOn() && !store_.applyingSync ? encodeLibrary(library) : std::string();
    store_.transaction([&] {
        RowWriter rows(store_);
        for (const RowChange& change : changes)
            rows.write(change);
        if (!settings.empty())
            store_.execute("INSERT OR REPLACE INTO metadata(key,value) VALUES(?,?)", {settingsKey, Blob{settings}});
        if (!catalog.empty()) {
            // By their identifiers, which are indexed: the outbox may be long.
            store_.execute("DELETE FROM outbox WHERE id>='catalog-' AND id<'catalog.' AND entity='sessionCatalog'");
            outbox.add("catalog-" + Uuid::random().text(), "sessionCatalog", catalog);
        }
    });
}

}  // namespace penmark
