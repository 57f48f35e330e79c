// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextSearchScopes.h"

#include "base/SystemError.h"
#include "organization/CheckpointFixture.h"
#include "organization/Projects.h"
#include "organization/Sessions.h"
#include "organization/Workspaces.h"
#include "search/TextSearchError.h"

#include <algorithm>

namespace penmark {
namespace {

class TextSearchScopesTest : public CheckpointFixture {
protected:
    Uuid session(const std::string& name, std::optional<Uuid> parent = {})
    {
        return createSession(library, name, parent, now);
    }

    RecoveryWindow window(const Uuid& inSession, const std::vector<Uuid>& tabs)
    {
        RecoveryWindow window;
        window.id = Uuid::random();
        window.isOpen = true;
        window.sessionID = inSession;
        window.documents = tabs;
        putWindow(library, window, now);
        return *library.findWindow(window.id);
    }

    ResolvedSearchTarget resolve(TextScopeKind kind, std::optional<Uuid> id = {},
                                 TextSearchField field = TextSearchField::contents) const
    {
        return resolveScope({kind, id, {}}, context, library, names, field);
    }

    TextSearchSources sources(TextScopeKind kind, std::optional<Uuid> id = {})
    {
        ResolvedSearchTarget target;
        target.kind = kind;
        target.id = id;
        StoredSources found = storedSources(store, target, library, open, {});
        problems = found.problems;
        return found.sources;
    }

    /// Titles in alphabetical order, a revision's marked.
    std::string titles(TextScopeKind kind, std::optional<Uuid> id = {})
    {
        const TextSearchSources found = sources(kind, id);
        std::vector<std::string> list;
        for (std::size_t i = 0; i < found.size(); ++i) {
            const TextSearchSource source = found.source(i);
            list.push_back(source.title + (source.kind == TextSearchSource::Kind::historical ? "@" : ""));
        }
        std::sort(list.begin(), list.end());
        std::string joined;
        for (const std::string& title : list)
            joined.append(joined.empty() ? "" : " ").append(title);
        return joined;
    }

    std::string refusal(TextScopeKind kind, std::optional<Uuid> id = {})
    {
        try {
            return "not refused: " + titles(kind, id);
        } catch (const TextSearchError& error) {
            return error.what();
        }
    }

