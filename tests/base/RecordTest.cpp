// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Record.h"

#include <cmath>
#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>

namespace penmark {
namespace {

enum class Colour { red, deepBlue };

constexpr auto storedWords(Colour)
{
    return std::array{std::pair{Colour::red, std::string_view("red")},
                      std::pair{Colour::deepBlue, std::string_view("deep blue")}};
}

struct Inner {
    std::int64_t count = 0;
    UnknownMembers unknownMembers;

    static constexpr auto fields() { return std::tuple{field("count", &Inner::count)}; }
    friend bool operator==(const Inner&, const Inner&) = default;
};

struct Outer {
    Uuid id;
    std::optional<std::string> note;
    Colour colour = Colour::red;
    bool on = false;
    Date at;
    std::vector<Inner> inner;
    std::map<Uuid, RawJson> states;
    std::set<std::string> words;

    static constexpr auto fields()
    {
        using R = Outer;
        return std::tuple{field("id", &R::id),         field("note", &R::note),  field("colour", &R::colour),
                          field("on", &R::on),         field("at", &R::at),      field("inner", &R::inner),
                          field("states", &R::states), field("words", &R::words)};
    }
    friend bool operator==(const Outer&, const Outer&) = default;
};

const Uuid id = *Uuid::parse("0F8FAD5B-D9CB-469F-A165-70867728950E");

// The exact bytes matter: other programs and digests read them.
TEST(Record, IsWrittenCompactInDeclaredOrderWithoutAbsentFields)
{
    Outer record;
    record.id = id;
    record.colour = Colour::deepBlue;
    record.at = {812345678.125};
    record.inner = {{7, {}}};
    record.states = {{id, {R"({"a":[1,null]})"}}};
    record.words = {"b", "a\"\\\n\x01é"};
    const std::string json = R"({"id":"0F8FAD5B-D9CB-469F-A165-70867728950E","colour":"deep blue","on":false,)"
                             R"("at":812345678.125,"inner":[{"count":7}],)"
                             R"("states":{"0F8FAD5B-D9CB-469F-A165-70867728950E":{"a":[1,null]}},)"
                             R"("words":["a\"\\\n\u0001é","b"]})";
    EXPECT_EQ(encodeRecord(record), json);
    EXPECT_EQ(decodeRecord<Outer>(json), record);
    record.note = "";
    EXPECT_EQ(decodeRecord<Outer>(encodeRecord(record)), record);
}

TEST(Record, DecodingSaysWhatIsWrong)
{
    const std::string sound = R"({"id":"0f8fad5b-d9cb-469f-a165-70867728950e","colour":"red","on":true,"at":1,)"
                              R"("inner":[],"states":{},"words":[]})";
    EXPECT_EQ(decodeRecord<Outer>(sound).id, id);
    const struct {
        std::string from, to, reason;
    } cases[] = {
        {R"("on":true)", R"("on":1)", "“on” is neither true nor false"},
        {R"("on":true,)", "", "“on” is missing"},
        {R"("on":true)", R"("on":null)", "“on” is neither true nor false"},
        {R"("red")", R"("Red")", "“colour” has an unknown value"},
        {R"("at":1)", R"("at":"1")", "“at” is not a number"},
        {R"("inner":[])", R"("inner":[{"count":1.5}])", "“count” is not a whole number"},
        {R"("inner":[])", R"("inner":[{}])", "“count” is missing"},
        {R"("inner":[])", R"("inner":{})", "“inner” is not a list"},
        {R"("states":{})", R"("states":{"x":1})", "“states” has a key that is not an identifier"},
        {R"("words":[])", R"("words":[1])", "“words” is not a text"},
        {"0f8f", "0f8", "“id” is not an identifier"},
        {R"("on":true)", R"("on":true,"note":5)", "“note” is not a text"},
        {"]}", "]", "the record is not valid JSON"},
        {"]}", "]}x", "the record is not valid JSON"},
        {R"("red")", "\"\xff\"", "the record is not valid JSON"},
        {sound, "[]", "“record” is not a record"},
        {sound, "", "the record is not valid JSON"},
    };
    for (const auto& [from, to, reason] : cases) {
        SCOPED_TRACE(reason);
        std::string json = sound;
        json.replace(json.rfind(from), from.size(), to);
        try {
            decodeRecord<Outer>(json);
            ADD_FAILURE() << "decoded " << json;
        } catch (const RecordError& error) {
            EXPECT_EQ(error.what(), reason);
        }
    }
}

