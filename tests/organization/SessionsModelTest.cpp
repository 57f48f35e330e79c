// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/SessionsModel.h"

#include "organization/ClosedItems.h"
#include "organization/SessionError.h"
#include "organization/SessionLibraryStore.h"
#include "organization/Sessions.h"
#include "organization/Workspaces.h"
#include "storage/RecoveryStore.h"
#include "storage/TemporaryFolder.h"

#include <algorithm>
#include <functional>
#include <random>

#include <gtest/gtest.h>

namespace penmark {

namespace {

using Refusal = std::optional<SessionError::Case>;

/// Does the same to a library and to the model, and compares.
class ModelRun {
public:
    explicit ModelRun(unsigned seed) : random_(seed) {}

    void step()
    {
        using Step = void (ModelRun::*)();
        static constexpr std::array steps{
            &ModelRun::createOne,    &ModelRun::closeOne,     &ModelRun::reopenOne,     &ModelRun::moveOne,
            &ModelRun::deleteOne,    &ModelRun::duplicateOne, &ModelRun::useOne,        &ModelRun::moveAWindow,
            &ModelRun::putNewWindow, &ModelRun::putNewWindow, &ModelRun::putAnotherTab, &ModelRun::putAnotherTab,
            &ModelRun::closeAWindow, &ModelRun::closeATab,    &ModelRun::closeATab,     &ModelRun::reopenAnItem,
            &ModelRun::reopenAnItem, &ModelRun::makeLinks,    &ModelRun::linkAWindow,   &ModelRun::linkATab,
            &ModelRun::linkATab,     &ModelRun::unlinkOne,    &ModelRun::closeLinks,    &ModelRun::reopenLinks,
            &ModelRun::removeLinks,  &ModelRun::reopenOne,    &ModelRun::reopenLinks,   &ModelRun::closeLinks};
        const Step chosen = steps[below(steps.size())];
        before_ = library;
        (this->*chosen)();
    }

    void compare() const
    {
        ASSERT_EQ(dump(seen(library)), dump(model_)) << "after " << name_;
        const WindowFacts facts = windowFacts();
        std::vector<Uuid> order = library.settings.windowOrder;
        std::sort(order.begin(), order.end());
        ASSERT_EQ(order, facts.shown) << "after " << name_;
        const auto& focused = library.settings.focusedWindowID;
        ASSERT_TRUE(!focused || std::binary_search(order.begin(), order.end(), *focused)) << "after " << name_;
        ASSERT_TRUE(facts.strays.empty()) << "after " << name_ << ": " << facts.strays;
        ASSERT_NO_THROW(validate(library));
    }

    SessionLibrary library;

private:
    struct WindowFacts {
        std::vector<Uuid> shown;
        std::string strays;
    };

    // The windows that are to be seen, and what must not be: a tab that is aside without a closed workspace that would
    // bring it back, a window without a tab in front.
    WindowFacts windowFacts() const
    {
        WindowFacts facts;
        for (const ModelSession& session : model_.sessions) {
            for (const ModelWindow& window : session.windows) {
                if (session.isOpen && window.isShown())
                    facts.shown.push_back(window.id);
                for (const ModelTab& tab : window.tabs) {
                    if (!tab.isShown && !(isLinked(window.id, tab.tab, false) && !isLinked(window.id, tab.tab, true)))
                        facts.strays += " tab " + shortly(tab.tab);
                }
                const RecoveryWindow& record = *library.findWindow(window.id);
                const auto& documents = record.documents;
                if (record.selected ? std::count(documents.begin(), documents.end(), *record.selected) != 1
                                    : !documents.empty())
                    facts.strays += " selection of " + shortly(window.id);
                if (record.sessionID != session.id)
                    facts.strays += " session of " + shortly(window.id);
            }
        }
        std::sort(facts.shown.begin(), facts.shown.end());
        return facts;
    }

    std::size_t below(std::size_t count) { return random_() % count; }