    SessionLibrary library;
    TextSearchContext context;
    TextSearchNames names;
    std::vector<OpenDocument> open;
    std::vector<std::string> problems;
};

TEST_F(TextSearchScopesTest, SaysWhatCanBeDoneWithoutATarget)
{
    PenmarkProject moved;
    moved.id = Uuid::random();
    library.projects.put(moved);
    const Uuid away = addProject(library, "/away");
    const Uuid unknown = Uuid::random();
    names.document = names.checkpoint = [](const Uuid&) { return std::nullopt; };
    names.folder = [](const std::string& path) { return path != "/away"; };

    using K = TextScopeKind;
    const std::vector<std::tuple<K, std::optional<Uuid>, std::string>> cases{
        {K::currentFile, {}, "Activate an editor to choose the current file."},
        {K::currentSession, {}, "Choose a session."},
        {K::currentWorkspace, {}, "Show or focus a workspace to choose the current workspace."},
        {K::file, unknown, "Choose an available file."},
        {K::session, unknown, "Choose an available session."},
        {K::workspace, unknown, "Choose an available workspace."},
        {K::project, unknown, "Choose an available project."},
        {K::project, moved.id, "Locate this folder on this Mac to search it."},
        {K::project, away, "Locate this folder on this Mac to search it."},
        {K::checkpoint, unknown, "Choose an available checkpoint."},
    };
    // What is there no more is as what was never chosen.
    const TextSearchContext gone{unknown, unknown, unknown};
    for (const TextSearchContext& present : {gone, TextSearchContext()}) {
        context = present;
        for (const auto& [kind, id, message] : cases) {
            EXPECT_FALSE(resolve(kind, id).isAvailable) << message;
            EXPECT_EQ(resolve(kind, id).message, message);
        }
    }
    EXPECT_EQ(resolve(K::file).message, "Choose an available file.");
}

TEST_F(TextSearchScopesTest, DescribesWhatATargetCovers)
{
    const Uuid named = session("Work");
    const Uuid unnamed = session("");
    const RecoveryWindow window = this->window(named, {Uuid::random()});
    const Uuid workspace = createWorkspace(library, window.id, "Draft");
    const Uuid project = addProject(library, "/home/someone/notes");
    const Uuid id = Uuid::random();
    context = {id, unnamed, workspace};
    names.document = [](const Uuid&) { return "a.md"; };
    names.checkpoint = [](const Uuid&) { return "Friday"; };

    using K = TextScopeKind;
    const std::vector<std::tuple<K, std::optional<Uuid>, std::string, std::string>> cases{
        {K::currentFile, {}, "a.md", "a.md · Follows the active editor"},
        {K::currentSession, {}, "Session", "Includes nested sessions"},
        {K::currentWorkspace, {}, "Draft", "Draft · Follows the last activated workspace"},
        {K::file, id, "a.md", "Current text, including unsaved edits"},
        {K::session, named, "Work", "Includes nested sessions"},
        {K::workspace, workspace, "Draft", "Draft · Linked windows and tabs"},
        {K::project, project, "notes", "/home/someone/notes"},
        {K::checkpoint, id, "Friday", "Stored text · Read-only"},
        {K::allDocuments, {}, "All retained documents", "Current versions, including closed sessions"},
        {K::allHistory, {}, "All retained history", "Revisions, including discarded documents"},
    };
    for (const auto& [kind, chosen, title, detail] : cases) {
        const ResolvedSearchTarget target = resolve(kind, chosen);
        EXPECT_TRUE(target.isAvailable) << title;
        EXPECT_EQ(target.title, title);
        EXPECT_EQ(target.detail, detail);
        EXPECT_EQ(target.folder, kind == K::project ? detail : "");
    }
    EXPECT_EQ(resolve(K::file, id, TextSearchField::namesAndPaths).detail, "Names and paths");
    EXPECT_EQ(resolve(K::currentSession).id, unnamed);
    names.session = [](const Uuid&) { return "todo, +4"; };
    EXPECT_EQ(resolve(K::currentSession).title, "todo, +4");
}

// The parent is the scope: what is in it, in a nested session, put aside with a workspace, kept as a return note and
// open without a record counts once each; what is discarded, gone or elsewhere does not count.
TEST_F(TextSearchScopesTest, CoversADocumentOfSeveralSessionsAndWindowsOnce)
{
    const Uuid shared = write("shared", "1").id;
    const Uuid aside = write("aside", "2").id;
    const Uuid note = write("note", "3").id;
    const Uuid elsewhere = write("elsewhere", "4").id;
    const Uuid discarded = write("discarded", "5").id;
    const Uuid fresh = Uuid::random();
    documents.discard(discarded);
    open = {{fresh, "fresh", {}}, {Uuid::random(), "other", {}}};

    const Uuid parent = session("Parent");
    const Uuid child = session("Child", parent);
    const Uuid sibling = session("Sibling", child);
    const RecoveryWindow first = window(child, {shared, aside, discarded, Uuid::random()});
    const RecoveryWindow second = window(sibling, {shared, fresh});
    window(session("Other"), {elsewhere});
    setReturnNote(library, parent, note);
    const Uuid workspace = createWorkspace(library, second.id, "Links");
    linkTab(library, workspace, first.tabIDs.at(aside));
    linkTab(library, workspace, first.tabIDs.at(shared));
    closeWorkspace(library, workspace);

    EXPECT_EQ(titles(TextScopeKind::session, parent), "aside fresh note shared");
    EXPECT_EQ(titles(TextScopeKind::currentSession, sibling), "fresh shared");
    EXPECT_EQ(titles(TextScopeKind::workspace, workspace), "aside fresh shared");
    EXPECT_EQ(problems, std::vector<std::string>());
}

TEST_F(TextSearchScopesTest, SearchesCurrentTextsAndLeavesDiscardedOnesToHistory)
{
    const RecoveryDocument notes = write("notes", "old");
    rewrite(notes, "new");
    const RecoveryDocument bound = documents.changeDocument(write("bound", "b").id, [](RecoveryDocument& document) {
        document.displayTitle = "Shown";
        document.externalPath = "/tmp/bound.txt";
    });
    const RecoveryDocument gone = write("gone", "g");
    documents.discard(gone.id);
    documents.createDocument(documents.newDocument("empty"));
    const RecoveryDocument begun = documents.newDocument("begun");
    documents.createDocument(begun);
    open = {{begun.id, "begun, open", {}}, {Uuid::random(), "unstored", {}}, {notes.id, "renamed", "/tmp/n"}};

    EXPECT_EQ(titles(TextScopeKind::allDocuments), "Shown begun, open renamed unstored");
    const TextSearchSources all = sources(TextScopeKind::allDocuments);
    std::vector<Uuid> order;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const TextSearchSource source = all.source(i);
        order.push_back(*source.document);
        if (source.document == bound.id) {
            EXPECT_EQ(source.revision, bound.head);
            EXPECT_EQ(sourceLocation(source), "/tmp/bound.txt");
            EXPECT_EQ(sourceLabel(source), "Current text, including unsaved edits");
        } else {
            EXPECT_EQ(source.revision.has_value(), source.document == notes.id) << source.title;
        }
    }
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(titles(TextScopeKind::allHistory), "Shown@ gone@ renamed@ renamed@");

