// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/DocumentHistory.h"

#include "organization/CheckpointFixture.h"

namespace penmark {
namespace {

class DocumentHistoryTest : public CheckpointFixture {
protected:
    std::vector<std::string> texts(const DocumentHistoryPage& page) const
    {
        std::vector<std::string> texts;
        for (const DocumentHistoryEntry& entry : page.entries)
            texts.push_back(ContentStore(store).loadText(entry.revision.contentHash));
        return texts;
    }
};

TEST_F(DocumentHistoryTest, TurnsPagesUntilThereIsNothingEarlier)
{
    auto document = write("A", "1");
    for (const std::string text : {"2", "3", "4", "5"})
        document = rewrite(document, text);
    write("B", "other");
    struct Case {
        std::int64_t offset;
        std::int64_t limit;
        std::vector<std::string> texts;
        bool hasEarlier;
    };
    for (const Case& page : std::vector<Case>{{0, 2, {"5", "4"}, true},
                                              {2, 2, {"3", "2"}, true},
                                              {4, 2, {"1"}, false},
                                              {3, 2, {"2", "1"}, false},
                                              {0, 5, {"5", "4", "3", "2", "1"}, false},
                                              {5, 2, {}, false}}) {
        SCOPED_TRACE(page.offset);
        const auto found = documentHistory(store, document.id, page.offset, page.limit);
        EXPECT_EQ(texts(found), page.texts);
        EXPECT_EQ(found.hasEarlier, page.hasEarlier);
    }

    // One that cannot be read keeps its place, so that the next page begins where it should.
    store.execute("UPDATE revisions SET json='{\"createdAt\":800000002}' WHERE hash=?", {sha256("2")});
    const auto damaged = documentHistory(store, document.id, 2, 2);
    EXPECT_EQ(texts(damaged), (std::vector<std::string>{"3"}));
    EXPECT_EQ(damaged.problems.size(), 1u);
    EXPECT_TRUE(damaged.hasEarlier);
}

TEST_F(DocumentHistoryTest, NamesTheCheckpointsThatHoldAVersion)
{
    const auto before = write("A", "1");
    const auto all = checkpoints.keepLibrary({}, "All", false);
    const auto document = rewrite(before, "2");
    const auto first = checkpoints.keepDocument(document.id, "Of it");
    const auto old = checkpoints.keepDocument(document.id, "Of the old one", before.head);
    const auto page = documentHistory(store, document.id);
    ASSERT_EQ(page.entries.size(), 2u);
    EXPECT_EQ(page.entries[0].checkpoints, std::vector{first});
    EXPECT_EQ(page.entries[1].checkpoints, (std::vector{old, all}));
}

TEST_F(DocumentHistoryTest, RestoresIntoADocumentOfItsOwn)
{
    auto original = write("notes.txt", "old text");
    const Uuid old = *original.head;
    original = documents
                   .writeRevision(original.id, original.head, "new text",
                                  [](RecoveryDocument& d) {
                                      d.displayTitle = "Notes";
                                      d.externalPath = "/home/notes.txt";
                                      d.externalDigest = "digest";
                                      d.missingOriginal = true;
                                      d.languageName = "Markdown";
                                      d.encoding = RecoveryEncoding::utf16LE;
                                  })
                   .document;
    const Rows before = rows();

    const auto copy = restoreRevision(store, original.id, old, RestoredAs::copy, clock);
    EXPECT_EQ(copy.title, "Notes — restored copy");
    EXPECT_EQ(documents.loadDocument(copy.id), copy);
    EXPECT_EQ(textOf(copy.id), "old text");
    EXPECT_EQ(copy.languageName, "Markdown");
    EXPECT_EQ(copy.encoding, RecoveryEncoding::utf16LE);
    EXPECT_FALSE(copy.externalPath || copy.externalDigest || copy.missingOriginal || copy.displayTitle);
    EXPECT_FALSE(documents.loadHead(copy)->parent);
    EXPECT_EQ(documents.loadDocument(original.id), original);

    // Only a document, its revision and the word of it are new.
    Rows after = rows();
    for (const std::string table : {"documents", "revisions", "outbox"}) {
        ASSERT_EQ(after[table].size(), before.at(table).size() + 1) << table;
        after[table].pop_back();
    }
    EXPECT_EQ(after, before);

    documents.discard(original.id);
    EXPECT_EQ(restoreRevision(store, original.id, old, RestoredAs::recoveredVersion).title,
              "Notes — recovered version");
    EXPECT_FALSE(restoreRevision(store, original.id, old).deleted);
}

TEST_F(DocumentHistoryTest, ADamagedTextMakesNoCopy)
{
    const auto document = write("A", "damaged");
    const auto other = write("B", "sound");
    store.execute("UPDATE chunks SET body=(SELECT body FROM chunks WHERE hash=?1) WHERE hash=?2",
                  {sha256("sound"), sha256("damaged")});
    const Rows before = rows();
    try {
        restoreRevision(store, document.id, *document.head);
        ADD_FAILURE() << "restored";
    } catch (const RecoveryError& error) {
        EXPECT_EQ(error.which(), RecoveryError::Case::missingContent);
    }
    EXPECT_THROW(restoreRevision(store, document.id, *other.head), RecoveryError);
    EXPECT_EQ(rows(), before);
}

}  // namespace
}  // namespace penmark
