// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/ClosedItems.h"

#include "organization/Projects.h"
#include "organization/SessionError.h"
#include "organization/Sessions.h"
#include "organization/Workspaces.h"

#include <gtest/gtest.h>

namespace penmark {

namespace {

constexpr Date now{700'000'000};
constexpr double day = 86'400;

class ClosedItemsTest : public testing::Test {
protected:
    ClosedItemsTest() : session(createSession(library, "session", {}, now)), window(addWindow(session, 3)) {}

    Uuid addWindow(const Uuid& in, int tabs)
    {
        RecoveryWindow made;
        made.id = Uuid::random();
        made.isOpen = true;
        for (; tabs > 0; --tabs)
            made.documents.push_back(Uuid::random());
        made.selected = made.documents.front();
        made.sessionID = in;
        putWindow(library, made, now);
        return made.id;
    }

    const RecoveryWindow& record() const { return *library.findWindow(window); }

    SessionLibrary library;
    Uuid session;
    Uuid window;
};

TEST_F(ClosedItemsTest, ATabComesBackAtItsPlaceAsTheSameTab)
{
    const RecoveryWindow before = record();
    for (std::size_t place = 0; place < 3; ++place) {
        const auto item = closeTab(library, window, before.documents[place], "title", now);
        ASSERT_TRUE(item);
        EXPECT_EQ(library.recentlyClosed.find(*item)->tabIndex, static_cast<std::int64_t>(place));
        EXPECT_EQ(record().documents.size(), 2u);
        EXPECT_FALSE(isAttached(library, before.documents[place]));
        const Reopened reopened = reopenClosed(library, *item, now);
        EXPECT_EQ(reopened.document, before.documents[place]);
        EXPECT_EQ(record().documents, before.documents);
        EXPECT_EQ(record().tabIDs, before.tabIDs);
        EXPECT_EQ(record().selected, before.documents[place]);
    }
    EXPECT_TRUE(library.recentlyClosed.isEmpty());
    setReturnNote(library, session, before.documents[0]);
    closeTab(library, window, before.documents[0], "title", now);
    EXPECT_TRUE(isAttached(library, before.documents[0]));
}

// Tabs that were closed one after the other, then the window: each order of reopening gives one window with all tabs.
TEST_F(ClosedItemsTest, PartsOfAWindowComeTogetherAgain)
{
    const std::vector<Uuid> documents = record().documents;
    const Uuid workspace = createWorkspace(library, window, "");
    const SessionLibrary start = library;
    std::vector<std::size_t> order{0, 1, 2};
    do {
        library = start;
        std::vector<Uuid> items;
        for (const Uuid& document : documents)
            items.push_back(*closeTab(library, window, document, "title", now));
        EXPECT_EQ(library.findWindow(window), nullptr);
        for (const std::size_t at : order)
            EXPECT_EQ(reopenClosed(library, items[at], now).window, window);
        EXPECT_EQ(library.sessions.find(session)->windows.size(), 1u);
        EXPECT_EQ(std::set<Uuid>(record().documents.begin(), record().documents.end()),
                  std::set<Uuid>(documents.begin(), documents.end()));
        EXPECT_EQ(membershipOf(library, *library.workspaces.find(workspace)).available(), 1u);
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(ClosedItemsTest, JoinsTheActiveSessionOrANewOneIfItsOwnIsGone)
{
    for (const bool hasOther : {true, false}) {
        SCOPED_TRACE(hasOther);
        SessionLibrary copy = library;
        const Uuid other = createSession(copy, "other", {}, now);
        const auto item = closeWindow(copy, window, "title", now);
        deleteSession(copy, session);
        if (!hasOther)
            closeSession(copy, other);
        const Reopened reopened = reopenClosed(copy, *item, now);
        EXPECT_TRUE(reopened.isOtherSession);
        EXPECT_EQ(reopened.session == other, hasOther);
        EXPECT_EQ(copy.sessionOf(window)->id, reopened.session);
        EXPECT_EQ(shownWindows(copy), std::vector{window});
        EXPECT_THROW(reopenClosed(copy, *item, now), SessionError);
    }
}

TEST_F(ClosedItemsTest, LeavesTabsThatAreAsideToTheirWorkspace)
{
    const std::vector<Uuid> documents = record().documents;
    const Uuid workspace = createWorkspace(library, window, "");
    unlinkWindow(library, workspace, window);
    linkTab(library, workspace, record().tabIDs.at(documents[1]));
    closeWorkspace(library, workspace);
    const auto item = closeWindow(library, window, "title", now);
    EXPECT_EQ(library.recentlyClosed.find(*item)->window.documents, (std::vector{documents[0], documents[2]}));
    reopenWorkspace(library, workspace);
    EXPECT_EQ(record().documents, std::vector{documents[1]});
    EXPECT_EQ(shownWindows(library), std::vector{window});
    reopenClosed(library, *item, now);
    EXPECT_EQ(record().documents, (std::vector{documents[1], documents[0], documents[2]}));

    // The tabs that were shown have gone to another window: there is nothing to be reopened.
    closeWorkspace(library, workspace);
    RecoveryWindow emptied = record();
    for (const Uuid& document : {documents[0], documents[2]}) {
        std::erase(emptied.documents, document);
        emptied.tabIDs.erase(document);
    }
    putWindow(library, emptied, now);
    EXPECT_FALSE(closeWindow(library, window, "title", now));
    EXPECT_TRUE(library.recentlyClosed.isEmpty());
    EXPECT_TRUE(shownWindows(library).empty());
    reopenWorkspace(library, workspace);
    EXPECT_EQ(record().documents, std::vector{documents[1]});
}

TEST_F(ClosedItemsTest, KeepsFiveHundredForNinetyDays)
{
    std::vector<Uuid> items;
    for (int at = 0; at < 510; ++at) {
        const Uuid made = addWindow(session, 1);
        // The oldest is not the first that was added: another computer's clock may differ.
        items.push_back(*closeWindow(library, made, "title", {now.seconds + (at == 3 ? -1 : at) * 60}));
    }
    EXPECT_EQ(library.recentlyClosed.size(), closedItemsKept);
    EXPECT_FALSE(library.recentlyClosed.contains(items[9]));
    EXPECT_TRUE(library.recentlyClosed.contains(items[10]));
    trimClosed(library, {now.seconds + 90 * day + 19.5 * 60});
    EXPECT_EQ(library.recentlyClosed.size(), closedItemsKept - 10);
    trimClosed(library, {now.seconds + 91 * day});
    EXPECT_TRUE(library.recentlyClosed.isEmpty());
}

TEST(ProjectsTest, AFolderIsOneProject)
{
    SessionLibrary library;
    const Uuid session = createSession(library, {}, {}, now);
    const Uuid project = addProject(library, "/home/me/notes/");
    EXPECT_EQ(addProject(library, "/home/me/notes"), project);
    EXPECT_EQ(library.projects.find(project)->name, "notes");
    EXPECT_EQ(library.projects.find(addProject(library, "/"))->name, "/");
    for (const std::string none : {"", "notes"})
        EXPECT_THROW(addProject(library, none), SessionError) << none;

    attachProject(library, session, project);
    locateProject(library, project, "/media/texts");
    EXPECT_EQ(library.projects.find(project)->name, "texts");
    renameProject(library, project, "Mine");
    locateProject(library, project, "/media/other");
    EXPECT_EQ(library.projects.find(project)->name, "Mine");
    removeProject(library, project);
    EXPECT_TRUE(library.sessions.find(session)->projectIDs.empty());
    EXPECT_THROW(attachProject(library, session, project), SessionError);
}

}  // namespace

}  // namespace penmark
