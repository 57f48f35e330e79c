// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/SessionSection.h"

#include "app/navigator/DraggedRows.h"
#include "app/navigator/ReplaceRows.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace penmark {

/// Writes the rows in the order in which they are seen.
class SessionSection::Builder {
public:
    explicit Builder(const SessionSection& section) : section_(section), sessions_(section.library().sessions.items())
    {
        const auto& list = section.library().sessions;
        for (const Session& each : sessions_)
            if (each->parentID && *each->parentID != each->id && list.contains(*each->parentID))
                nested_[*each->parentID].push_back(&each);
        if (!section.isFiltered())
            return;
        for (const Session& each : sessions_)
            if (isHit(*each))
                keep(*each);
    }

    std::vector<Node> run()
    {
        nodes_.reserve(sessions_.size() + 1);
        const auto& list = section_.library().sessions;
        for (const Session& each : sessions_)
            if (!each->parentID || *each->parentID == each->id || !list.contains(*each->parentID))
                addSession(each, 0);
        // Those of a loop hang nowhere.
        if (written_.size() < sessions_.size())
            for (const Session& each : sessions_)
                if (!written_.count(each->id) && !skipped_.count(each->id) && !isHung(*each))
                    addSession(each, 0);
        return std::move(nodes_);
    }
    int matches() const { return static_cast<int>(hits_); }

private:
    bool isHit(const PenmarkSession& session)
    {
        bool isHit =
            session.name && !session.name->empty() && section_.catalog_.words().match(foldForFilter(*session.name), {});
        for (const RecoveryWindow& window : session.windows)
            if (hasHit(window)) {
                windowHits_.insert(window.id);
                isHit = true;
            }
        hits_ += isHit;
        return isHit;
    }
    bool hasHit(const RecoveryWindow& window) const
    {
        return std::any_of(window.documents.begin(), window.documents.end(),
                           [this](const Uuid& document) { return section_.matchesDocument(document); });
    }
    void keep(const PenmarkSession& session)
    {
        const auto around = [this](const PenmarkSession& each) {
            return each.parentID ? section_.library().sessions.find(*each.parentID) : nullptr;
        };
        kept_.insert(session.id);
        for (const PenmarkSession* at = around(session); at && holders_.insert(at->id).second; at = around(*at))
            kept_.insert(at->id);
    }
    /// Below a session that is folded: not lost.
    bool isHung(const PenmarkSession& session) const
    {
        std::unordered_set<Uuid> seen;
        const PenmarkSession* at = &session;
        while (at && seen.insert(at->id).second) {
            if (!at->parentID)
                return true;
            at = section_.library().sessions.find(*at->parentID);
        }
        return at == nullptr;
    }

    bool expands(const Uuid& id, bool holdsHits) const
    {
        return section_.isFiltered() ? holdsHits && !section_.folded_.count(id) : section_.expanded_.count(id) > 0;
    }

    void addSession(const Session& session, int depth)
    {
        if (section_.isFiltered() && !kept_.count(session->id)) {
            skipped_.insert(session->id);
            return;
        }
        if (!written_.insert(session->id).second)
            return;
        const auto nested = nested_.find(session->id);
        const bool hasWindowHit = section_.isFiltered() && std::any_of(session->windows.begin(), session->windows.end(),
                                                                       [this](const RecoveryWindow& window) {
                                                                           return windowHits_.count(window.id) > 0;
                                                                       });
        const bool holdsHits = hasWindowHit || holders_.count(session->id) > 0;
        Node node = made(session, Kind::session, depth);
        node.isExpandable = section_.isFiltered() ? holdsHits : nested != nested_.end() || !session->windows.empty();
        node.isExpanded = node.isExpandable && expands(session->id, holdsHits);
        node.isActive = section_.library().settings.activeSessionID == session->id;
        nodes_.push_back(node);
        if (!node.isExpanded)
            return;
        if (nested != nested_.end())
            for (const Session* each : nested->second)
                addSession(*each, depth + 1);
        for (const RecoveryWindow& window : session->windows)
            addWindow(session, window, depth + 1);
    }

    void addWindow(const Session& session, const RecoveryWindow& window, int depth)
    {
        const bool isHit = windowHits_.count(window.id) > 0;
        if (section_.isFiltered() && !isHit)
            return;
        Node node = made(session, Kind::window, depth);
        node.window = window.id;
        node.isExpandable = !window.documents.empty();
        node.isExpanded = node.isExpandable && expands(window.id, isHit);
        nodes_.push_back(node);
        if (!node.isExpanded)
            return;
        for (const Uuid& document : window.documents) {
            if (section_.isFiltered() && !section_.matchesDocument(document))
                continue;
            Node tab = made(session, Kind::tab, depth + 1);
            tab.window = window.id;
            tab.document = document;
            nodes_.push_back(tab);
        }
    }

