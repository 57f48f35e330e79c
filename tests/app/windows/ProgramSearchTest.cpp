// SPDX-License-Identifier: GPL-3.0-or-later
// Searching many texts, from the window that does it to the places where hits are opened.
#include "app/windows/ProgramSearch.h"

#include "app/documents/PoolWork.h"
#include "app/editor/EditorView.h"
#include "app/history/HistoryWindow.h"
#include "app/search/QueryField.h"
#include "app/search/SearchResultsView.h"
#include "app/sessions/SessionsWindow.h"
#include "app/windows/ProgramSessions.h"
#include "app/windows/ProgramTest.h"
#include "organization/CheckpointStore.h"
#include "organization/Projects.h"
#include "storage/DocumentStore.h"

#include <QApplication>
#include <set>

namespace penmark {
namespace {

class ProgramSearchTest : public ProgramTest {
protected:
    ProgramSearchTest() { qputenv("XDG_CACHE_HOME", QByteArray::fromStdString(file("cache").native())); }

    SearchWindow& searching() { return *program->search().window(); }
    const TextSearchController& search() { return searching().controller().search(); }
    /// Ctrl+Shift+F, and waits until the window has been drawn and has the focus.
    void open()
    {
        key(Qt::Key_F, Qt::ControlModifier | Qt::ShiftModifier);
        ASSERT_TRUE(program->search().window());
        ASSERT_TRUE(QTest::qWaitForWindowActive(&searching(), 60'000));
        ASSERT_TRUE(wait([&] { return search().visible(); }));
    }
    /// Searches for this and waits for the end.
    void searchFor(const char* text)
    {
        searching().setQuery(text);
        settleSearch();
    }
    void settleSearch()
    {
        ASSERT_TRUE(
            wait([&] { return !search().running() && (search().report().finished || search().report().limited); }));
    }
    /// The hits as "title:line", in their order.
    std::string hits()
    {
        std::string all;
        for (const TextSearchGroup& group : search().report().groups) {
            for (std::size_t hit = group.firstHit; hit < group.firstHit + group.hits; ++hit)
                all += (all.empty() ? "" : " ") + group.source->title + ":" +
                       std::to_string(search().report().hits[hit].line);
        }
        return all;
    }
    void backToText()
    {
        window().activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window(), 60'000));
        window().view()->setFocus();
    }
    std::string selected()
    {
        const EditorView* const view = window().view();
        return view ? view->text().text(view->editor().carets().main().range()) : std::string();
    }
    void openHit(std::size_t hit) { emit searching().hitActivated(hit, false); }
    template <class Window>
    static Window* topLevel()
    {
        for (QWidget* const widget : QApplication::topLevelWidgets()) {
            if (auto* const found = qobject_cast<Window*>(widget); found && found->isVisible())
                return found;
        }
        return nullptr;
    }
    /// Starts with a document in the library that is not in memory.
    Uuid startWith(const std::string& text)
    {
        end();
        Uuid made;
        withLibrary([&](RecoveryStore& store) {
            DocumentStore documents(store);
            made = documents.createWithText(documents.newDocument("Stored"), text).document.id;
        });
        start();
        return made;
    }

    TextSearchScope project(const char* name)
    {
        std::filesystem::create_directories(file(name));
        TextSearchScope scope;
        scope.kind = TextScopeKind::project;
        program->records().change([&](SessionLibrary& library) {
            PenmarkProject project;
            project.id = Uuid::random();
            project.name = name;
            project.path = file(name).native();
            scope.id = project.id;
            library.projects.put(project);
        });
        return scope;
    }
};

TEST_F(ProgramSearchTest, HitsOpenWithTheMatchSelectedWhereverItHasGone)
{
    drafts({"apple pear", "plum\npear"});
    settle();
    open();
    searchFor("pear");
    ASSERT_EQ(search().report().hits.size(), 2U);
    const Uuid first = *search().groupOf(0).source->document;
    openHit(0);
    EXPECT_EQ(window().tabs().selected(), first);
    EXPECT_EQ(selected(), "pear");

    // Typed before it, while the results are still the old ones.
    window().view()->setCarets(CaretSet(Caret(Utf8Offset(0))));
    backToText();
    type("more ");
    openHit(0);
    EXPECT_EQ(selected(), "pear");
    backToText();
    end();
}

// The text is read while the desktop has not yet turned to its window.
TEST_F(ProgramSearchTest, WhoOpensAHitTypesInItsText)
{
    const Uuid stored = startWith("apple pear");
    settle();
    open();
    searchFor("pear");
    openHit(0);
    searching().activateWindow();
    ASSERT_TRUE(wait([&] { return window().tabs().selected() == stored && window().view(); }));
    window().activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window(), 60'000));
    EXPECT_TRUE(wait([&] { return window().view()->hasFocus(); }));
    EXPECT_EQ(selected(), "pear");
    end();
}

TEST_F(ProgramSearchTest, AMinimisedWindowComesBack)
{
    start();
    type("pear");
    open();
    searching().showMinimized();
    ASSERT_FALSE(search().visible());
    backToText();
    open();
    EXPECT_FALSE(searching().isMinimized());
    backToText();
    end();
}

TEST_F(ProgramSearchTest, TextsThatAreStoredAreNotCalledUnsaved)
{
    start();
    type("a pear");
    settle();
    program->documents().storeAll();
    settle();
    open();
    searchFor("pear");
    ASSERT_EQ(search().report().hits.size(), 1U);
    EXPECT_FALSE(search().groupOf(0).source->isUnsaved);
    backToText();
    type(" and more");
    ASSERT_TRUE(wait([&] { return search().report().hits.size() == 1 && search().generation() > 1; }));
    end();
}

TEST_F(ProgramSearchTest, AFolderIsWatchedByEachWindowAndAlsoWhenItIsEmpty)
{
    start();
    const TextSearchScope garden = project("garden");
    for (int round = 0; round < 2; ++round) {
        open();
        searching().setScope(garden);
        searchFor("pear");
        const std::string name = "a" + std::to_string(round) + ".md";
        const char* const expected = round == 0 ? "a0.md:1" : "a0.md:1 a1.md:1";
        // Watching begins some time after the run, so the file is written until somebody has seen it.
        for (int attempt = 0; attempt < 20 && hits() != expected; ++attempt) {
            writeFile(("garden/" + name).c_str(), "a pear");
            static_cast<void>(QTest::qWaitFor([&] { return hits() == expected; }, 2'000));
        }
        EXPECT_EQ(hits(), expected) << search().status() << " " << search().message();
        searching().close();
        ASSERT_TRUE(wait([&] { return !program->search().window(); }));
        backToText();
    }
    end();
}

TEST_F(ProgramSearchTest, AHitWhoseDocumentIsGoneOpensNothing)
{
    drafts({"apple pear", "plum"});
    settle();
    program->documents().storeAll();
    settle();
    open();
    searchFor("pear");
    ASSERT_EQ(search().report().hits.size(), 1U);
    const Uuid gone = *search().groupOf(0).source->document;
    program->documents().discard(std::vector{gone});
    const std::string before = tabs();
    openHit(0);
    EXPECT_EQ(window().statusLine().message().toStdString(), TextSearchError::staleResult().what());
    EXPECT_EQ(tabs(), before);
    backToText();
    end();
}

TEST_F(ProgramSearchTest, HitsOfHistoryTellTheirVersionsAndOpenAtTheMatch)
{
    start();
    type("a pear");
    const auto store = [&] {
        program->documents().storeAll();
        settle();
    };
    store();
    type(" and a pear more");
    store();
    open();
    TextSearchScope scope;
    scope.kind = TextScopeKind::allHistory;
    searching().setScope(scope);
    searchFor("pear");
    ASSERT_EQ(search().report().groups.size(), 2U);
    std::set<double> moments;
    for (const TextSearchGroup& group : search().report().groups)
        moments.insert(group.source->storedAt.value().seconds);
    EXPECT_EQ(moments.size(), 2U);
    EXPECT_LT(Date::now().seconds - *moments.begin(), 600);

    const std::size_t longer = search().report().groups[0].hits == 2 ? 0 : 1;
    openHit(search().report().groups[longer].firstHit + 1);
    auto* const history = topLevel<HistoryWindow>();
    ASSERT_TRUE(history);
    const auto selects = [&](std::size_t start) {
        const auto* const view = history->findChild<EditorView*>();
        return view && view->isVisible() &&
               view->editor().carets() == CaretSet(Caret(Utf8Offset(start), Utf8Offset(start + 4)));
    };
    EXPECT_TRUE(wait([&] { return selects(13); }));
    EXPECT_EQ(history->findChild<EditorView*>()->text().text(), "a pear and a pear more");
    ASSERT_TRUE(QTest::qWaitForWindowActive(history, 60'000));
    QTest::keyClick(history, Qt::Key_F4);  // none was gone to in the list, so this is the first
    EXPECT_TRUE(wait([&] { return selects(2); }));
    backToText();
    end();
}

TEST_F(ProgramSearchTest, ATabThatIsClosedWhileItLoadsIsNotGoneToLater)
{
    const Uuid document = startWith("a pear");
    open();
    searchFor("pear");
    ASSERT_EQ(search().report().hits.size(), 1U);
    window().newDraft();  // so that the tab is not the last
    openHit(0);
    ASSERT_FALSE(window().view()) << "it has to be read first";
    window().closeTab(document);
    window().showDocument(document);
    ASSERT_TRUE(wait([&] { return window().view() != nullptr; }));
    EXPECT_EQ(window().tabs().selected(), document);
    EXPECT_EQ(selected(), "");
    backToText();
    end();
}

// Nobody waits for a text to be looked through, and whoever goes elsewhere meanwhile stays there.
TEST_F(ProgramSearchTest, InALongTextTheMatchIsFoundBehindTheScenes)
{
    std::string lines;
    while (lines.size() < (3U << 20))
        lines += "a line without the word\n";
    startWith(lines + "pear");
    open();
    searchFor("pear");
    ASSERT_EQ(search().report().hits.size(), 1U);
    openHit(0);
    ASSERT_TRUE(wait([&] { return selected() == "pear"; }));
    const auto edit = [&] {
        window().view()->setCarets(CaretSet(Caret(Utf8Offset(0))));
        window().view()->typeText(QStringLiteral("more "));
        openHit(0);
        ASSERT_EQ(selected(), "");
    };
    const auto answered = [] {
        filePool().waitForDone();
        QCoreApplication::processEvents();
    };
    edit();
    answered();
    EXPECT_EQ(selected(), "pear");

    edit();
    window().view()->setCarets(CaretSet(Caret(Utf8Offset(3))));
    answered();
    EXPECT_EQ(window().view()->editor().carets(), CaretSet(Caret(Utf8Offset(3))));
    edit();
    window().view()->typeText(QStringLiteral("!"));
    answered();
    EXPECT_EQ(selected(), "");
    backToText();
    end();
}

TEST_F(ProgramSearchTest, TheLibraryAndTheCalendarLeadHere)
{
    start();
    type("a pear");
    settle();
    window().toggleLibrary();
    for (const char letter : {'p', 'e', 'a', 'r'})
        QTest::keyClick(QApplication::focusWidget(), letter);
    open();
    EXPECT_EQ(search().rule().query, "pear");
    EXPECT_EQ(search().rule().scope.kind, TextScopeKind::allDocuments);
    const QWidget* const query = searching().findChild<QueryField*>();
    EXPECT_TRUE(query->hasFocus());

    program->sessions().keepCheckpoint(QStringLiteral("kept"));
    settle();
    std::vector<CheckpointHeader> kept;
    ASSERT_TRUE(wait([&] {
        kept = CheckpointStore(program->records().queue().store()).headers().headers;
        std::erase_if(kept, [](const CheckpointHeader& each) { return each.name != "kept"; });
        return !kept.empty();
    }));
    program->sessions().showOrganiser(SessionActions::OrganiserPage::calendar);
    auto* const organiser = topLevel<SessionsWindow>();
    ASSERT_TRUE(organiser);
    emit organiser->searchRequested(kept.front().id);
    EXPECT_EQ(search().rule().scope.kind, TextScopeKind::checkpoint);
    EXPECT_EQ(search().rule().scope.id, kept.front().id);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&searching(), 60'000));
    EXPECT_TRUE(query->hasFocus());
    settleSearch();
    EXPECT_EQ(search().report().hits.size(), 1U);
    backToText();
    end();
}

TEST_F(ProgramSearchTest, TheProgramMayEndWhileItSearches)
{
    start();
    type("pear");
    open();
    searching().setQuery("pear");
    searching().controller().search().refresh();
    backToText();
    end();
}

}  // namespace
}  // namespace penmark
