// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Uuid.h"

#include "base/Date.h"
#include "base/Sha256.h"

#include <set>

#include <gtest/gtest.h>

namespace penmark {
namespace {

TEST(Uuid, IsWrittenInUpperCaseAndReadInEither)
{
    const auto id = Uuid::parse("0f8fad5b-d9cb-469f-a165-70867728950e");
    ASSERT_TRUE(id);
    EXPECT_EQ(id->text(), "0F8FAD5B-D9CB-469F-A165-70867728950E");
    EXPECT_EQ(Uuid::parse(id->text()), id);
    for (const char* text : {"", "0f8fad5b-d9cb-469f-a165-70867728950", "0f8fad5b-d9cb-469f-a165-70867728950e ",
                             "0f8fad5bd9cb469fa16570867728950e0000", "0f8fad5b-d9cb-469f-a165-70867728950g",
                             "{f8fad5b-d9cb-469f-a165-7086772895}e", "0f8fad5b0d9cb-469f-a165-70867728950e"})
        EXPECT_FALSE(Uuid::parse(text)) << text;
}

TEST(Uuid, RandomOnesAreOfVersion4AndDiffer)
{
    std::set<Uuid> seen;
    for (int i = 0; i < 1000; ++i) {
        const Uuid id = Uuid::random();
        EXPECT_EQ(id.text()[14], '4');
        EXPECT_NE(std::string("89AB").find(id.text()[19]), std::string::npos);
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

TEST(Date, CountsFrom2001WithMicroseconds)
{
    EXPECT_EQ(Date::fromUnix(978'307'200, 0).seconds, 0);
    const double difference =
        Date::fromUnix(1'900'000'000, 123'457'000).seconds - Date::fromUnix(1'900'000'000, 123'456'000).seconds;
    EXPECT_NEAR(difference, 1e-6, 2e-7);
    EXPECT_EQ(Date{1e300}.localText(), "unknown date");
}

TEST(Sha256, MatchesPublishedDigests)
{
    EXPECT_EQ(sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    Sha256 pieces;
    pieces.add("a");
    pieces.add("");
    pieces.add("bc");
    EXPECT_EQ(pieces.finish(), sha256("abc"));
    EXPECT_EQ(pieces.finish(), sha256(""));  // finishing starts anew
    EXPECT_TRUE(isSha256(sha256("x")));
    EXPECT_FALSE(isSha256(std::string(64, 'A')));
    EXPECT_FALSE(isSha256(std::string(63, 'a')));
}

}  // namespace
}  // namespace penmark
