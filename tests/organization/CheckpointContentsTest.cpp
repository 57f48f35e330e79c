// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/CheckpointContents.h"

#include "organization/CheckpointFixture.h"

namespace penmark {
namespace {

using State = CheckpointEntry::State;

class CheckpointContentsTest : public CheckpointFixture {};

TEST_F(CheckpointContentsTest, SaysWhatBecameOfEveryDocument)
{
    const auto unchanged = write("b unchanged", "same");
    const auto back = write("c written back", "first");
    const auto changed = write("A changed", "short");
    const auto discarded = write("d discarded", "gone soon");
    const auto gone = write("e gone", "never seen");
    const auto unreadable = write("f unreadable", "lost");
    const auto damaged = write("g damaged", "x");
    documents.createDocument(documents.newDocument("without text"));
    const auto kept = checkpoints.keepLibrary({}, {}, false);

    rewrite(rewrite(back, "second"), "first");
    rewrite(changed, std::string(70'000, 'x'));
    documents.discard(discarded.id);
    store.execute("DELETE FROM documents WHERE id=?", {gone.id.text()});
    rewrite(unreadable, "other");
    makeUnreadable("lost");
    store.execute("UPDATE documents SET json='{' WHERE id=?", {damaged.id.text()});
    write("new", "n");
    documents.discard(write("new and discarded", "n").id);

    const auto contents = checkpointContents(store, kept.id);
    ASSERT_TRUE(contents);
    struct Expected {
        std::string title;
        State state;
        std::optional<std::int64_t> bytes;
        std::optional<std::int64_t> bytesNow;
    };
    const std::vector<Expected> expected{{"A changed", State::changed, 5, 70'000},
                                         {"b unchanged", State::unchanged, 4, 4},
                                         {"c written back", State::unchanged, 5, 5},
                                         {"d discarded", State::discarded, 9, 9},
                                         {"e gone", State::gone, 10, {}},
                                         {"f unreadable", State::changed, {}, 5},
                                         {"g damaged", State::changed, 1, {}}};
    ASSERT_EQ(contents->entries.size(), expected.size());
    for (std::size_t at = 0; at < expected.size(); ++at) {
        const CheckpointEntry& entry = contents->entries[at];
        SCOPED_TRACE(entry.title);
        EXPECT_EQ(entry.title, expected[at].title);
        EXPECT_EQ(entry.state, expected[at].state);
        EXPECT_EQ(entry.bytes, expected[at].bytes);
        EXPECT_EQ(entry.bytesNow, expected[at].bytesNow);
    }
    EXPECT_EQ(contents->changed, 3u);
    EXPECT_EQ(contents->discardedOrGone, 2u);
    EXPECT_EQ(contents->newSince, 1u);
    EXPECT_EQ(contents->entries[1].document, unchanged.id);
}

TEST_F(CheckpointContentsTest, OfOneDocumentOthersAreNotNew)
{
    const auto document = write("A", "a");
    const auto kept = checkpoints.keepDocument(document.id, {});
    write("B", "b");
    const auto contents = checkpointContents(store, kept.id);
    ASSERT_TRUE(contents);
    EXPECT_EQ(contents->newSince, 0u);
    EXPECT_EQ(contents->entries.size(), 1u);

    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(checkpointContents(store, kept.id, stop.get_token()));
    EXPECT_FALSE(checkpointContents(store, Uuid::random()));
}

}  // namespace
}  // namespace penmark