    template <class T>
    T* any(std::vector<T>& list)
    {
        return list.empty() ? nullptr : &list[below(list.size())];
    }

    // Sometimes one that is not there.
    template <class T>
    Uuid anyId(std::vector<T>& list)
    {
        return list.empty() || below(12) == 0 ? Uuid::random() : any(list)->id;
    }

    struct Place {
        ModelSession* session = nullptr;
        ModelWindow* window = nullptr;
    };

    Place find(const Uuid& window)
    {
        for (ModelSession& session : model_.sessions) {
            if (ModelWindow* const found = findIn(session.windows, window))
                return {&session, found};
        }
        return {};
    }

    Place anyWindow()
    {
        std::vector<Place> all;
        for (ModelSession& session : model_.sessions) {
            for (ModelWindow& window : session.windows)
                all.push_back({&session, &window});
        }
        return all.empty() ? Place{} : all[below(all.size())];
    }

    bool isLinked(const Uuid& window, const Uuid& tab, bool open) const
    {
        return std::any_of(model_.workspaces.begin(), model_.workspaces.end(), [&](const ModelWorkspace& workspace) {
            return workspace.isOpen == open && workspace.links(window, tab);
        });
    }

    void forMembers(const ModelWorkspace& members, const std::function<void(const ModelWindow&, ModelTab&)>& change)
    {
        for (ModelSession& session : model_.sessions) {
            for (ModelWindow& window : session.windows) {
                for (ModelTab& tab : window.tabs) {
                    if (members.links(window.id, tab.tab))
                        change(window, tab);
                }
            }
        }
    }
    void show(const ModelWorkspace& members)
    {
        forMembers(members, [](const ModelWindow&, ModelTab& tab) { tab.isShown = true; });
    }
    void hide(const ModelWorkspace& members)
    {
        forMembers(members, [&](const ModelWindow& window, ModelTab& tab) {
            tab.isShown = tab.isShown && isLinked(window.id, tab.tab, true);
        });
    }
    void showUnlessHeld(const ModelWorkspace& members)
    {
        forMembers(members, [&](const ModelWindow& window, ModelTab& tab) {
            tab.isShown = tab.isShown || !isLinked(window.id, tab.tab, false);
        });
    }

    // Calls it and expects the refusal, which must leave everything as it was. Whether it was done.
    bool does(const std::string& name, Refusal expected, const std::function<void()>& call)
    {
        name_ = name;
        Refusal refusal;
        try {
            call();
        } catch (const SessionError& error) {
            refusal = error.which();
        }
        EXPECT_EQ(refusal, expected) << name;
        if (refusal) {
            EXPECT_TRUE(library == before_) << name << " was refused and has changed something";
        }
        return !refusal && !expected;
    }

    void use(const Uuid& id)
    {
        std::erase(model_.recent, id);
        model_.recent.insert(model_.recent.begin(), id);
        if (findIn(model_.sessions, id)->isOpen)
            model_.active = id;
    }
    void findActive()
    {
        if (model_.active) {
            const ModelSession* const active = findIn(model_.sessions, *model_.active);
            if (active != nullptr && active->isOpen)
                return;
        }
        model_.active.reset();
        for (const ModelSession& session : model_.sessions) {
            if (session.isOpen)
                model_.active = session.id;
        }
        for (auto id = model_.recent.rbegin(); id != model_.recent.rend(); ++id) {
            if (findIn(model_.sessions, *id)->isOpen)
                model_.active = *id;
        }
    }
    // Where a window goes that nothing claims.
    Uuid joined()
    {
        findActive();
        if (!model_.active) {
            const PenmarkSession& made = *library.sessions.items().back();
            model_.sessions.push_back({made.id, {}, true, {}});
            use(made.id);
        }
        return *model_.active;
    }

