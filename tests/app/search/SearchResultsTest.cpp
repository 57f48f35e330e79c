// SPDX-License-Identifier: GPL-3.0-or-later
#include "CpuTime.h"
#include "app/history/VersionDates.h"
#include "app/search/FakeSearch.h"
#include "app/search/HitLine.h"
#include "app/search/HitPlace.h"
#include "app/search/SearchResultsView.h"
#include "app/search/SearchTexts.h"

#include <QAbstractItemModelTester>
#include <QFontDatabase>
#include <QLocale>
#include <QScrollBar>
#include <QTest>

#include <gtest/gtest.h>

namespace penmark {
namespace {

std::string shown(const HitLine& line)
{
    QString text = line.text;
    text.insert(line.mark + line.length, QLatin1Char(']'));
    return text.insert(line.mark, QLatin1Char('[')).toStdString();
}

TEST(HitLineTest, ShowsTheLineWithoutWhatWouldDisturbOthers)
{
    struct Case {
        std::string text;
        std::size_t start;
        std::size_t length;
        std::size_t textStart;
        std::string expected;
    };
    for (const Case& each : std::vector<Case>{{"\t  a pear\there", 5, 4, 0, "a [pear] here"},
                                              {"   ", 1, 2, 0, "[  ]"},  // blanks that are the match stay
                                              {"end", 3, 0, 0, "end[]"},
                                              {"größer 😀 pear", 14, 4, 0, "größer 😀 [pear]"},
                                              {"  tail pear", 7, 4, 700, "…  tail [pear]"},
                                              {"\x01\x7F pear\r\n", 3, 6, 0, "␁␡ [pear␍␊]"},
                                              {"\u202Eabc\u2066 pear\u2028", 10, 4, 0, "\uFFFDabc\uFFFD [pear]\u2424"},
                                              {"cut", 2, 9, 0, "cu[t]"},
                                              {"cut", 7, 9, 0, "cut[]"}}) {
        TextSearchHit hit = FakeSearch::hit(1, each.text, each.start, each.length);
        hit.textStart = each.textStart;
        EXPECT_EQ(shown(HitLine::of(hit)), each.expected);
    }
}

// However long the line, wide its letters or long the match: the match, or its beginning, is in what fits.
TEST(HitLineTest, CutsLinesAroundTheMatch)
{
    const QFontMetricsF metrics(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    const std::vector<std::string> letters{"x", "é", "字", "😀", "ש"};
    for (const std::string& letter : letters) {
        for (const std::size_t before : {0U, 3U, 90U, 600U}) {
            for (const std::size_t length : {1U, 8U, 300U}) {
                SCOPED_TRACE(letter + " " + std::to_string(before) + " " + std::to_string(length));
                std::string text;
                for (std::size_t i = 0; i < before; ++i)
                    text += letter;
                const std::string mark(length, 'M');
                const std::size_t start = text.size();
                text += mark + " and more of it, and even more of it than anybody would read";
                const HitLine whole = HitLine::of(FakeSearch::hit(1, text, start, length));
                for (const double width : {80.0, 200.0, 700.0}) {
                    const HitLine line = whole.fitting(metrics, width);
                    EXPECT_LE(metrics.horizontalAdvance(line.text), width + 1);
                    EXPECT_EQ(line.text.mid(line.mark, line.length), QString(line.length, QLatin1Char('M')));
                    EXPECT_GE(line.length, std::min<qsizetype>(static_cast<qsizetype>(length), 2)) << width;
                    EXPECT_FALSE(!line.text.isEmpty() && line.text.front().isLowSurrogate());
                }
            }
        }
    }
}

// Of a hit on "pear" at 10 in "0123456789pear".
TEST(HitPlaceTest, FollowsTheTextToWhereItIsNearest)
{
    TextSearchHit hit = FakeSearch::hit(1, "0123456789pear", 10, 4);
    hit.match.bytes = {Utf8Offset(10), Utf8Offset(14)};
    hit.match.range = {Utf16Offset(10), Utf16Offset(14)};
    const auto place = [&](std::string_view text) -> int {
        const TextSnapshot snapshot(text);
        auto found = samePlace(hit, snapshot);
        if (!found)
            found = nearestPlace(hit, snapshot);
        return found ? static_cast<int>(found->start.value) : -1;
    };
    EXPECT_EQ(place("0123456789pear pear"), 10);
    EXPECT_EQ(place("new 0123456789pear"), 14);
    EXPECT_EQ(place("pear"), 0);
    EXPECT_EQ(place(""), -1);
    EXPECT_EQ(place("0123456789plum and more"), -1);
    EXPECT_EQ(place("pear 56 pear lum    pear"), 8) << "2 before rather than 10 behind";
    EXPECT_EQ(place("pear 567 9 b pear   pear"), 13) << "3 behind rather than 10 before";
    EXPECT_EQ(place("0123pear          pear  "), 4) << "6 before rather than 8 behind";
    EXPECT_EQ(place("éééééééééépear"), 20) << "units of the place are UTF-16";

    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(nearestPlace(hit, TextSnapshot(std::string_view("a pear")), stop.get_token()));
    hit.mark.end = Utf8Offset(12);  // the line was cut: "pe" is all that is known but for a hash
    hit.matchHash = std::hash<std::string_view>()("pear");
    EXPECT_EQ(place("plum 56789pear"), 10);
    EXPECT_EQ(place("0123456789peas"), -1);
    EXPECT_EQ(place("0123456789pea"), -1);
    EXPECT_EQ(place("pear"), -1);
}

TEST(SearchTextsTest, CountsAndReadsWhatIsTyped)
{
    QLocale::setDefault(QLocale(QLocale::English));
    TextSearchReport report;
    EXPECT_EQ(reportCounts(report, true), QString());
    report.hits.resize(1'234);
    report.groups.resize(56);
    report.sources = 3'000;
    report.scanned = 12;
    report.indexedSkips = 1'000;
    report.elapsedMS = 45;
    EXPECT_EQ(reportCounts(report, true).toStdString(), "1,234 hits in 56 sources · 1,012 of 3,000 searched");
    report.finished = true;
    report.hits.resize(1);
    report.groups.resize(1);
    EXPECT_EQ(reportCounts(report, false).toStdString(), "1 hit in 1 source · 1,012 of 3,000 searched · 45 ms");

    using Types = std::vector<std::string>;
    EXPECT_EQ(parseFileTypes(QStringLiteral(" md,*.txt  .py;md, ,")), (Types{"md", "txt", "py"}));
    EXPECT_EQ(parseFileTypes(fileTypesText({"md", "tar.gz"})), (Types{"md", "tar.gz"}));
}

class SearchResultsTest : public testing::Test {
protected:
    void run()
    {
        TextSearchRule rule;
        rule.query = "pear";
        controller.search().setVisible(true);
        controller.search().setRule(rule, true);
    }

    FakeSearch fake;
    SearchController controller{fake, fake};
};

TEST_F(SearchResultsTest, RowsComeInBatchesAndGoAtOnce)
{
    SearchResultsModel model(controller);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    run();
    fake.publish(FakeSearch::threeHits());
    TextSearchBatch more;
    const Date stored{700'000'000};
    FakeSearch::addGroup(more, "old", {FakeSearch::hit(12'345, "ripe pears", 5, 4)}, TextSearchSource::Kind::historical,
                         "/home/someone/old.md", stored);
    more.hits.back().match.kind = TextMatchKind::typo;
    fake.finish(std::move(more));

    ASSERT_EQ(model.rowCount(), 3);
    EXPECT_EQ(model.rowCount(model.index(0, 0)), 2);
    EXPECT_EQ(model.lastLine(), 12'345U);
    for (std::size_t hit = 0; hit < 4; ++hit) {
        const QModelIndex index = model.indexOf(hit);
        EXPECT_EQ(model.hitNumber(index), hit);
        EXPECT_EQ(model.hit(index), &controller.report().hits[hit]);
        EXPECT_TRUE(model.group(index.parent()));
        EXPECT_FALSE(model.hitNumber(index.parent()));
    }
    EXPECT_FALSE(model.indexOf(4).isValid());
    const auto said = [&](const QModelIndex& index) {
        return index.data(Qt::AccessibleTextRole).toString().toStdString();
    };
    EXPECT_EQ(said(model.index(0, 0)), "notes.md, Stored in Penmark, 2 hits");
    EXPECT_EQ(said(model.index(2, 0)), "old, " + momentText(stored, Date::now()).toStdString() +
                                           ", Stored in Penmark, Stored text · Read-only, 1 hit");
    EXPECT_EQ(said(model.indexOf(3)), "Line 12345: ripe pears, typo");
    EXPECT_EQ(model.allLines().toStdString(), "notes.md:3:    a pear here\nnotes.md:12:pears\ntodo:1:buy a pear\n"
                                              "/home/someone/old.md (" +
                                                  stored.localText() + "):12345:ripe pears\n");

    // Until the next run has something to show, the results of this one stay.
    EXPECT_TRUE(controller.hasCurrentHits());
    run();
    EXPECT_EQ(model.rowCount(), 3);
    EXPECT_FALSE(controller.hasCurrentHits());
    fake.finish();
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_EQ(model.lastLine(), 0U);
}

// 50,000 hits in 10,000 sources, as they come when somebody wants to see more, painted while they come.
TEST_F(SearchResultsTest, ManyHitsKeepTheWindowQuick)
{
    SearchResultsView view(controller);
    view.setTextFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    view.resize(900, 600);
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view, 60'000));
    run();
    std::vector<TextSearchBatch> batches(50);
    std::size_t number = 0;
    for (TextSearchBatch& batch : batches) {
        for (int source = 0; source < 200; ++source) {
            std::vector<TextSearchHit> hits;
            for (int hit = 0; hit < 5; ++hit, ++number) {
                const std::string lead = "    some words before " + std::to_string(number) + " the ";
                hits.push_back(FakeSearch::hit(number, lead + "pear and some behind it", lead.size(), 4));
            }
            FakeSearch::addGroup(batch, "Document " + std::to_string(number), std::move(hits));
        }
    }
    const auto begin = cpuTime();
    for (TextSearchBatch& batch : batches) {
        fake.publish(std::move(batch));
        view.viewport()->repaint();
    }
    fake.finish();
    QCoreApplication::processEvents();
    const double appended = (cpuTime() - begin).count();
    EXPECT_EQ(view.results().rowCount(), 10'000);
    EXPECT_LT(appended, granted(1.0));

    QScrollBar* const bar = view.verticalScrollBar();
    ASSERT_GT(bar->maximum(), 50'000 * 10);
    const auto scrolled = cpuTime();
    for (int frame = 0; frame < 200; ++frame) {
        bar->setValue(bar->maximum() / 200 * frame + frame);
        view.viewport()->repaint();
    }
    const double frames = (cpuTime() - scrolled).count();
    EXPECT_LT(frames / 200, granted(0.008));
    RecordProperty("appended_ms", std::to_string(appended * 1'000));
    RecordProperty("frame_ms", std::to_string(frames * 5));
    if (qEnvironmentVariableIsSet("PENMARK_SHOW_TIMES"))
        std::printf("appended %.0f ms, frame %.2f ms\n", appended * 1'000, frames * 5);
}

}  // namespace
}  // namespace penmark
