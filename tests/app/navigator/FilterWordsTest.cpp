// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/FilterWords.h"

#include "app/navigator/ListedDate.h"

#include <QDateTime>
#include <string>

#include <gtest/gtest.h>

namespace penmark {
namespace {

TEST(FilterWords, IgnoreCaseAndAccentsAndNothingElse)
{
    struct Case {
        const char* filter;
        const char* title;
        bool isMatch;
    };
    const Case cases[] = {
        {"", "anything", true},
        {" \t ", "anything", true},
        {"cafe", "Café in Zürich", true},
        {"CAFÉ", "cafe", true},
        {"zurich cafe", "Café in Zürich", true},
        {"zurich berlin", "Café in Zürich", false},
        {"cafein", "Café in Zürich", false},
        {"e\u0301te", "\u00c9t\u00e9", true},  // an accent of its own against one that is part of the letter
        {"\u0301", "x", true},                 // nothing but an accent
        {"strasse", "Straße", true},
        {"STRAẞE", "strasse", true},
        {"smorrebrod", "Smørrebrød", true},
        {"lodz", "ŁÓDŹ", true},
        {"aether", "Æther", true},
        {"istanbul", "İstanbul", true},
        {"fi", "ﬁnal", true},
        {"άνθρωπος", "ΑΝΘΡΩΠΟΣ", true},
        {"ёлка", "ЕЛКА", true},
        {"שלום", "שָׁלוֹם", true},
        {"กา", "กิ", false},  // vowels are no accents
        {"か", "さ", false},
        {"😀", "party 😀", true},
        {"a", "ɐ", false},
        {"50%", "50% off", true},
        {".*", "abc", false},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(std::string(each.filter) + " in " + each.title);
        const FilterWords words(QString::fromUtf8(each.filter));
        EXPECT_EQ(words.match(foldForFilter(each.title), {}), each.isMatch);
        EXPECT_EQ(words.match({}, foldForFilter(each.title)), each.isMatch);
    }
    EXPECT_TRUE(FilterWords(QStringLiteral("one two")).match("one", "two")) << "words may be in different places";
}

TEST(FilterWords, MarkWhatIsShown)
{
    struct Case {
        const char* filter;
        const char* title;
        const char* marked;  // brackets around each mark
    };
    const Case cases[] = {
        {"", "abc", "abc"},
        {"b", "abcb", "a[b]c[b]"},
        {"cafe", "Le Café noir", "Le [Café] noir"},
        {"cafe", "Cafe\u0301 noir", "[Cafe\u0301] noir"},
        {"ab bc", "abcd", "[abc]d"},
        {"s", "Straße", "[S]tra[ß]e"},
        {"sse", "Straße", "Stra[ße]"},
        {"o", "😀o😀", "😀[o]😀"},
        {"😀", "a😀b", "a[😀]b"},
        {"i", "ﬁn", "[ﬁ]n"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(std::string(each.filter) + " in " + each.title);
        QString marked = QString::fromUtf8(each.title);
        const auto marks = FilterWords(QString::fromUtf8(each.filter)).marks(marked);
        for (auto mark = marks.rbegin(); mark != marks.rend(); ++mark) {
            marked.insert(mark->start + mark->length, QLatin1Char(']'));
            marked.insert(mark->start, QLatin1Char('['));
        }
        EXPECT_EQ(marked.toStdString(), each.marked);
    }
}

TEST(ListedDate, SaysNoMoreThanIsNeeded)
{
    const auto at = [](int year, int month, int day, int hour, int minute) {
        const QDateTime local(QDate(year, month, day), QTime(hour, minute));
        return Date::fromUnix(local.toSecsSinceEpoch(), 0);
    };
    const Date now = at(2026, 3, 14, 18, 30);
    EXPECT_EQ(listedDate(at(2026, 3, 14, 18, 4), now), QStringLiteral("18:04"));
    EXPECT_EQ(listedDate(at(2026, 3, 14, 0, 0), now), QStringLiteral("00:00"));
    EXPECT_EQ(listedDate(at(2026, 3, 13, 23, 59), now), QStringLiteral("yesterday 23:59"));
    EXPECT_EQ(listedDate(at(2026, 3, 12, 18, 4), now), QStringLiteral("12 Mar"));
    EXPECT_EQ(listedDate(at(2025, 3, 12, 18, 4), now), QStringLiteral("12 Mar 2025"));
    EXPECT_EQ(listedDate(at(2025, 12, 31, 23, 0), at(2026, 1, 1, 1, 0)), QStringLiteral("yesterday 23:00"));
}

}  // namespace
}  // namespace penmark