    bool isInside(const Uuid& session, const Uuid& outer)
    {
        for (std::optional<Uuid> at = session; at; at = findIn(model_.sessions, *at)->parent) {
            if (*at == outer)
                return true;
        }
        return false;
    }
    std::vector<ModelSession*> inside(const Uuid& outer)
    {
        std::vector<ModelSession*> found;
        for (ModelSession& session : model_.sessions) {
            if (isInside(session.id, outer))
                found.push_back(&session);
        }
        return found;
    }

    Refusal missing(const Uuid& session)
    {
        return findIn(model_.sessions, session) ? Refusal() : SessionError::Case::sessionGone;
    }
    Refusal missingLinks(const Uuid& workspace)
    {
        return findIn(model_.workspaces, workspace) ? Refusal() : SessionError::Case::workspaceGone;
    }

    void createOne()
    {
        std::optional<Uuid> parent;
        if (model_.sessions.size() > 15)
            return;
        if (below(2) == 0)
            parent = anyId(model_.sessions);
        Refusal refusal;
        if (parent && !findIn(model_.sessions, *parent))
            refusal = SessionError::Case::nestingLoop;
        else if (parent && !findIn(model_.sessions, *parent)->isOpen)
            refusal = SessionError::Case::destinationNotOpen;
        Uuid id;
        if (does("createSession", refusal, [&] { id = createSession(library, {}, parent, now()); })) {
            model_.sessions.push_back({id, parent, true, {}});
            use(id);
        }
    }
    void closeOne()
    {
        const Uuid id = anyId(model_.sessions);
        if (!does("closeSession", missing(id), [&] { closeSession(library, id); }))
            return;
        for (ModelSession* session : inside(id))
            session->isOpen = false;
        findActive();
    }
    void reopenOne()
    {
        const Uuid id = anyId(model_.sessions);
        if (!does("reopenSession", missing(id), [&] { reopenSession(library, id); }))
            return;
        for (ModelSession* session : inside(id)) {
            session->isOpen = true;
            // Of a window that was aside, something is seen; what exactly is for the library to say.
            for (ModelWindow& window : session->windows) {
                if (window.isShown())
                    continue;
                window = seen(*library.findWindow(window.id), library.findWindow(window.id)->isOpen);
                EXPECT_TRUE(window.isShown() || window.tabs.empty());
            }
        }
        use(id);
    }
    void moveOne()
    {
        const Uuid id = anyId(model_.sessions);
        const std::optional<Uuid> parent = below(3) == 0 ? std::nullopt : std::optional(anyId(model_.sessions));
        Refusal refusal = missing(id);
        if (!refusal && parent) {
            if (!findIn(model_.sessions, *parent) || isInside(*parent, id))
                refusal = SessionError::Case::nestingLoop;
            else if (findIn(model_.sessions, id)->isOpen && !findIn(model_.sessions, *parent)->isOpen)
                refusal = SessionError::Case::destinationNotOpen;
        }
        if (does("moveSession", refusal, [&] { moveSession(library, id, parent); }))
            findIn(model_.sessions, id)->parent = parent;
    }
    void deleteOne()
    {
        const Uuid id = anyId(model_.sessions);
        if (!does("deleteSession", missing(id), [&] { deleteSession(library, id); }))
            return;
        const auto parent = findIn(model_.sessions, id)->parent;
        for (ModelSession& session : model_.sessions) {
            if (session.parent == id)
                session.parent = parent;
        }
        std::erase_if(model_.sessions, [&](const ModelSession& session) { return session.id == id; });
        std::erase(model_.recent, id);
        findActive();
    }
    void duplicateOne()
    {
        const Uuid id = anyId(model_.sessions);
        if (model_.sessions.size() > 15)
            return;
        Uuid made;
        if (!does("duplicateSession", missing(id), [&] { made = duplicateSession(library, id, now()); }))
            return;
        ModelSession copy = *findIn(model_.sessions, id);
        copy.id = made;
        copy.isOpen = true;
        const PenmarkSession& record = *library.sessions.find(made);
        ASSERT_EQ(record.windows.size(), copy.windows.size());
        for (std::size_t at = 0; at < copy.windows.size(); ++at) {
            ASSERT_NE(copy.windows[at].id, record.windows[at].id);
            copy.windows[at].id = record.windows[at].id;
            for (ModelTab& tab : copy.windows[at].tabs) {
                const Uuid fresh = record.windows[at].tabIDs.at(tab.document);
                EXPECT_NE(tab.tab, fresh);
                tab = {tab.document, fresh, true};
            }
        }
        model_.sessions.push_back(copy);
        use(made);
    }
    void useOne()
    {
        const Uuid id = anyId(model_.sessions);
        if (does("useSession", missing(id), [&] { useSession(library, id); }))
            use(id);
    }
    void moveAWindow()
    {
        const Place place = anyWindow();
        if (place.window == nullptr)
            return;
        const Uuid window = below(10) == 0 ? Uuid::random() : place.window->id;
        const Uuid id = anyId(model_.sessions);
        Refusal refusal = missing(id);
        if (!refusal && window != place.window->id)
            refusal = SessionError::Case::windowNotOpen;
        else if (!refusal && id != place.session->id && !findIn(model_.sessions, id)->isOpen)
            refusal = SessionError::Case::destinationNotOpen;
        if (!does("moveWindow", refusal, [&] { moveWindow(library, window, id); }) || id == place.session->id)
            return;
        findIn(model_.sessions, id)->windows.push_back(*place.window);
        std::erase_if(place.session->windows, [&](const ModelWindow& at) { return at.id == window; });
    }
    void putNewWindow()
    {
        RecoveryWindow window;
        window.id = Uuid::random();
        window.isOpen = true;
        for (std::size_t count = 1 + below(3); count > 0; --count)
            window.documents.push_back(Uuid::random());
        window.selected = window.documents.front();
        if (below(2) == 0)
            window.sessionID = anyId(model_.sessions);
        if (!does("putWindow, new", {}, [&] { putWindow(library, window, now()); }))
            return;
        const bool isClaimed = window.sessionID && findIn(model_.sessions, *window.sessionID);
        const Uuid session = isClaimed ? *window.sessionID : joined();
        const RecoveryWindow& record = *library.findWindow(window.id);
        ModelWindow made{window.id, {}};
        for (const Uuid& document : window.documents)
            made.tabs.push_back({document, record.tabIDs.at(document), true});
        findIn(model_.sessions, session)->windows.push_back(made);
    }
    void putAnotherTab()
    {
        const Place place = anyWindow();
        if (place.window == nullptr || !place.window->isShown())
            return;
        RecoveryWindow window = *library.findWindow(place.window->id);
        const Uuid document = Uuid::random();
        window.documents.insert(window.documents.begin(), document);
        if (does("putWindow", {}, [&] { putWindow(library, window, now()); }))
            place.window->tabs.push_back({document, library.findWindow(place.window->id)->tabIDs.at(document), true});
    }

