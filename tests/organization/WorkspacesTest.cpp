// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/Workspaces.h"

#include "organization/Sessions.h"

#include <map>

#include <gtest/gtest.h>

namespace penmark {

namespace {

constexpr Date now{700'000'000};

/// A session with the windows 1 (tabs a, b, c) and 2 (tabs d, e).
class WorkspacesTest : public testing::Test {
protected:
    WorkspacesTest()
    {
        session = createSession(library, {}, {}, now);
        addWindow("1", "abc");
        addWindow("2", "de");
    }

    void addWindow(const std::string& name, const std::string& tabs)
    {
        RecoveryWindow window;
        window.id = names[name] = Uuid::random();
        window.isOpen = true;
        for (const char tab : tabs)
            window.documents.push_back(names[std::string(1, tab)] = Uuid::random());
        window.selected = window.documents.front();
        window.sessionID = session;
        putWindow(library, window, now);
    }

    /// An open workspace with these members, such as "1d".
    Uuid workspace(const std::string& members)
    {
        const Uuid made = createWorkspace(library, names["1"], members);
        unlinkWindow(library, made, names["1"]);
        for (const char member : members) {
            const std::string name(1, member);
            if (member <= '9')
                linkWindow(library, made, names[name]);
            else
                linkTab(library, made, tabOf(name));
        }
        return made;
    }

    Uuid tabOf(const std::string& document)
    {
        for (const std::string window : {"1", "2"}) {
            const auto& tabs = library.findWindow(names[window])->tabIDs;
            if (const auto tab = tabs.find(names[document]); tab != tabs.end())
                return tab->second;
        }
        return Uuid::random();
    }

    /// What is to be seen, such as "1: a b* 2: d*"; the tab in front has the star.
    std::string shown()
    {
        std::string text;
        for (const std::string name : {"1", "2"}) {
            const RecoveryWindow& window = *library.findWindow(names[name]);
            if (!isShown(*library.sessionOf(window.id), window))
                continue;
            text += (text.empty() ? "" : " ") + name + ":";
            for (const Uuid& document : window.documents) {
                for (const auto& [letter, id] : names) {
                    if (id == document)
                        text += " " + letter + (window.selected == id ? "*" : "");
                }
            }
        }
        return text;
    }