TEST(Record, IgnoresUnknownKeysOrKeepsThemWhereTheRecordAsksForIt)
{
    const auto inner = decodeRecord<Inner>(R"({"later":{"x":[1.5,"é"]},"count":3,"more":null})");
    EXPECT_EQ(encodeRecord(inner), R"({"count":3,"later":{"x":[1.5,"é"]},"more":null})");
    const auto outer = decodeRecord<Outer>(
        R"({"new":1,"id":"0f8fad5b-d9cb-469f-a165-70867728950e","colour":"red","on":true,"at":1,"inner":[],"states":{},)"
        R"("words":[],"note":null})");
    EXPECT_EQ(encodeRecord(outer).find("new"), std::string::npos);
    EXPECT_FALSE(outer.note);
}

TEST(Json, NumbersReadBackAsTheSameDouble)
{
    for (const double number :
         {0.0, -0.0, 1.0, 0.1, 812345678.123456, 1e-7, 123456789012345678.0, 1e300, 5e-324, -2.5}) {
        std::string json;
        appendJsonNumber(json, number);
        double back = 1;
        EXPECT_TRUE(parseJson(json, [&](const JsonValue& value) { back = *value.number(); })) << json;
        EXPECT_EQ(back, number) << json;
    }
    std::string date;
    appendJsonNumber(date, 812345678.5);
    EXPECT_EQ(date, "812345678.5");
}

TEST(Json, RefusesWhatNobodyCouldRead)
{
    std::string out;
    EXPECT_THROW(appendJsonString(out, "\xff"), std::invalid_argument);
    EXPECT_THROW(appendJsonNumber(out, std::nan("")), std::invalid_argument);
    EXPECT_THROW(appendJsonNumber(out, std::numeric_limits<double>::infinity()), std::invalid_argument);
}

TEST(Json, NothingIsNoValue)
{
    EXPECT_FALSE(parseJson(std::string_view(), [](const JsonValue&) { FAIL(); }));
    EXPECT_FALSE(parseJson("", [](const JsonValue&) { FAIL(); }));
}

TEST(Json, AVisitorMayParseOnItsOwn)
{
    std::string seen;
    parseJson(R"(["[1,2]","[3]"])", [&](const JsonValue& outer) {
        outer.forEachElement([&](const JsonValue& text) {
            parseJson(*text.string(), [&](const JsonValue& inner) { seen += inner.text(); });
        });
    });
    EXPECT_EQ(seen, "[1,2][3]");
}

struct Tolerant {
    std::int64_t count = 3;
    std::map<std::string, std::vector<std::string>> keys{{"old", {"x"}}};
    UnknownMembers unknownMembers;

    static constexpr bool absentFieldsKeepTheirValue = true;
    static constexpr auto fields()
    {
        return std::tuple{field("count", &Tolerant::count), field("keys", &Tolerant::keys)};
    }
    friend bool operator==(const Tolerant&, const Tolerant&) = default;
};

// Files that people write say as little as they like, but what they say is still checked.
TEST(Record, MayTolerateAbsentFields)
{
    EXPECT_EQ(decodeRecord<Tolerant>("{}"), Tolerant());
    EXPECT_EQ(decodeRecord<Tolerant>(R"({"count":4})").count, 4);
    const Tolerant kept = decodeRecord<Tolerant>(R"({"keys":{"b\"":["1","2"],"a":[]},"other":1})");
    EXPECT_EQ(kept.keys, (std::map<std::string, std::vector<std::string>>{{"a", {}}, {"b\"", {"1", "2"}}}));
    EXPECT_EQ(encodeRecord(kept), R"({"count":3,"keys":{"a":[],"b\"":["1","2"]},"other":1})");
    for (const char* wrong : {R"({"count":"4"})", R"({"keys":[]})", R"({"keys":{"a":"1"}})", "[]"})
        EXPECT_THROW(decodeRecord<Tolerant>(wrong), RecordError) << wrong;
}

}  // namespace
}  // namespace penmark