    void itemMade(const std::optional<Uuid>& item, ModelSession& session, ModelWindow& window,
                  const std::function<bool(const ModelTab&)>& goes)
    {
        ModelWindow closed{window.id, {}};
        for (const ModelTab& tab : window.tabs) {
            if (goes(tab))
                closed.tabs.push_back({tab.document, tab.tab, true});
        }
        ASSERT_EQ(item.has_value(), !closed.tabs.empty());
        if (item)
            model_.closed.push_back({*item, session.id, closed});
        std::erase_if(window.tabs, goes);
        const Uuid id = window.id;
        if (window.tabs.empty())
            std::erase_if(session.windows, [&](const ModelWindow& at) { return at.id == id; });
    }
    void closeAWindow()
    {
        const Place place = anyWindow();
        std::optional<Uuid> item;
        if (place.window == nullptr ||
            !does("closeWindow", {}, [&] { item = closeWindow(library, place.window->id, "window", now()); }))
            return;
        const bool wasShown = place.window->isShown();
        itemMade(item, *place.session, *place.window, [&](const ModelTab& tab) { return tab.isShown || !wasShown; });
    }
    void closeATab()
    {
        const Place place = anyWindow();
        if (place.window == nullptr || place.window->tabs.empty())
            return;
        const Uuid document = any(place.window->tabs)->document;
        std::optional<Uuid> item;
        if (does("closeTab", {}, [&] { item = closeTab(library, place.window->id, document, "tab", now()); }))
            itemMade(item, *place.session, *place.window,
                     [&](const ModelTab& tab) { return tab.document == document; });
    }
    void reopenAnItem()
    {
        const Uuid id = anyId(model_.closed);
        ModelItem* const item = findIn(model_.closed, id);
        Reopened reopened;
        if (!does("reopenClosed", item ? Refusal() : SessionError::Case::closedItemGone,
                  [&] { reopened = reopenClosed(library, id, now()); }))
            return;
        const bool isGone = !item->session || !findIn(model_.sessions, *item->session);
        EXPECT_EQ(reopened.isOtherSession, isGone);
        if (const Place place = find(item->window.id); place.window != nullptr) {
            EXPECT_EQ(reopened.session, place.session->id);
            place.window->tabs.insert(place.window->tabs.end(), item->window.tabs.begin(), item->window.tabs.end());
        } else {
            const Uuid session = isGone ? joined() : *item->session;
            EXPECT_EQ(reopened.session, session);
            findIn(model_.sessions, session)->windows.push_back(item->window);
        }
        std::erase_if(model_.closed, [&](const ModelItem& at) { return at.id == id; });
    }