    SessionLibrary library;
    Uuid session;
    std::map<std::string, Uuid> names;
};

// What two overlapping workspaces leave to be seen when the first is closed, when the other is too, and when the first
// or the other is reopened; in both orders of closing.
TEST_F(WorkspacesTest, PutAsideOnlyWhatNoOtherOpenOneLinks)
{
    struct Case {
        std::string first, second;
        std::string firstClosed, secondClosed, bothClosed, firstReopened, secondReopened;
    };
    const std::vector<Case> cases{
        {"1", "2", "2: d* e", "1: a* b c", "", "1: a* b c", "2: d* e"},
        {"1", "1", "1: a* b c 2: d* e", "1: a* b c 2: d* e", "2: d* e", "1: a* b c 2: d* e", "1: a* b c 2: d* e"},
        {"1", "b", "1: b* 2: d* e", "1: a* b c 2: d* e", "2: d* e", "1: a* b c 2: d* e", "1: b* 2: d* e"},
        {"a", "a", "1: a* b c 2: d* e", "1: a* b c 2: d* e", "1: b* c 2: d* e", "1: b* c a 2: d* e",
         "1: b* c a 2: d* e"},
        {"ad", "de", "1: b* c 2: d* e", "1: a* b c 2: d*", "1: b* c", "1: b* c a 2: d*", "1: b* c 2: d* e"},
        {"2", "de", "1: a* b c 2: d* e", "1: a* b c 2: d* e", "1: a* b c", "1: a* b c 2: d* e", "1: a* b c 2: d* e"},
    };
    const SessionLibrary start = library;
    // The order of tabs that come back, and which of them is in front, is not what this is about.
    const auto sorted = [](std::string text) {
        std::erase(text, '*');
        for (std::size_t at = 0; at + 4 < text.size(); ++at) {
            for (std::size_t next = 0; next + 2 < text.size(); ++next) {
                if (std::islower(text[next]) && std::islower(text[next + 2]) && text[next] > text[next + 2])
                    std::swap(text[next], text[next + 2]);
            }
        }
        return text;
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.first + " and " + one.second);
        for (const bool firstGoesFirst : {true, false}) {
            library = start;
            const Uuid first = workspace(one.first);
            const Uuid second = workspace(one.second);
            closeWorkspace(library, firstGoesFirst ? first : second);
            EXPECT_EQ(sorted(shown()), sorted(firstGoesFirst ? one.firstClosed : one.secondClosed));
            closeWorkspace(library, firstGoesFirst ? second : first);
            EXPECT_EQ(sorted(shown()), sorted(one.bothClosed));
            const SessionLibrary closed = library;
            reopenWorkspace(library, first);
            EXPECT_EQ(sorted(shown()), sorted(one.firstReopened));
            library = closed;
            reopenWorkspace(library, second);
            EXPECT_EQ(sorted(shown()), sorted(one.secondReopened));
            // Nothing is left aside by workspaces that are gone.
            library = closed;
            removeWorkspace(library, first);
            removeWorkspace(library, second);
            EXPECT_EQ(sorted(shown()), sorted("1: a b c 2: d e"));
        }
    }
}

TEST_F(WorkspacesTest, KeepsATabInFrontWhenTabsGoAndComeBack)
{
    const Uuid first = workspace("a");
    const Uuid second = workspace("2");
    closeWorkspace(library, first);
    EXPECT_EQ(shown(), "1: b* c 2: d* e");
    closeWorkspace(library, second);
    EXPECT_EQ(shown(), "1: b* c");
    reopenWorkspace(library, first);
    reopenWorkspace(library, second);
    EXPECT_EQ(shown(), "1: b* c a 2: d* e");
}

TEST_F(WorkspacesTest, FollowLinksThatChangeWhileTheyAreClosed)
{
    const Uuid closed = workspace("");
    closeWorkspace(library, closed);
    linkTab(library, closed, tabOf("d"));
    EXPECT_EQ(shown(), "1: a* b c 2: e*");
    linkTab(library, closed, tabOf("e"));
    EXPECT_EQ(shown(), "1: a* b c");
    const Uuid open = workspace("d");  // an open one shows what it links
    EXPECT_EQ(shown(), "1: a* b c 2: d*");
    unlinkTab(library, closed, tabOf("e"));
    EXPECT_EQ(shown(), "1: a* b c 2: d* e");
    closeWorkspace(library, open);
    EXPECT_EQ(shown(), "1: a* b c 2: e*");
    unlinkTab(library, closed, tabOf("d"));
    EXPECT_EQ(shown(), "1: a* b c 2: e*");
    removeWorkspace(library, open);
    EXPECT_EQ(shown(), "1: a* b c 2: e* d");
}

TEST_F(WorkspacesTest, AClosedSessionHidesWhatAnOpenOneLinksAndShowsAllWhenItIsReopened)
{
    const Uuid open = workspace("a");
    const Uuid aside = workspace("2");
    const Uuid tabs = workspace("b");
    closeWorkspace(library, aside);
    closeSession(library, session);
    EXPECT_EQ(shown(), "");
    reopenWorkspace(library, open);
    EXPECT_EQ(shown(), "");
    EXPECT_EQ(membershipOf(library, *library.workspaces.find(open)).available(), 1u);
    closeWorkspace(library, tabs);
    reopenSession(library, library.sessions.find(session)->id);  // a part of the record that is replaced
    // The tab stays with its workspace: its window has others to show.
    EXPECT_EQ(shown(), "1: a* c 2: d* e");
    EXPECT_EQ(library.settings.windowOrder, shownWindows(library));
}

TEST_F(WorkspacesTest, KeepsMembersThatAreNotThere)
{
    const Uuid links = workspace("1de");
    const Uuid tab = tabOf("d");
    deleteSession(library, session);
    const auto summary = membershipOf(library, *library.workspaces.find(links));
    EXPECT_EQ(summary.available(), 0u);
    EXPECT_EQ(summary.unavailableWindows, std::vector{names["1"]});
    EXPECT_EQ(summary.unavailableTabs.size(), 2u);
    EXPECT_TRUE(documentsOfWorkspace(library, links).empty());
    focusWorkspace(library, links);
    unlinkTab(library, links, tab);
    EXPECT_EQ(membershipOf(library, *library.workspaces.find(links)).unavailableTabs.size(), 1u);
}

TEST_F(WorkspacesTest, FocusHidesOtherWindowsAndChangesNothingElse)
{
    addWindow("3", "f");
    const Uuid links = workspace("d3");
    const SessionLibrary before = library;
    focusWorkspace(library, links);
    EXPECT_EQ(shownWindows(library), (std::vector{names["3"], names["2"]}));
    EXPECT_TRUE(library.sessions == before.sessions && library.workspaces == before.workspaces);
    endFocus(library);
    EXPECT_EQ(shownWindows(library), (std::vector{names["3"], names["2"], names["1"]}));
    focusWorkspace(library, links);
    removeWorkspace(library, links);
    EXPECT_EQ(shownWindows(library).size(), 3u);
    EXPECT_FALSE(library.settings.activeWorkspaceID);
}

// The window in the program is what counts, but a tab that a workspace has put aside there is not lost by it.
TEST_F(WorkspacesTest, AWindowThatIsStoredKeepsWhatIsAside)
{
    const Uuid links = workspace("b");
    RecoveryWindow window = *library.findWindow(names["1"]);
    closeWorkspace(library, links);
    window.documents = {names["c"], names["a"]};
    window.selected = names["c"];
    window.tabIDs[Uuid::random()] = Uuid::random();  // left behind by a tab that was closed
    putWindow(library, window, now);
    EXPECT_EQ(shown(), "1: c* a 2: d* e");
    EXPECT_TRUE(isPutAside(*library.findWindow(names["1"]), names["b"]));
    EXPECT_EQ(library.findWindow(names["1"])->tabIDs.size(), 3u);
    reopenWorkspace(library, links);
    putWindow(library, window, now);  // it does not know yet
    EXPECT_EQ(shown(), "1: c* a b 2: d* e");
}

}  // namespace

}  // namespace penmark
