// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/LibraryFixture.h"
#include "app/windows/DocumentMessage.h"

#include <set>

namespace penmark {
namespace {

using Weight = DocumentMessage::Weight;
using Action = MessageAction;
using Actions = std::vector<MessageAction>;

class MessageTest : public LibraryFixture {
protected:
    static std::string sentence(const RecoveryBuffer& buffer)
    {
        const auto message = messageFor(buffer);
        return message ? message->sentence.toStdString() : "";
    }
    static Actions actions(const RecoveryBuffer& buffer) { return messageFor(buffer).value().actions; }
};

TEST_F(MessageTest, TheWorstIsSaidFirst)
{
    const auto path = file("letter.txt", "one");
    RecoveryBuffer& buffer = openStored(path);
    EXPECT_FALSE(messageFor(buffer));
    buffer.setNotice("Something happened.");
    EXPECT_EQ(sentence(buffer), "Something happened.");
    EXPECT_EQ(actions(buffer), Actions{Action::saveCopy});
    buffer.setNotice({});

    write(path, "theirs");
    originals.check(buffer);
    ASSERT_TRUE(becomes(buffer, OriginalFileAvailability::changed));
    EXPECT_EQ(sentence(buffer), originalStatus::changed);
    EXPECT_EQ(actions(buffer), (Actions{Action::compare, Action::reload, Action::saveCopy}));
    buffer.setNotice("Not saved.");
    EXPECT_EQ(sentence(buffer), "Not saved.") << "what happened to the save says more";
    EXPECT_EQ(actions(buffer), (Actions{Action::compare, Action::reload, Action::saveCopy}));

    std::filesystem::remove(path);
    originals.check(buffer);
    ASSERT_TRUE(becomes(buffer, OriginalFileAvailability::unavailable));
    EXPECT_EQ(sentence(buffer), originalStatus::unavailable);
    EXPECT_EQ(actions(buffer), (Actions{Action::locate, Action::saveAs}));
    EXPECT_EQ(messageFor(buffer)->weight, Weight::warning);
    ASSERT_TRUE(waitUntil([&] { return buffer.isStored() && !buffer.isSaving(); }));

    failCommits(1);
    type(buffer, " more");
    ASSERT_TRUE(store(buffer));
    EXPECT_EQ(sentence(buffer), diskFull);
    EXPECT_EQ(actions(buffer), (Actions{Action::retry, Action::saveCopy}));
    EXPECT_EQ(messageFor(buffer)->weight, Weight::failure);
}

TEST_F(MessageTest, DamagedTextOffersNothingThatWouldWriteIt)
{
    LoadedDocument damaged;
    damaged.record.id = Uuid::random();
    damaged.isInLibrary = damaged.textIsStored = true;
    damaged.error = "Damaged.";
    const RecoveryBuffer buffer(std::move(damaged));
    EXPECT_EQ(sentence(buffer), "Damaged.");
    EXPECT_TRUE(actions(buffer).empty());
    EXPECT_EQ(messageFor(buffer)->weight, Weight::failure);
}

TEST_F(MessageTest, EveryActionHasANameOfItsOwn)
{
    std::set<QString> names;
    for (const auto action : {Action::retry, Action::saveCopy, Action::saveAs, Action::compare, Action::reload,
                              Action::locate, Action::turnOnAnyway})
        names.insert(actionName(action));
    EXPECT_EQ(names.size(), 7U);
    EXPECT_FALSE(names.contains(QString()));
}

}  // namespace
}  // namespace penmark