    void makeLinks()
    {
        const Place place = anyWindow();
        if (place.window == nullptr || model_.workspaces.size() > 6)
            return;
        Uuid id;
        if (!does("createWorkspace", {}, [&] { id = createWorkspace(library, place.window->id, "name"); }))
            return;
        model_.workspaces.push_back({id, true, {place.window->id}, {}});
        show(model_.workspaces.back());
    }
    void linkAWindow()
    {
        const Place place = anyWindow();
        if (place.window == nullptr)
            return;
        const Uuid window = below(10) == 0 ? Uuid::random() : place.window->id;
        const Uuid id = anyId(model_.workspaces);
        Refusal refusal = missingLinks(id);
        if (!refusal && window != place.window->id)
            refusal = SessionError::Case::windowNotOpen;
        if (does("linkWindow", refusal, [&] { linkWindow(library, id, window); }))
            link(*findIn(model_.workspaces, id), &ModelWorkspace::windows, window);
    }
    void linkATab()
    {
        const Place place = anyWindow();
        if (place.window == nullptr || place.window->tabs.empty())
            return;
        const Uuid tab = below(10) == 0 ? Uuid::random() : any(place.window->tabs)->tab;
        const Uuid id = anyId(model_.workspaces);
        const bool isThere = std::any_of(place.window->tabs.begin(), place.window->tabs.end(),
                                         [&](const ModelTab& at) { return at.tab == tab; });
        Refusal refusal = missingLinks(id);
        if (!refusal && !isThere)
            refusal = SessionError::Case::tabNotOpen;
        if (does("linkTab", refusal, [&] { linkTab(library, id, tab); }))
            link(*findIn(model_.workspaces, id), &ModelWorkspace::tabs, tab);
    }
    void link(ModelWorkspace& workspace, std::vector<Uuid> ModelWorkspace::*members, const Uuid& member)
    {
        std::vector<Uuid>& list = workspace.*members;
        if (std::count(list.begin(), list.end(), member) > 0)
            return;
        list.push_back(member);
        ModelWorkspace linked{workspace.id, workspace.isOpen, {}, {}};
        (linked.*members).push_back(member);
        workspace.isOpen ? show(linked) : hide(linked);
    }
    void unlinkOne()
    {
        ModelWorkspace* const workspace = any(model_.workspaces);
        if (workspace == nullptr)
            return;
        const auto members = below(2) == 0 ? &ModelWorkspace::windows : &ModelWorkspace::tabs;
        std::vector<Uuid>& list = workspace->*members;
        if (list.empty())
            return;
        const Uuid member = *any(list);
        const bool isWindow = members == &ModelWorkspace::windows;
        does(isWindow ? "unlinkWindow" : "unlinkTab", {},
             [&] { (isWindow ? unlinkWindow : unlinkTab)(library, workspace->id, member); });
        std::erase(list, member);
        ModelWorkspace unlinked{workspace->id, workspace->isOpen, {}, {}};
        (unlinked.*members).push_back(member);
        if (!workspace->isOpen)
            showUnlessHeld(unlinked);
    }
    void closeLinks()
    {
        const Uuid id = anyId(model_.workspaces);
        if (!does("closeWorkspace", missingLinks(id), [&] { closeWorkspace(library, id); }))
            return;
        ModelWorkspace& workspace = *findIn(model_.workspaces, id);
        if (!std::exchange(workspace.isOpen, false))
            return;
        hide(workspace);
        EXPECT_NE(library.settings.focusedWorkspaceID, id);
    }
    void reopenLinks()
    {
        const Uuid id = anyId(model_.workspaces);
        const bool focuses = below(2) == 0;
        if (!does("reopenWorkspace", missingLinks(id),
                  [&] { (focuses ? focusWorkspace : reopenWorkspace)(library, id); }))
            return;
        ModelWorkspace& workspace = *findIn(model_.workspaces, id);
        workspace.isOpen = true;
        show(workspace);
        EXPECT_EQ(library.settings.activeWorkspaceID, id);
        EXPECT_TRUE(!focuses || library.settings.focusedWorkspaceID == id);
    }
    void removeLinks()
    {
        const Uuid id = anyId(model_.workspaces);
        if (!does("removeWorkspace", missingLinks(id), [&] { removeWorkspace(library, id); }))
            return;
        const ModelWorkspace removed = *findIn(model_.workspaces, id);
        std::erase_if(model_.workspaces, [&](const ModelWorkspace& at) { return at.id == id; });
        if (!removed.isOpen)
            showUnlessHeld(removed);
        EXPECT_NE(library.settings.activeWorkspaceID, id);
        EXPECT_NE(library.settings.focusedWorkspaceID, id);
    }

