// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/DocumentRegistry.h"

#include "app/documents/LibraryFixture.h"

#include <thread>

namespace penmark {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using Texts = std::vector<std::string>;

class DocumentRegistryTest : public LibraryFixture {
protected:
    struct Held {
        std::latch began{1};
        std::latch goesOn{1};
    };

    /// Keeps the writing thread busy until `goesOn`, without the library's lock.
    std::shared_ptr<Held> holdWriter()
    {
        auto held = std::make_shared<Held>();
        queue.run(
            &registry,
            [held](RecoveryStore&) {
                held->began.count_down();
                held->goesOn.wait();
            },
            [] {}, [](const RecoveryError&) {});
        held->began.wait();
        return held;
    }
};

TEST_F(DocumentRegistryTest, StoresTextTitleAndHistoryWhenAsked)
{
    RecoveryBuffer& buffer = registry.createDraft(EditorLanguage::markdown);
    registry.retain(buffer.id());
    ASSERT_TRUE(store(buffer));
    EXPECT_EQ(rows("documents"), "0") << "an empty draft is nothing";
    EXPECT_TRUE(buffer.isStored());
    EXPECT_TRUE(registry.headers().all().empty());

    type(buffer, "# Größe\n");
    EXPECT_FALSE(buffer.isStored());
    int commits = 0;
    queue.store().beforeCommit = [&] { ++commits; };
    ASSERT_TRUE(store(buffer));
    EXPECT_EQ(commits, 1) << "the record is made together with its text";
    EXPECT_EQ(record(buffer.id()).title, "Größe");
    EXPECT_EQ(record(buffer.id()).languageName, name(EditorLanguage::markdown));
    const auto first = documents().loadHead(record(buffer.id()));
    ASSERT_TRUE(first);
    EXPECT_FALSE(first->parent);

    typeAt(buffer, Utf8Offset(0), "## Neue ");
    ASSERT_TRUE(store(buffer));
    EXPECT_EQ(history(buffer.id()), (Texts{"## Neue # Größe\n", "# Größe\n"}));
    EXPECT_EQ(documents().loadHead(record(buffer.id()))->parent, first->id);
    EXPECT_EQ(buffer.record().head, record(buffer.id()).head);
    EXPECT_EQ(registry.headers().find(buffer.id())->title, record(buffer.id()).title);

    buffer.content().buffer().undo();
    EXPECT_FALSE(buffer.isStored());
    buffer.content().buffer().redo();
    ASSERT_TRUE(store(buffer));
    EXPECT_EQ(history(buffer.id()).size(), 2U) << "the same text is no new revision";
}

class AutosaveTest : public LibraryFixture {
protected:
    AutosaveTest() : LibraryFixture({60ms, 300ms, 1h, 32, 64 << 20}) {}
};

TEST_F(AutosaveTest, ChangeIsStoredAfterTheDelayAndAtLatestWhileTypingGoesOn)
{
    RecoveryBuffer& buffer = registry.createDraft();
    registry.retain(buffer.id());
    std::vector<steady_clock::time_point> stores;
    QObject::connect(&registry, &DocumentRegistry::stored, &registry,
                     [&](RecoveryBuffer&) { stores.push_back(steady_clock::now()); });
    const auto start = steady_clock::now();
    type(buffer, "one");
    ASSERT_TRUE(waitUntil([&] { return stores.size() == 1; }));
    EXPECT_GE(stores[0] - start, 60ms);
    EXPECT_EQ(textInLibrary(buffer.id()), "one");

    // Each key comes before the first delay is over, so only the second one can be what stores.
    const auto typing = steady_clock::now();
    auto lastKey = typing;
    auto longestPause = steady_clock::duration::zero();
    QTimer keys;
    QObject::connect(&keys, &QTimer::timeout, &registry, [&] {
        type(buffer, "x");
        longestPause = std::max(longestPause, steady_clock::now() - lastKey);
        lastKey = steady_clock::now();
    });
    keys.start(5);
    ASSERT_TRUE(waitUntil([&] { return stores.size() == 2; }));
    if (longestPause < 50ms) {
        EXPECT_GE(stores[1] - typing, 250ms) << "stored in the middle of typing";
    }
    EXPECT_TRUE(keys.isActive());
    ASSERT_TRUE(waitUntil([&] { return stores.size() == 3; })) << "and again";
    keys.stop();
    ASSERT_TRUE(waitUntil([&] { return buffer.isStored() && !buffer.isSaving(); }));
    EXPECT_EQ(textInLibrary(buffer.id()), buffer.text().text());
}

TEST_F(DocumentRegistryTest, EditsDuringAStoreAreStoredBehindIt)
{
    RecoveryBuffer& buffer = stored("a");
    std::latch began(1);
    std::latch goesOn(1);
    queue.store().beforeCommit = [&] {
        if (!began.try_wait()) {
            began.count_down();
            goesOn.wait();
        }
    };
    type(buffer, "b");
    registry.store(buffer);
    began.wait();
    type(buffer, "c");
    registry.store(buffer);  // waits for the one that runs
    type(buffer, "d");
    goesOn.count_down();
    ASSERT_TRUE(waitUntil([&] { return buffer.isStored(); }));
    EXPECT_EQ(history(buffer.id()), (Texts{"abcd", "ab", "a"}));
}

class RetryTest : public LibraryFixture {
protected:
    RetryTest() : LibraryFixture({1h, 1h, 20ms, 32, 64 << 20}) {}
};

TEST_F(RetryTest, FailedStoreKeepsTheTextSaysSoAndIsTriedAgain)
{
    RecoveryBuffer& buffer = registry.createDraft();
    registry.retain(buffer.id());
    type(buffer, "kept");
    failCommits(2);
    int failures = 0;
    QObject::connect(&registry, &DocumentRegistry::storeFailed, &registry, [&](RecoveryBuffer&) {
        ++failures;
        EXPECT_EQ(buffer.error(), diskFull);
    });
    registry.store(buffer);
    std::optional<std::string> told;
    registry.whenStored(&registry, [&](std::optional<std::string> failure) { told = failure.value_or("none"); });
    EXPECT_FALSE(told) << "a store is running";
    ASSERT_TRUE(waitUntil([&] { return told.has_value(); }));
    EXPECT_EQ(*told, diskFull);
    EXPECT_EQ(buffer.text().text(), "kept");
    EXPECT_FALSE(buffer.isStored());
    type(buffer, " and more");
    ASSERT_TRUE(waitUntil([&] { return buffer.isStored(); }));
    EXPECT_EQ(failures, 2);
    EXPECT_EQ(buffer.error(), "");
    EXPECT_EQ(history(buffer.id()), (Texts{"kept and more"}));
    told.reset();
    registry.whenStored(&registry, [&](std::optional<std::string> failure) { told = failure.value_or("none"); });
    ASSERT_TRUE(waitUntil([&] { return told.has_value(); }));
    EXPECT_EQ(*told, "none");
}

// A COMMIT can fail after it has been stored. The same revision by another hand is what that looks like.
TEST_F(DocumentRegistryTest, StoreThatFailedAfterTheFactIsNoConflict)
{
    for (const bool typesOn : {false, true}) {
        SCOPED_TRACE(typesOn);
        RecoveryBuffer& buffer = stored("one");
        type(buffer, " two");
        failCommits(1);
        ASSERT_TRUE(store(buffer));
        ASSERT_EQ(buffer.error(), diskFull);
        documents().writeRevision(buffer.id(), buffer.record().head, "one two");
        if (typesOn)
            type(buffer, " three");
        ASSERT_TRUE(store(buffer));
        EXPECT_TRUE(buffer.isStored());
        EXPECT_EQ(buffer.error(), "");
        EXPECT_EQ(history(buffer.id()),
                  typesOn ? (Texts{"one two three", "one two", "one"}) : (Texts{"one two", "one"}));
    }
    for (const bool typesOn : {false, true}) {
        SCOPED_TRACE(typesOn ? "new, typed on" : "new");
        RecoveryBuffer& fresh = registry.createDraft();
        registry.retain(fresh.id());
        type(fresh, "new");
        failCommits(1);
        ASSERT_TRUE(store(fresh));
        RecoveryDocument made = fresh.record();
        documents().createWithText(made, "new");
        if (typesOn)
            type(fresh, "er");
        ASSERT_TRUE(store(fresh));
        EXPECT_TRUE(fresh.isStored()) << fresh.error();
        EXPECT_EQ(history(fresh.id()), typesOn ? (Texts{"newer", "new"}) : (Texts{"new"}));
    }
}

TEST_F(RetryTest, ConflictWaitsForTheUserWhoPutsTheTextOnTop)
{
    RecoveryBuffer& buffer = stored("one");
    const auto other = documents().writeRevision(buffer.id(), buffer.record().head, "theirs");
    type(buffer, " mine");
    int attempts = 0;
    QObject::connect(&registry, &DocumentRegistry::storeFailed, &registry, [&](RecoveryBuffer&) { ++attempts; });
    ASSERT_TRUE(store(buffer));
    EXPECT_EQ(buffer.error(), RecoveryError(RecoveryError::Case::revisionConflict).what());
    EXPECT_EQ(buffer.text().text(), "one mine");
    // Far longer than the retry of any other failure.
    QTimer later;
    later.setSingleShot(true);
    later.start(200);
    ASSERT_TRUE(waitUntil([&] { return !later.isActive(); }));
    EXPECT_EQ(attempts, 1);
    EXPECT_EQ(textInLibrary(buffer.id()), "theirs");

    // Nor by what is stored at every turn; only when somebody asks for it.
    registry.storeAll();
    ASSERT_TRUE(settle());
    EXPECT_EQ(textInLibrary(buffer.id()), "theirs");
    registry.store(buffer, true);
    ASSERT_TRUE(waitUntil([&] { return buffer.isStored(); }));
    EXPECT_EQ(buffer.error(), "");
    EXPECT_EQ(history(buffer.id()), (Texts{"one mine", "theirs", "one"}));
    EXPECT_EQ(documents().loadHead(record(buffer.id()))->parent, other.revision->id);
}

// ---- what is in memory ----

TEST_F(DocumentRegistryTest, LoadingTwiceGivesTheSameAndAnUnknownOneIsAnEmptyDraft)
{
    const Uuid id = stored("text").id();
    std::vector<RecoveryBuffer*> got;
    const auto take = [&](RecoveryBuffer& buffer) { got.push_back(&buffer); };
    const Uuid unknown = Uuid::random();
    registry.load(unknown, &registry, take);
    registry.load(unknown, &registry, take);
    EXPECT_TRUE(got.empty());
    {
        QObject gone;
        registry.load(unknown, &gone, [](RecoveryBuffer&) { FAIL() << "nobody is there"; });
    }
    registry.load(id, &registry, take);
    EXPECT_EQ(got.size(), 1U) << "at once, since it is in memory";
    ASSERT_TRUE(waitUntil([&] { return got.size() == 3; }));
    EXPECT_EQ(got[1], got[2]);
    EXPECT_EQ(got[1]->id(), unknown);
    EXPECT_TRUE(got[1]->text().empty());
    EXPECT_TRUE(got[1]->isStored());
    EXPECT_TRUE(got[1]->permitsEditing());
    EXPECT_TRUE(waitUntil([&] { return !registry.find(unknown); })) << "nobody shows it";
}

TEST_F(DocumentRegistryTest, DamagedTextMayNotBeEditedNorStoredOver)
{
    const auto made = documents().createWithText(documents().newDocument("Letter"), "lost");
    queue.store().execute("DELETE FROM chunks");
    RecoveryBuffer& buffer = load(made.document.id);
    registry.retain(buffer.id());
    EXPECT_FALSE(buffer.permitsEditing());
    EXPECT_EQ(buffer.damage(), RecoveryError(RecoveryError::Case::missingContent).what());
    registry.rename(buffer.id(), "Named");
    registry.storeAll();
    ASSERT_TRUE(waitUntil([&] { return !buffer.isSaving(); }));
    EXPECT_EQ(record(buffer.id()).head, made.document.head);
    EXPECT_FALSE(buffer.permitsEditing());
}

class UnloadTest : public LibraryFixture {
protected:
    UnloadTest() : LibraryFixture({1h, 1h, 1h, 2, 100'000}) {}

    std::string inMemory(const std::vector<Uuid>& ids)
    {
        std::string names;
        for (std::size_t i = 0; i < ids.size(); ++i) {
            if (registry.find(ids[i]))
                names += static_cast<char>('a' + i);
        }
        return names;
    }
    void releaseAndWait(const Uuid& id)
    {
        registry.release(id);
        EXPECT_TRUE(settle());
        QCoreApplication::processEvents();
    }
};

TEST_F(UnloadTest, LeastRecentlyUsedGoFirstByCountAndByBytes)
{
    std::vector<Uuid> ids;
    for (const char* text : {"a", "b", "c", "d"})
        ids.push_back(stored(text).id());
    EXPECT_EQ(inMemory(ids), "abcd") << "all are retained";
    releaseAndWait(ids[1]);
    releaseAndWait(ids[0]);
    EXPECT_EQ(inMemory(ids), "abcd");
    load(ids[1]);  // used again: a is now the older one
    releaseAndWait(ids[2]);
    EXPECT_EQ(inMemory(ids), "bcd");
    EXPECT_EQ(load(ids[0]).text().text(), "a") << "it comes back with its text";
    ASSERT_TRUE(waitUntil([&] { return inMemory(ids).size() == 3; }));
    EXPECT_EQ(inMemory(ids), "acd");

    const Uuid large = stored(std::string(200'000, 'x')).id();
    registry.release(large);
    ASSERT_TRUE(waitUntil([&] { return !registry.find(large); })) << "too large beside any other";
    EXPECT_EQ(textInLibrary(large).size(), 200'000U);
    EXPECT_EQ(inMemory(ids), "d") << "older ones go before it";
}

TEST_F(UnloadTest, UnstoredTextStaysAndAnEmptyDraftVanishes)
{
    std::vector<Uuid> ids;
    for (const char* text : {"a", "b", "c", "d", "e"})
        ids.push_back(stored(text).id());
    failCommits(1'000);
    type(*registry.find(ids[0]), "not stored");
    for (const Uuid& id : ids)
        releaseAndWait(id);
    ASSERT_TRUE(waitUntil([&] { return inMemory(ids).size() == 3; }));
    EXPECT_EQ(inMemory(ids), "ade");
    EXPECT_EQ(registry.find(ids[0])->text().text(), "anot stored");

    const Uuid empty = registry.createDraft().id();
    registry.retain(empty);
    registry.retain(empty);
    releaseAndWait(empty);
    EXPECT_TRUE(registry.find(empty)) << "another view shows it";
    releaseAndWait(empty);
    EXPECT_FALSE(registry.find(empty));
}

// ---- records ----

TEST_F(DocumentRegistryTest, TitleLanguageAndEncodingAreStored)
{
    RecoveryBuffer& buffer = stored("First line\n");
    const auto head = record(buffer.id()).head;
    registry.rename(buffer.id(), "Mine");
    registry.setLanguage(buffer, EditorLanguage::python);
    registry.setEncoding(buffer, RecoveryEncoding::utf16BE);
    ASSERT_TRUE(waitUntil([&] { return buffer.isStored() && !buffer.isSaving(); }));
    EXPECT_EQ(buffer.shownTitle(), "Mine");
    EXPECT_EQ(record(buffer.id()).displayTitle, "Mine");
    EXPECT_EQ(record(buffer.id()).languageName, name(EditorLanguage::python));
    EXPECT_EQ(record(buffer.id()).encoding, RecoveryEncoding::utf16BE);
    EXPECT_EQ(record(buffer.id()).head, head) << "no text, no revision";
    registry.rename(buffer.id(), "");
    ASSERT_TRUE(waitUntil([&] { return buffer.isStored() && !buffer.isSaving(); }));
    EXPECT_EQ(buffer.shownTitle(), "First line");
    EXPECT_FALSE(record(buffer.id()).displayTitle);

    const auto idle = documents().createWithText(documents().newDocument("Idle"), "x").document;
    registry.rename(idle.id, "Renamed");
    ASSERT_TRUE(settle());
    EXPECT_EQ(record(idle.id).displayTitle, "Renamed");
    EXPECT_EQ(registry.headers().find(idle.id)->title, "Renamed");
    EXPECT_FALSE(registry.find(idle.id));
}

TEST_F(DocumentRegistryTest, RenamingWhatIsBeingLoadedReachesIt)
{
    const auto idle = documents().createWithText(documents().newDocument("Idle"), "x").document;
    const auto held = holdWriter();
    registry.rename(idle.id, "Renamed");
    RecoveryBuffer& buffer = load(idle.id);  // read before the other is written
    registry.retain(buffer.id());
    held->goesOn.count_down();
    ASSERT_TRUE(settle());
    EXPECT_EQ(buffer.shownTitle(), "Renamed");
    type(buffer, "y");
    ASSERT_TRUE(store(buffer));
    EXPECT_EQ(record(idle.id).displayTitle, "Renamed");
}

TEST_F(DocumentRegistryTest, DiscardingKeepsTheTextAndLasts)
{
    for (const bool duringStore : {false, true}) {
        SCOPED_TRACE(duringStore);
        RecoveryBuffer& buffer = stored("one");
        const Uuid id = buffer.id();
        type(buffer, " two");
        std::shared_ptr<Held> held;
        if (duringStore) {
            held = holdWriter();
            registry.store(buffer);
            type(buffer, " three");
        }
        int discarded = 0;
        const auto heard = QObject::connect(&registry, &DocumentRegistry::discarded, &registry,
                                            [&](const Uuid& which) { discarded += which == id; });
        registry.discard(std::vector{id});
        EXPECT_TRUE(registry.headers().find(id)->deleted);
        if (held)
            held->goesOn.count_down();
        ASSERT_TRUE(waitUntil([&] { return discarded > 0; }));
        ASSERT_TRUE(waitUntil([&] { return buffer.isStored() && !buffer.isSaving(); }));
        ASSERT_TRUE(settle());
        EXPECT_EQ(discarded, 1);
        EXPECT_TRUE(record(id).deleted);
        EXPECT_TRUE(buffer.record().deleted);
        EXPECT_EQ(history(id), duringStore ? (Texts{"discarded", "one two three", "one two", "one"})
                                           : (Texts{"discarded", "one two", "one"}));
        QObject::disconnect(heard);

        registry.restore(std::vector{id});
        ASSERT_TRUE(settle());
        EXPECT_FALSE(record(id).deleted);
        EXPECT_FALSE(buffer.record().deleted);
        EXPECT_EQ(textInLibrary(id), buffer.text().text());
        type(buffer, " more");
        ASSERT_TRUE(store(buffer));
        EXPECT_EQ(buffer.error(), "") << "it goes on from the restored head";
    }
}

TEST_F(DocumentRegistryTest, HeadersShowWhatTheLibraryHoldsAndWhatIsNewer)
{
    const auto idle = documents().createWithText(documents().newDocument("Idle"), "x").document;
    RecoveryBuffer& buffer = stored("Old title");
    bool loaded = false;
    QObject::connect(&registry.headers(), &DocumentHeaders::loaded, &registry, [&] { loaded = true; });
    const auto held = holdWriter();
    registry.loadHeaders();
    registry.rename(buffer.id(), "New title");
    ASSERT_TRUE(waitUntil([&] { return loaded; }));
    held->goesOn.count_down();
    EXPECT_EQ(registry.headers().all().size(), 2U);
    EXPECT_EQ(registry.headers().find(idle.id)->title, "Idle");
    EXPECT_EQ(registry.headers().find(buffer.id())->title, "New title");
    const std::size_t index = registry.headers().indexOf(idle.id).value();
    EXPECT_EQ(registry.headers().all()[index].id, idle.id);
}

TEST(LibraryQueueTest, DoesAllThatWasAskedForBeforeItGoes)
{
    TemporaryFolder folder(TemporaryFolder::inMemory());
    const RecoveryConfiguration configuration{folder.path(), {}};
    Uuid id;
    {
        LibraryQueue queue(std::make_unique<RecoveryStore>(configuration));
        DocumentRegistry registry(queue);
        RecoveryBuffer& buffer =
            registry.createDraft(EditorLanguage::plainText, TextSnapshot(std::string("last words")));
        id = buffer.id();
        registry.storeAll();
    }
    RecoveryStore store(configuration);
    const DocumentStore documents(store);
    const auto document = documents.loadDocument(id);
    ASSERT_TRUE(document);
    EXPECT_EQ(ContentStore(store).loadText(documents.loadHead(*document)->contentHash), "last words");
}

class DocumentReadingTest : public LibraryFixture {
protected:
    DocumentReadingTest() : LibraryFixture({1h, 1h, 1h, 0, 0}) {}
};

// A large text takes a while to read, and what is told of its document meanwhile is newer than what was read.
TEST_F(DocumentReadingTest, WhatIsChangedMeanwhileStays)
{
    std::string text;
    for (unsigned line = 0; text.size() < 2'000'000; ++line)
        text += "line " + std::to_string(line * 2'654'435'761U) + "\n";
    const Uuid id = stored(text).id();
    unload(id);
    for (int delay = 0; delay < 4; ++delay) {
        SCOPED_TRACE(delay);
        const std::string title = "title " + std::to_string(delay);
        RecoveryBuffer* loaded = nullptr;
        registry.load(id, &registry, [&](RecoveryBuffer& buffer) {
            loaded = &buffer;
            registry.retain(id);
        });
        std::this_thread::sleep_for(delay * 1ms);
        registry.rename(id, title);
        if (delay == 3)
            registry.discard(std::vector{id});
        ASSERT_TRUE(settle());
        ASSERT_TRUE(waitUntil([&] { return loaded != nullptr; }));
        EXPECT_EQ(registry.headers().find(id)->title, title);
        EXPECT_EQ(registry.headers().find(id)->deleted, delay == 3);
        EXPECT_EQ(loaded->record().deleted, delay == 3);
        type(*loaded, "x");
        ASSERT_TRUE(store(*loaded));
        EXPECT_EQ(record(id).displayTitle, title);
        unload(id);
    }
}

}  // namespace
}  // namespace penmark
