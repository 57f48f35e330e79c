// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/SessionTreeModel.h"

#include "app/documents/SessionRecords.h"
#include "app/navigator/ListedDate.h"
#include "app/sessions/ListEntryDelegate.h"
#include "app/sessions/SessionTitles.h"
#include "organization/Sessions.h"

#include <QCollator>
#include <QFont>
#include <QLocale>
#include <QMimeData>
#include <algorithm>
#include <set>

namespace penmark {

const char* const SessionTreeModel::mimeType = "application/x-penmark-session";

/// The sessions by their place in the library, before any is left out.
struct SessionTreeModel::Tree {
    std::vector<const PenmarkSession*> sessions;
    std::vector<std::size_t> parents;
    std::vector<std::vector<std::size_t>> children;
    std::vector<std::size_t> tops;
    std::vector<bool> kept;
};

SessionTreeModel::SessionTreeModel(SessionRecords& records, DocumentRegistry& documents, DocumentPreviews& previews)
    : records_(records), documents_(documents), filter_(records, documents, previews)
{}

void SessionTreeModel::setOrder(Order order)
{
    order_ = order;
}

void SessionTreeModel::setFilter(const QString& typed)
{
    filter_.setWords(typed);
}

SessionTreeModel::Tree SessionTreeModel::arrange() const
{
    Tree tree;
    std::unordered_map<Uuid, std::size_t> places;
    for (const PenmarkSession& session : records_.library().sessions) {
        places.emplace(session.id, tree.sessions.size());
        tree.sessions.push_back(&session);
    }
    const std::size_t count = tree.sessions.size();
    tree.parents.assign(count, top);
    tree.children.resize(count);
    tree.kept.assign(count, true);
    for (std::size_t at = 0; at < count; ++at) {
        if (const auto& parent = tree.sessions[at]->parentID; parent && places.contains(*parent))
            tree.parents[at] = places[*parent];
    }
    // A chain that comes back to itself is not the library's doing, but nothing in it may be out of sight.
    for (std::size_t at = 0; at < count; ++at) {
        std::size_t steps = 0;
        for (std::size_t up = tree.parents[at]; up != top && steps <= count; up = tree.parents[up])
            ++steps;
        if (steps > count)
            tree.parents[at] = top;
    }
    for (std::size_t at = 0; at < count; ++at)
        (tree.parents[at] == top ? tree.tops : tree.children[tree.parents[at]]).push_back(at);
    return tree;
}

void SessionTreeModel::sortSiblings(Tree& tree) const
{
    const std::size_t count = tree.sessions.size();
    std::vector<std::size_t> ranks(count, count);
    std::vector<QCollatorSortKey> names;
    if (order_ == Order::recent) {
        std::unordered_map<Uuid, std::size_t> used;
        for (const Uuid& id : records_.library().settings.recentSessionIDs)
            used.emplace(id, used.size());
        for (std::size_t at = 0; at < count; ++at) {
            const auto found = used.find(tree.sessions[at]->id);
            if (found == used.end())
                continue;
            for (std::size_t up = at; up != top && ranks[up] > found->second; up = tree.parents[up])
                ranks[up] = found->second;
        }
    } else if (order_ == Order::name) {
        const QLocale locale;
        QCollator collator(locale.language() == QLocale::C ? QLocale(QLocale::English) : locale);
        collator.setCaseSensitivity(Qt::CaseInsensitive);
        collator.setNumericMode(true);
        for (const PenmarkSession* const session : tree.sessions)
            names.push_back(collator.sortKey(sessionTitle(documents_, *session)));
    }
    const auto isBefore = [&](std::size_t one, std::size_t other) {
        if (order_ == Order::name) {
            if (const int compared = names[one].compare(names[other]); compared != 0)
                return compared < 0;
        } else if (ranks[one] != ranks[other]) {
            return ranks[one] < ranks[other];
        }
        return tree.sessions[one]->createdAt > tree.sessions[other]->createdAt;
    };
    std::stable_sort(tree.tops.begin(), tree.tops.end(), isBefore);
    for (auto& children : tree.children)
        std::stable_sort(children.begin(), children.end(), isBefore);
}

void SessionTreeModel::keepMatches(Tree& tree)
{
    if (filter_.isEmpty())
        return;
    const std::vector<bool> found = filter_.matches();
    tree.kept.assign(tree.sessions.size(), false);
    for (std::size_t at = 0; at < tree.sessions.size(); ++at) {
        if (!found[at])
            continue;
        for (std::size_t up = at; up != top && !tree.kept[up]; up = tree.parents[up])
            tree.kept[up] = true;
    }
}

void SessionTreeModel::refresh()
{
    Tree tree = arrange();
    sortSiblings(tree);
    keepMatches(tree);

    std::vector<Node> nodes;
    std::vector<std::size_t> tops;
    std::vector<std::pair<std::size_t, std::size_t>> open;  // in the tree, and the node above
    const auto push = [&](const std::vector<std::size_t>& siblings, std::size_t parent) {
        for (auto at = siblings.rbegin(); at != siblings.rend(); ++at) {
            if (tree.kept[*at])
                open.emplace_back(*at, parent);
        }
    };
    push(tree.tops, top);
    while (!open.empty()) {
        const auto [at, parent] = open.back();
        open.pop_back();
        std::vector<std::size_t>& siblings = parent == top ? tops : nodes[parent].children;
        const auto row = static_cast<int>(siblings.size());
        siblings.push_back(nodes.size());
        nodes.push_back({tree.sessions[at]->id, parent, row, {}});
        push(tree.children[at], nodes.size() - 1);
    }
    if (nodes == nodes_) {
        tellChanged({});
        return;
    }
    beginResetModel();
    nodes_ = std::move(nodes);
    topNodes_ = std::move(tops);
    places_.clear();
    for (std::size_t at = 0; at < nodes_.size(); ++at)
        places_.emplace(nodes_[at].id, at);
    endResetModel();
}

void SessionTreeModel::tellChanged(const QModelIndex& parent)
{
    const int rows = rowCount(parent);
    if (rows == 0)
        return;
    emit dataChanged(index(0, 0, parent), index(rows - 1, 0, parent));
    for (int row = 0; row < rows; ++row)
        tellChanged(index(row, 0, parent));
}

std::optional<Uuid> SessionTreeModel::session(const QModelIndex& index) const
{
    return index.isValid() ? std::optional(node(index).id) : std::nullopt;
}

QModelIndex SessionTreeModel::indexOf(const Uuid& session) const
{
    const auto found = places_.find(session);
    return found == places_.end() ? QModelIndex() : createIndex(nodes_[found->second].row, 0, found->second);
}

bool SessionTreeModel::canMove(const Uuid& session, const std::optional<Uuid>& parent) const
{
    const SessionLibrary& library = records_.library();
    const PenmarkSession* const moved = library.sessions.find(session);
    if (moved == nullptr || moved->parentID == parent)
        return false;
    if (!parent)
        return true;
    const PenmarkSession* const target = library.sessions.find(*parent);
    if (target == nullptr || (moved->isOpen && !target->isOpen))
        return false;
    std::set<Uuid> seen{session};
    for (std::optional<Uuid> up = parent; up;) {
        const PenmarkSession* const at = library.sessions.find(*up);
        if (at == nullptr || !seen.insert(*up).second)
            return false;
        up = at->parentID;
    }
    return true;
}

const std::vector<std::size_t>& SessionTreeModel::childrenOf(const QModelIndex& parent) const
{
    return parent.isValid() ? node(parent).children : topNodes_;
}

QModelIndex SessionTreeModel::index(int row, int column, const QModelIndex& parent) const
{
    const auto& siblings = childrenOf(parent);
    if (column != 0 || row < 0 || static_cast<std::size_t>(row) >= siblings.size())
        return {};
    return createIndex(row, 0, siblings[static_cast<std::size_t>(row)]);
}

QModelIndex SessionTreeModel::parent(const QModelIndex& child) const
{
    const std::size_t above = child.isValid() ? node(child).parent : top;
    return above == top ? QModelIndex() : createIndex(nodes_[above].row, 0, above);
}

int SessionTreeModel::rowCount(const QModelIndex& parent) const
{
    return static_cast<int>(childrenOf(parent).size());
}

QString SessionTreeModel::spokenText(const PenmarkSession& session) const
{
    QStringList parts{sessionTitle(documents_, session)};
    if (records_.library().settings.activeSessionID == session.id)
        parts << tr("current session");
    parts << (session.isOpen ? tr("open") : tr("put aside")) << sessionSummary(documents_, session);
    return parts.join(QStringLiteral(", "));
}

QVariant SessionTreeModel::data(const QModelIndex& index, int role) const
{
    const PenmarkSession* const session = index.isValid() ? records_.library().sessions.find(node(index).id) : nullptr;
    if (session == nullptr)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return sessionTitle(documents_, *session);
    case Qt::EditRole:
        return QString::fromStdString(session->name.value_or(""));
    case Qt::FontRole: {
        QFont font;
        font.setBold(records_.library().settings.activeSessionID == session->id);
        return font;
    }
    case Qt::ToolTipRole:
    case ListEntry::detailRole:
        return sessionSummary(documents_, *session);
    case Qt::AccessibleTextRole:
        return spokenText(*session);
    case ListEntry::sideRole:
        // It looks at every document of the session, which only rows in sight are asked for.
        return records_.library().settings.activeSessionID == session->id
                   ? tr("now")
                   : listedDate(lastUse(documents_, *session), records_.now());
    case ListEntry::dotRole:
        return static_cast<int>(session->isOpen ? ListEntry::Dot::open : ListEntry::Dot::putAside);
    default:
        return {};
    }
}

