// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/TabList.h"

#include <string>

#include <gtest/gtest.h>

namespace penmark {
namespace {

class TabListTest : public testing::Test {
protected:
    const Uuid& id(char name) const { return ids_[static_cast<std::size_t>(name - 'a')]; }
    void add(const std::string& names)
    {
        for (const char name : names)
            tabs.add(id(name), true);
    }
    /// "abC": the tabs in order, the one in front in capitals.
    std::string shown() const
    {
        std::string names;
        for (const Uuid& document : tabs.documents()) {
            const char name = nameOf(document);
            names += tabs.selected() == document ? static_cast<char>(name - 'a' + 'A') : name;
        }
        return names;
    }
    std::string byUse() const
    {
        std::string names;
        for (std::size_t step = 0; step < tabs.documents().size(); ++step)
            names += nameOf(*tabs.byUse(step));
        return names;
    }

    TabList tabs;

private:
    char nameOf(const Uuid& document) const
    {
        for (char name = 'a'; name < 'g'; ++name) {
            if (id(name) == document)
                return name;
        }
        return '?';
    }

    const std::vector<Uuid> ids_{Uuid::random(), Uuid::random(), Uuid::random(),
                                 Uuid::random(), Uuid::random(), Uuid::random()};
};

TEST_F(TabListTest, PlacesAndTheOrderOfUse)
{
    EXPECT_FALSE(tabs.selected());
    EXPECT_FALSE(tabs.byUse(0));
    EXPECT_FALSE(tabs.byPlace(1));
    add("abc");
    EXPECT_EQ(shown(), "Abc") << "the first one comes to the front";
    tabs.add(id('d'));
    EXPECT_EQ(shown(), "Adbc") << "behind the one in front";
    tabs.add(id('d'), true);
    EXPECT_EQ(shown(), "Adbc") << "one tab a document";
    tabs.insert(id('e'), 99);
    EXPECT_EQ(shown(), "Adbce");
    tabs.select(id('c'));
    tabs.select(id('b'));
    EXPECT_EQ(byUse(), "bcade");
    EXPECT_EQ(tabs.byUse(5), id('b')) << "around the end";
    tabs.show(id('e'));
    EXPECT_EQ(shown(), "adbcE");
    EXPECT_EQ(byUse(), "bcade") << "a look is no use";
    tabs.select(id('b'));
    tabs.move(2, 0);
    EXPECT_EQ(shown(), "Badce");
    tabs.move(0, 4);
    EXPECT_EQ(shown(), "adceB");
    tabs.move(0, 5);
    EXPECT_EQ(shown(), "adceB") << "there is no such place";
    EXPECT_EQ(tabs.byPlace(1), id('a'));
    EXPECT_EQ(tabs.byPlace(-1), id('e'));
    EXPECT_EQ(tabs.byPlace(-7), id('c'));

    tabs.remove(id('d'));
    EXPECT_EQ(shown(), "aceB");
    tabs.remove(id('b'));
    EXPECT_EQ(shown(), "aCe") << "the one used before";
    EXPECT_EQ(byUse(), "cae");
    tabs.removeAllBut(id('a'));
    EXPECT_EQ(shown(), "A");
    tabs.remove(id('a'));
    EXPECT_TRUE(tabs.empty());
    EXPECT_FALSE(tabs.selected());
}

// What another version of the program has written must come through a window of this one unharmed.
TEST_F(TabListTest, RecordComesBackWithAllThatIsUnknown)
{
    const std::string a = id('a').text();
    const std::string b = id('b').text();
    const std::string state = R"({"carets":[{"anchor":1,"head":2}],"mainCaret":0,"scrollOffset":3,"scrolledRows":0.5,)"
                              R"("folds":[{"start":1,"end":9}],"laterKey":{"x":[1]}})";
    const std::string json = R"({"id":")" + id('f').text() + R"(","documents":[")" + a + R"(",")" + b +
                             R"("],"selected":")" + b + R"(","isOpen":true,"editorStates":{")" + std::min(a, b) +
                             R"(":)" + (a < b ? state : R"(["unknown form"])") + R"(,")" + std::max(a, b) + R"(":)" +
                             (a < b ? R"(["unknown form"])" : state) + R"(},"tabIDs":{")" + std::min(a, b) + R"(":")" +
                             id('c').text() + R"(",")" + std::max(a, b) + R"(":")" + id('d').text() +
                             R"("},"presentation":{"libraryVisible":true,"later":1},"unknown":[null]})";
    RecoveryWindow record = decodeRecord<RecoveryWindow>(json);
    tabs = TabList(record);
    EXPECT_EQ(shown(), "aB");
    EXPECT_EQ(tabs.stateOf(id('b')), nullptr);
    ASSERT_NE(tabs.stateOf(id('a')), nullptr);
    EXPECT_EQ(tabs.stateOf(id('a'))->carets, (std::vector{StoredCaret{1, 2}}));
    tabs.fill(record);
    EXPECT_EQ(encodeRecord(record), json);

    tabs.setState(id('b'), {});
    tabs.fill(record);
    EXPECT_NE(record.editorStates.at(id('b')).text, R"(["unknown form"])") << "it was shown here";
    tabs.remove(id('a'));
    tabs.fill(record);
    EXPECT_EQ(record.documents, std::vector{id('b')});
    EXPECT_EQ(record.editorStates.count(id('a')) + record.tabIDs.count(id('a')), 0U);
    EXPECT_EQ(record.unknownMembers.size(), 1U);
}

TEST_F(TabListTest, OddRecordGivesTabsAllTheSame)
{
    RecoveryWindow record;
    record.documents = {id('a'), id('a'), id('b')};
    record.selected = id('c');
    tabs = TabList(record);
    EXPECT_EQ(shown(), "Ab") << "no tab twice, and one of those that are there in front";
    tabs.fill(record);
    EXPECT_EQ(record.selected, id('a'));
    EXPECT_EQ(record.tabIDs.size(), 2U) << "each tab has an identity";
}

}  // namespace
}  // namespace penmark
