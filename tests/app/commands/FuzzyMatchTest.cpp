// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/commands/FuzzyMatch.h"

#include "CpuTime.h"

#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace penmark {
namespace {

int score(const char* typed, const char* name)
{
    return FuzzyMatch(QString::fromUtf8(typed)).score(FoldedName(QString::fromUtf8(name)));
}

/// The name with brackets around what was matched.
std::string marked(const char* typed, const char* name)
{
    const QString text = QString::fromUtf8(name);
    const auto marks = FuzzyMatch(QString::fromUtf8(typed)).marks(FoldedName(text));
    QString shown;
    for (qsizetype at = 0; at < text.size(); ++at) {
        const bool isMarked = std::find(marks.begin(), marks.end(), at) != marks.end();
        shown += isMarked ? QLatin1Char('[') + text[at] + QLatin1Char(']') : QString(text[at]);
    }
    return shown.replace(QLatin1String("]["), QString()).toStdString();
}

TEST(FuzzyMatch, BetterKindsOfMatchesComeFirst)
{
    const char* const ranked[][5] = {
        // typed, the name itself, its beginning, beginnings of its words, a part
        {"save", "Save", "Save a Copy", "Sort Ascending, Very Early", "Autosave"},
        {"ml", "ML", "mlock", "Move Lines Up", "html"},
    };
    for (const auto& [typed, exact, beginning, words, part] : ranked) {
        SCOPED_TRACE(typed);
        EXPECT_GT(score(typed, exact), score(typed, beginning));
        EXPECT_GT(score(typed, beginning), score(typed, words));
        EXPECT_GT(score(typed, words), score(typed, part));
    }
    EXPECT_GT(score("ave", "Autosave"), score("ave", "Vast Archive"));
    EXPECT_GT(score("ml", "html"), score("ml", "smaall"));
    EXPECT_EQ(score("ml", "lm"), 0);
    EXPECT_EQ(score("savee", "save"), 0);
    EXPECT_GT(score("", "anything"), 0);
    // Among equals the shorter and the earlier.
    EXPECT_GT(score("re", "Redo"), score("re", "Reverse Lines"));
    EXPECT_GT(score("li", "Sort Lines"), score("li", "Add Long Names to the Library"));
}

TEST(FuzzyMatch, MarksWhatWasMatchedInTheOriginal)
{
    EXPECT_EQ(marked("move", "Move Lines Up"), "[Move] Lines Up");
    EXPECT_EQ(marked("mlu", "Move Lines Up"), "[M]ove [L]ines [U]p");
    EXPECT_EQ(marked("moup", "Move Lines Up"), "[Mo]ve Lines [Up]");
    EXPECT_EQ(marked("lines", "Move Lines Up"), "Move [Lines] Up");
    EXPECT_EQ(marked("line mo", "Line Most Lines Move"), "[Line Mo]st Lines Move");
    EXPECT_EQ(marked("vel", "Move Lines"), "Mo[ve] [L]ines");
    EXPECT_EQ(marked("cr", "CommandRegistry.h"), "[C]ommand[R]egistry.h") << "words of camel case";
    EXPECT_EQ(marked("my file", "my_file.txt"), "[my_file].txt");
    EXPECT_EQ(marked("aab", "a ab"), "[a] [ab]") << "a word gives less than it could, so that the next one fits";
}

TEST(FuzzyMatch, AccentsAndCaseDoNotCount)
{
    EXPECT_EQ(marked("resume", "Résumé"), "[Résumé]");
    EXPECT_EQ(marked("RÉSUMÉ", "resume"), "[resume]");
    EXPECT_EQ(marked("lodz", "Łódź"), "[Łódź]");
    // A mark of its own behind its letter, and signs beyond 16 bits before it.
    EXPECT_EQ(marked("ab", "e\u0301ab"), "e\u0301[ab]");
    EXPECT_EQ(marked("x", "😀😀x"), "😀😀[x]");
    EXPECT_EQ(marked("한", "한국"), "[한]국");
    EXPECT_EQ(marked("😀", "a😀"), "a[\xF0\x9F\x98\x80]");
}

// Whatever is typed: a name matches if and only if it has the letters in their order, and what is marked are these.
TEST(FuzzyMatch, AgreesWithThePlainRule)
{
    std::mt19937 random(7);
    const auto text = [&random](int longest, const char* signs) {
        QString made;
        for (auto left = random() % static_cast<unsigned>(longest); left > 0; --left)
            made += QLatin1Char(signs[random() % std::strlen(signs)]);
        return made;
    };
    int matches = 0;
    for (int round = 0; round < 20'000; ++round) {
        const QString name = text(round % 10 == 0 ? 150 : 14, "abcAB_- ");
        QString letters = text(7, "abc ");
        const FuzzyMatch match(letters);
        letters.remove(QLatin1Char(' '));
        qsizetype next = 0;
        for (const QChar sign : name)
            next += next < letters.size() && sign.toLower() == letters[next] ? 1 : 0;
        const bool expected = next == letters.size();
        SCOPED_TRACE(name.toStdString() + " by " + letters.toStdString());
        ASSERT_EQ(match.score(FoldedName(name)) > 0, expected);
        if (!expected || letters.isEmpty())
            continue;
        ++matches;
        QString marked;
        qsizetype last = -1;
        for (const qsizetype at : match.marks(FoldedName(name))) {
            ASSERT_GT(at, last);
            last = at;
            if (name[at].isLetter())
                marked += name[at].toLower();
        }
        ASSERT_EQ(marked.toStdString(), letters.toStdString());
    }
    EXPECT_GT(matches, 3'000);
}

// Many names in a few frames, also names made to have many ways to fail.
TEST(FuzzyMatch, StaysFast)
{
    std::vector<FoldedName> names;
    for (int number = 0; number < 100'000; ++number)
        names.emplace_back(QStringLiteral("src/folder%1/SomeFile-%2 notes.md").arg(number % 97).arg(number));
    const FuzzyMatch match(QStringLiteral("sfn md"));
    const auto start = cpuTime();
    int found = 0;
    for (const FoldedName& name : names)
        found += match.score(name) > 0 ? 1 : 0;
    const double seconds = (cpuTime() - start).count();
    EXPECT_EQ(found, 100'000);
    EXPECT_LT(seconds, granted(0.06));

    const QString hard = QStringLiteral("a ").repeated(200);
    const auto again = cpuTime();
    for (int round = 0; round < 100; ++round)
        EXPECT_EQ(FuzzyMatch(QStringLiteral("a").repeated(40) + QLatin1Char('b'))
                          .score(FoldedName(hard + hard + QStringLiteral("cb a"))) > 0,
                  true);
    EXPECT_LT((cpuTime() - again).count(), granted(0.2));
}

}  // namespace
}  // namespace penmark