    Date now() { return {++clock_}; }

    std::mt19937 random_;
    Model model_;
    SessionLibrary before_;
    std::string name_;
    double clock_ = 700'000'000;
};

// Whatever is done, in whatever order: what the library says is what the rules say, and what is read back is what
// was saved, order included.
TEST(SessionsModelTest, AgreesWithTheRulesThroughAnySequenceOfOperations)
{
    for (unsigned seed = 1; seed <= 10; ++seed) {
        const TemporaryFolder folder(TemporaryFolder::inMemory());
        RecoveryStore store(RecoveryConfiguration{folder.path(), {}});
        ModelRun run(seed);
        SessionLibrary stored;
        for (int step = 1; step <= 1000; ++step) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
            run.step();
            run.compare();
            ASSERT_FALSE(testing::Test::HasFailure());
            if (step % 100 != 0)
                continue;
            SessionLibraryStore(store).save(stored, run.library);
            const auto loaded = SessionLibraryStore(store).load();
            ASSERT_EQ(loaded.problems, std::vector<std::string>());
            ASSERT_EQ(dump(seen(loaded.library)), dump(seen(run.library)));
            ASSERT_TRUE(loaded.library == run.library);
            stored = step % 200 == 0 ? loaded.library : run.library;
        }
    }
}

}  // namespace

}  // namespace penmark