bool SessionTreeModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (role != Qt::EditRole || !index.isValid())
        return false;
    const QString name = value.toString().trimmed();
    if (name != data(index, Qt::EditRole).toString())
        emit renamed(node(index).id, name);
    return true;
}

Qt::ItemFlags SessionTreeModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable | Qt::ItemIsDragEnabled |
           Qt::ItemIsDropEnabled;
}

QStringList SessionTreeModel::mimeTypes() const
{
    return {QString::fromLatin1(mimeType)};
}

QMimeData* SessionTreeModel::mimeData(const QModelIndexList& indexes) const
{
    auto* const data = new QMimeData;
    if (!indexes.isEmpty())
        data->setData(QString::fromLatin1(mimeType), QByteArray::fromStdString(node(indexes.first()).id.text()));
    return data;
}

bool SessionTreeModel::canDropMimeData(const QMimeData* data, Qt::DropAction, int, int, const QModelIndex& parent) const
{
    const auto dragged = Uuid::parse(data->data(QString::fromLatin1(mimeType)).toStdString());
    return dragged && canMove(*dragged, session(parent));
}

bool SessionTreeModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                                    const QModelIndex& parent)
{
    if (canDropMimeData(data, action, row, column, parent))
        emit moveAsked(*Uuid::parse(data->data(QString::fromLatin1(mimeType)).toStdString()), session(parent));
    return false;  // so that the view takes no row away
}

}  // namespace penmark