    static Node made(const Session& session, Kind kind, int depth)
    {
        Node node;
        node.session = session;
        node.kind = kind;
        node.depth = static_cast<std::uint8_t>(std::min(depth, 255));
        return node;
    }

    const SessionSection& section_;
    const std::vector<Session>& sessions_;
    std::unordered_map<Uuid, std::vector<const Session*>> nested_;
    std::unordered_set<Uuid> kept_;        // that match, and those around them
    std::unordered_set<Uuid> holders_;     // that have a match nested in them
    std::unordered_set<Uuid> windowHits_;  // windows
    std::unordered_set<Uuid> written_;
    std::unordered_set<Uuid> skipped_;
    std::vector<Node> nodes_;
    int hits_ = 0;
};

void SessionSection::rebuild()
{
    if (foldedFor_ != catalog_.words()) {
        foldedFor_ = catalog_.words();
        folded_.clear();
    }
    Builder builder(*this);
    std::vector<Node> wanted = builder.run();
    matches_ = builder.matches();
    if (!isFiltered() && library().sessions.size() == 1) {
        Node message;
        message.kind = Kind::message;
        wanted.push_back(message);
    }
    replaceRows(*this, rows_, std::move(wanted), [](const Node& one, const Node& other) { return one.isSame(other); });
    emit changedHeading();
}

int SessionSection::count() const
{
    return isFiltered() && isBuilt() ? matches_ : static_cast<int>(library().sessions.size());
}

QString SessionSection::countText() const
{
    return count() == 1 ? tr("1 session") : tr("%1 sessions").arg(count());
}

const RecoveryWindow* SessionSection::windowOf(const Node& node) const
{
    for (const RecoveryWindow& window : node.session->windows)
        if (window.id == node.window)
            return &window;
    return nullptr;
}

NavigatorRow SessionSection::row(int number) const
{
    const Node& node = at(number);
    NavigatorRow row;
    row.depth = node.depth;
    row.isExpandable = node.isExpandable;
    row.isExpanded = node.isExpanded;
    if (node.kind == Kind::message) {
        row.kind = NavigatorRow::Kind::message;
        row.title = tr("One session so far. New Session puts other work aside without closing it.");
        return row;
    }
    describe(node, row);
    return row;
}

void SessionSection::describe(const Node& node, NavigatorRow& row) const
{
    const PenmarkSession& session = *node.session;
    if (node.kind == Kind::session) {
        row.kind = NavigatorRow::Kind::session;
        row.title = source_.sessionTitle(session);
        row.name = QString::fromStdString(session.name.value_or(std::string()));
        row.place = source_.sessionSummary(session);
        row.badges = (session.isOpen ? NavigatorRow::isOpen : 0) | (node.isActive ? NavigatorRow::isActive : 0);
        row.canRename = true;
        const auto windows = session.windows.size();
        const QString count = windows == 0   ? tr("no windows")
                              : windows == 1 ? tr("1 window")
                                             : tr("%1 windows").arg(windows);
        const QString state = node.isActive    ? tr("Session, active, %1")
                              : session.isOpen ? tr("Session, open, %1")
                                               : tr("Session, closed, %1");
        row.state = state.arg(count);
        return;
    }
    const RecoveryWindow* const window = windowOf(node);
    if (node.kind == Kind::window) {
        row.kind = NavigatorRow::Kind::window;
        row.title = window ? source_.windowTitle(*window) : QString();
        const bool isPutAside = session.isOpen && window && !window->isOpen;
        row.place = isPutAside ? tr("Put aside") : QString();
        row.isQuiet = isPutAside;
        const auto tabs = window ? window->documents.size() : 0;
        const QString count = tabs == 1 ? tr("1 tab") : tr("%1 tabs").arg(tabs);
        row.state = (isPutAside ? tr("Window, put aside, %1") : tr("Window, %1")).arg(count);
        return;
    }
    row.kind = NavigatorRow::Kind::tab;
    row.title = source_.documentTitle(node.document);
    row.state = window && window->selected == node.document ? tr("Tab, in front") : tr("Tab");
}

void SessionSection::setExpanded(int row, bool isExpanded)
{
    const Node& node = at(row);
    if (!node.isExpandable)
        return;
    const Uuid id = node.kind == Kind::session ? node.session->id : node.window;
    const bool inserts = isFiltered() ? !isExpanded : isExpanded;
    std::set<Uuid>& marked = isFiltered() ? folded_ : expanded_;
    if (inserts)
        marked.insert(id);
    else
        marked.erase(id);
    rebuild();
}

}  // namespace penmark