    EXPECT_EQ(titles(TextScopeKind::currentFile, bound.id), "Shown");
    EXPECT_EQ(titles(TextScopeKind::file, gone.id), "");
    open.push_back({gone.id, "gone, open", {}});
    EXPECT_EQ(titles(TextScopeKind::file, gone.id), "gone, open");
}

TEST_F(TextSearchScopesTest, TakesATextOfADocumentsHistoryOnce)
{
    RecoveryDocument one = write("one", "same");
    one = rewrite(one, "between");
    one = rewrite(one, "same");
    write("two", "same");
    store.execute("UPDATE documents SET json=x'00' WHERE id=?", {one.id.text()});

    const TextSearchSources history = sources(TextScopeKind::allHistory);
    std::vector<std::pair<Uuid, Uuid>> order;
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < history.size(); ++i) {
        const TextSearchSource source = history.source(i);
        order.emplace_back(*source.document, *source.revision);
        texts.push_back(source.title + " " +
                        ContentStore(store).loadText(documents.loadRevision(*source.revision)->contentHash));
        EXPECT_EQ(sourceLocation(source), "Stored in Penmark");
        EXPECT_EQ(sourceLabel(source), "Stored text · Read-only");
    }
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(texts, (std::vector<std::string>{"Untitled between", "Untitled same", "two same"}));
    EXPECT_EQ(problems.size(), 0u);  // all texts are there

    EXPECT_EQ(titles(TextScopeKind::allDocuments), "two");
    EXPECT_EQ(problems.size(), 1u);
}

TEST_F(TextSearchScopesTest, CoversOfACheckpointTheRevisionsThatItKeeps)
{
    const RecoveryDocument notes = write("notes", "then");
    const RecoveryDocument gone = write("gone", "g");
    const CheckpointHeader checkpoint = checkpoints.keepLibrary(library, "Friday", false);
    rewrite(notes, "now");
    documents.discard(gone.id);
    write("later", "l");
    open = {{notes.id, "notes", {}}, {Uuid::random(), "unstored", {}}};

    EXPECT_EQ(titles(TextScopeKind::checkpoint, checkpoint.id), "gone@ notes@");
    const TextSearchSources kept = sources(TextScopeKind::checkpoint, checkpoint.id);
    for (std::size_t i = 0; i < kept.size(); ++i)
        EXPECT_TRUE(kept.source(i).revision == notes.head || kept.source(i).revision == gone.head);
}

TEST_F(TextSearchScopesTest, RefusesToListWithoutATarget)
{
    using K = TextScopeKind;
    const std::vector<std::pair<std::vector<K>, std::string>> cases{
        {{K::currentFile, K::file}, "Choose a document or activate an editor."},
        {{K::currentSession, K::session}, "Choose a session."},
        {{K::currentWorkspace, K::workspace},
         "Choose a workspace. Current workspace follows the last workspace you activated."},
        {{K::checkpoint}, "Choose a checkpoint."},
        {{K::project}, "Choose an available project folder."},
    };
    for (const auto& [kinds, sentence] : cases) {
        for (const K kind : kinds) {
            EXPECT_EQ(refusal(kind), sentence);
            EXPECT_EQ(refusal(kind, Uuid::random()), sentence);
        }
    }
    std::stop_source stop;
    stop.request_stop();
    write("notes", "n");
    for (const K kind : {K::allDocuments, K::allHistory})
        EXPECT_THROW(storedSources(store, resolve(kind), library, {}, stop.get_token()), Cancelled);
}

TEST(TextSearchSourcesTest, PutsPathsOfFilesTogether)
{
    for (const std::string folder : {"/", "/home/a"}) {
        TextSearchSources files;
        files.setFolder(folder);
        files.addFile("x.md");
        files.addFile("sub/y.md");
        ASSERT_EQ(files.size(), 2u);
        const TextSearchSource second = files.source(1);
        EXPECT_EQ(second.title, "sub/y.md");
        EXPECT_EQ(second.path, folder == "/" ? "/sub/y.md" : "/home/a/sub/y.md");
        EXPECT_EQ(files.relativePath(0), "x.md");
        EXPECT_FALSE(second.document || second.revision);
    }
}

}  // namespace
}  // namespace penmark
