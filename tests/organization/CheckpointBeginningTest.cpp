// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/CheckpointBeginning.h"

#include "organization/SessionCheckpoint.h"

#include <gtest/gtest.h>

namespace penmark {
namespace {

SessionCheckpoint checkpoint(std::optional<std::string> name, std::size_t sessions, std::size_t documents)
{
    SessionCheckpoint made;
    made.id = Uuid::random();
    made.createdAt = {800'000'000.25};
    made.name = std::move(name);
    made.sessions.resize(sessions);
    made.documents.resize(documents);
    for (CheckpointDocument& document : made.documents) {
        document.documentID = Uuid::random();
        document.title = "]}\",{[";
    }
    return made;
}

// Wherever a record is cut, its beginning says nothing or what the whole says.
TEST(CheckpointBeginningTest, NeverSaysAnythingElseThanTheWhole)
{
    SessionCheckpoint withProjects = checkpoint("Projects", 0, 1);
    withProjects.projects.resize(2);
    SessionCheckpoint withWorkspaces = checkpoint("Workspaces", 0, 1);
    withWorkspaces.workspaces.resize(1);
    SessionCheckpoint odd = checkpoint("“Quoted \"\\\" , } ]\n\t", 0, 1);
    odd.unknownMembers.emplace_back("later", RawJson{"{\"name\":\"no\"}"});
    SessionCheckpoint plain = checkpoint("Spaced", 0, 1);
    plain.documents[0].title.reset();
    std::string spaced;
    for (const char c : encodeRecord(plain))
        (spaced += c) += c == ',' || c == ':' || c == '[' || c == '{' ? " \n\t" : "";

    const std::string scalars = "\"createdAt\":1,\"deviceID\":\"" + Uuid().text() + "\",\"pinned\":false,";
    const std::string lists = "\"sessions\":[],\"workspaces\":[],\"projects\":[],\"documents\":[]";
    const std::string id = "\"id\":\"" + Uuid().text() + "\"";
    for (const std::string& record :
         {encodeRecord(checkpoint({}, 0, 0)), encodeRecord(checkpoint("A", 0, 1)), encodeRecord(checkpoint("B", 0, 2)),
          encodeRecord(checkpoint("", 2, 1)), encodeRecord(withProjects), encodeRecord(withWorkspaces),
          encodeRecord(odd), spaced, "{\"name\":\"First\"," + id + "," + scalars + lists + "}",
          "{" + lists + ",\"name\":\"Last\"," + scalars + id + "}", "{" + id + ",\"new\":{}," + scalars + lists + "}",
          "{\"i\\u0064\":\"" + Uuid().text() + "\"," + scalars + lists + "}",
          "{" + id + "," + scalars + "\"name\":\"Behind\"," + lists + "}"}) {
        SCOPED_TRACE(record);
        const auto whole = CheckpointBeginning::parseWhole(record);
        for (std::size_t size = 0; size <= record.size(); ++size) {
            const auto beginning = CheckpointBeginning::parse(std::string_view(record).substr(0, size));
            if (!beginning)
                continue;
            EXPECT_EQ(beginning->name, whole.name) << size;
            EXPECT_EQ(beginning->document, whole.document) << size;
        }
    }
}

TEST(CheckpointBeginningTest, AnswersFromTheFirstBytesOfWhatThisVersionWrites)
{
    const std::string longName(300, 'n');
    const auto beginningOf = [](const SessionCheckpoint& made) {
        return CheckpointBeginning::parse(encodeRecord(made).substr(0, CheckpointBeginning::bytes));
    };
    const auto large = beginningOf(checkpoint(longName, 500, 10'000));
    ASSERT_TRUE(large);
    EXPECT_EQ(large->name, longName);
    EXPECT_FALSE(large->document);
    EXPECT_TRUE(beginningOf(checkpoint({}, 0, 10'000)));

    const SessionCheckpoint one = checkpoint(longName, 0, 1);
    const auto document = beginningOf(one);
    ASSERT_TRUE(document);
    EXPECT_EQ(document->document, one.documents.front().documentID);
    EXPECT_FALSE(beginningOf(checkpoint(std::string(1000, 'n'), 0, 1))) << "the name is cut off";
}

TEST(CheckpointBeginningTest, LeavesWhatIsDamagedToTheWhole)
{
    const std::string record = encodeRecord(checkpoint("A", 1, 1));
    const auto replaced = [&](std::string_view from, std::string_view to) {
        std::string changed = record;
        return changed.replace(changed.find(from), from.size(), to);
    };
    for (const std::string& damaged : {std::string(), std::string("[]"), std::string("{}"),
                                       replaced("800000000.25", "8x"), replaced("\"A\"", "\"\xff\""),
                                       replaced("false", "0"), replaced("\"A\"", "7"), replaced("\"A\"", "\"\\x\"")}) {
        SCOPED_TRACE(damaged);
        EXPECT_FALSE(CheckpointBeginning::parse(damaged));
    }
    EXPECT_THROW(CheckpointBeginning::parseWhole(record.substr(0, record.size() - 1)), RecordError);
    EXPECT_THROW(CheckpointBeginning::parseWhole(replaced("\"A\"", "7")), RecordError);
}

}  // namespace
}  // namespace penmark
