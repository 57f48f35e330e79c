// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/LibrarySection.h"

#include <QMenu>
#include <QWidget>
#include <set>
#include <utility>

namespace penmark {

LibrarySection::LibrarySection(const SectionContext& context, QObject* parent)
    : NavigatorSection(parent), source_(context.source), actions_(context.actions), catalog_(context.catalog),
      view_(context.view)
{
    connect(&source_, &SessionSource::changed, this, [this] {
        if (isBuilt_)
            libraryChanged();
        emit changedHeading();
    });
    connect(&catalog_, &DocumentCatalog::rearranged, this, [this] {
        if (isBuilt_)
            rebuild();
    });
    connect(&catalog_, &DocumentCatalog::changed, this, [this] {
        // Otherwise only titles are others, which are made when they are drawn.
        if (isBuilt_ && isFiltered())
            rebuild();
    });
}

void LibrarySection::build()
{
    if (std::exchange(isBuilt_, true))
        return;
    libraryChanged();
}

QWidget& LibrarySection::window() const
{
    return *view_.window();
}

bool LibrarySection::matches(const QString& text) const
{
    return catalog_.words().match(foldForFilter(text.toStdString()), {});
}

bool LibrarySection::matchesDocument(const Uuid& document) const
{
    const auto place = catalog_.headers().indexOf(document);
    return place && catalog_.isMatch(static_cast<DocumentCatalog::Place>(*place));
}

void addSessionChoices(QMenu& menu, const SessionSource& source, SessionActions& actions,
                       const std::function<bool(const PenmarkSession&)>& isPossible,
                       const std::function<void(const Uuid&)>& choose)
{
    constexpr int most = 30;
    const SessionLibrary& library = source.library();
    std::set<Uuid> offered;
    bool isMore = false;
    const auto offer = [&](const PenmarkSession* session) {
        if (!session || offered.count(session->id) || !isPossible(*session))
            return;
        isMore = offered.size() >= most;
        if (isMore)
            return;
        offered.insert(session->id);
        const QString title = source.sessionTitle(*session).replace(QLatin1Char('&'), QLatin1String("&&"));
        menu.addAction(title, &menu, [choose, id = session->id] { choose(id); });
    };
    for (const Uuid& recent : library.settings.recentSessionIDs)
        offer(library.sessions.find(recent));
    for (const PenmarkSession& session : library.sessions) {
        if (isMore)
            break;
        offer(&session);
    }
    if (isMore) {
        menu.addSeparator();
        menu.addAction(LibrarySection::tr("All Sessions…"), &actions,
                       [&actions] { actions.showOrganiser(SessionActions::OrganiserPage::sessions); });
    }
    menu.setEnabled(!menu.isEmpty());
}

bool isWithin(const SessionLibrary& library, const Uuid& session, const Uuid& outer)
{
    std::set<Uuid> seen;
    for (std::optional<Uuid> at = session; at && seen.insert(*at).second;) {
        if (*at == outer)
            return true;
        const PenmarkSession* const found = library.sessions.find(*at);
        at = found ? found->parentID : std::nullopt;
    }
    return false;
}

}  // namespace penmark
