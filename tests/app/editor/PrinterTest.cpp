// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/TextPrinter.h"

#include <QBuffer>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPaintEngine>
#include <QPainter>
#include <QPdfWriter>
#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace penmark;

namespace {

struct Written {
    std::size_t page;
    double x;  // points
    double y;
    QString text;
    QColor color;
};

/// Writes down what is drawn instead of drawing it.
class Recorder final : public QPdfWriter, private QPaintEngine {
public:
    explicit Recorder(QIODevice* device, int dpi = 600) : QPdfWriter(device), QPaintEngine(AllFeatures)
    {
        setResolution(dpi);
        setPageSize(QPageSize(QPageSize::A5));
        setPageMargins(QMarginsF(15, 15, 15, 15), QPageLayout::Millimeter);
    }

    bool newPage() override
    {
        ++page;
        return page != failingPage;
    }

    std::vector<Written> written;
    std::size_t page = 1;
    std::size_t failingPage = 0;

private:
    QPaintEngine* paintEngine() const override { return const_cast<Recorder*>(this); }
    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    Type type() const override { return User; }
    void updateState(const QPaintEngineState&) override {}
    void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
    void drawPolygon(const QPointF*, int, PolygonDrawMode) override {}
    void drawTextItem(const QPointF& at, const QTextItem& item) override
    {
        const QPointF device = painter()->combinedTransform().map(at) * 72 / resolution();
        written.push_back({page, device.x(), device.y(), item.text(), painter()->pen().color()});
    }
};

class PrinterTest : public testing::Test {
protected:
    PrinterTest()
    {
        buffer.open(QIODevice::WriteOnly);
        settings.font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        settings.font.setPointSizeF(10);
        settings.pageNumbers = false;
    }

    static TextSnapshot numbered(int lines)
    {
        std::string text;
        for (int i = 1; i <= lines; ++i)
            text += "line" + std::to_string(i) + "\n";
        return TextSnapshot(std::move(text));
    }

    /// All that is written on a page, without blanks; on all pages for 0.
    static std::string on(const Recorder& recorder, std::size_t page)
    {
        QString text;
        for (const Written& each : recorder.written) {
            if (page == 0 || each.page == page)
                text += each.text;
        }
        text.remove(QLatin1Char(' '));
        return text.toStdString();
    }

    /// Rows of text on each page, by their heights.
    static std::map<std::size_t, std::map<int, QString>> rows(const Recorder& recorder)
    {
        std::map<std::size_t, std::map<int, QString>> rows;
        for (const Written& each : recorder.written)
            rows[each.page][static_cast<int>(each.y)] += each.text;
        return rows;
    }

    QBuffer buffer;
    PrintSettings settings;
};

}  // namespace

TEST_F(PrinterTest, PrintsEachCharacterOnceWithinTheMargins)
{
    std::string words;
    for (int i = 0; i < 6'000; ++i)
        words += "w" + std::to_string(i) + "é ";
    for (const std::string& text : {std::string("a\r\nb\n\nc"), std::string(3'000, 'x'), words.substr(0, 2'000), words,
                                    words + "\n" + words, std::string(50'000, 'y') + "z\nlast"}) {
        SCOPED_TRACE(text.size());
        Recorder recorder(&buffer);
        const PrintResult result = printText(recorder, TextSnapshot(std::string(text)), settings);
        EXPECT_EQ(result.outcome, PrintResult::Outcome::printed);
        EXPECT_EQ(result.pages, recorder.page);
        std::string wanted = text;
        std::erase_if(wanted, [](char byte) { return byte == ' ' || byte == '\n' || byte == '\r'; });
        EXPECT_TRUE(on(recorder, 0) == wanted);
        const double width = recorder.width() * 72.0 / recorder.resolution();
        const double height = recorder.height() * 72.0 / recorder.resolution();
        const QFontMetricsF metrics(settings.font);
        for (const Written& each : recorder.written) {
            ASSERT_GE(each.x, 0);
            ASSERT_LT(each.x, width);
            ASSERT_GT(each.y, 0);
            ASSERT_LT(each.y, height);
        }
        // Nothing but the last row of a line is left short, also where a long line is laid out in pieces.
        for (const auto& [page, byHeight] : rows(recorder)) {
            for (const auto& [y, row] : byHeight) {
                if (row.startsWith(QLatin1Char('y')) && !row.endsWith(QLatin1Char('z'))) {
                    EXPECT_GT(row.size(), 50);
                }
            }
        }
    }
}

TEST_F(PrinterTest, WritesRightToLeftFromTheRightMargin)
{
    std::string text;
    for (int i = 0; i < 40; ++i)
        text += "שלום עולם ";
    Recorder recorder(&buffer);
    printText(recorder, TextSnapshot(text + "\nleft"), settings);
    const double width = recorder.width() * 72.0 / recorder.resolution();
    double right = 0;
    for (const Written& each : recorder.written)
        right = std::max(right, each.x);
    EXPECT_GT(right, 10);
    EXPECT_LT(right, width);
    EXPECT_NEAR(recorder.written.back().x, 0, .1);
    EXPECT_GE(rows(recorder).at(1).size(), 4U);
}

TEST_F(PrinterTest, HeadsAndNumbersEachPage)
{
    settings.header = QStringLiteral("Title");
    settings.pageNumbers = true;
    Recorder recorder(&buffer);
    const PrintResult result = printText(recorder, numbered(100), settings);
    ASSERT_GE(result.pages, 3U);
    for (std::size_t page = 1; page <= result.pages; ++page) {
        const std::string number = std::to_string(page) + "/" + std::to_string(result.pages);
        const std::string text = on(recorder, page);
        EXPECT_TRUE(text.starts_with("Title" + number)) << text;
    }
    EXPECT_NE(on(recorder, result.pages).find("line100"), std::string::npos);

    settings.pageCount = false;
    Recorder uncounted(&buffer);
    EXPECT_EQ(printText(uncounted, numbered(100), settings).pages, result.pages);
    EXPECT_TRUE(on(uncounted, 2).starts_with("Title2line"));

    settings.firstPage = settings.lastPage = 2;
    Recorder second(&buffer);
    EXPECT_EQ(printText(second, numbered(100), settings).pages, 1U);
    EXPECT_EQ(on(second, 0), on(uncounted, 2));

    settings.firstPage = 1;
    Recorder empty(&buffer);
    EXPECT_EQ(printText(empty, TextSnapshot(), settings).pages, 1U);
    EXPECT_EQ(on(empty, 0), "Title1");
}

TEST_F(PrinterTest, BreaksPagesTheSameAtAnyResolution)
{
    std::string text;
    for (int i = 0; i < 200; ++i)
        text += "Some prose that is too long for a row of a small page, number " + std::to_string(i) + ". はい\n";
    std::vector<std::string> second;
    for (const int dpi : {72, 96, 300, 1'200}) {
        Recorder recorder(&buffer, dpi);
        EXPECT_GE(printText(recorder, TextSnapshot(std::string(text)), settings).pages, 5U);
        second.push_back(on(recorder, 2));
    }
    for (const std::string& each : second)
        EXPECT_EQ(each, second.front());
}

TEST_F(PrinterTest, LeavesNoRowOfALineAlone)
{
    // Lines of one to five rows, named by their first letter, in all positions on a page.
    std::string text;
    for (int i = 0; i < 300; ++i)
        text += std::string(static_cast<std::size_t>(1 + 50 * (i * 7 % 5)), static_cast<char>('a' + i % 26)) + "\n";
    Recorder recorder(&buffer);
    ASSERT_GE(printText(recorder, TextSnapshot(std::move(text)), settings).pages, 10U);
    const auto pages = rows(recorder);
    for (std::size_t page = 2; page <= pages.size(); ++page) {
        SCOPED_TRACE(page);
        const auto last = pages.at(page - 1).rbegin();
        const auto first = pages.at(page).begin();
        if (last->second.front() != first->second.front())
            continue;
        EXPECT_EQ(std::next(last)->second.front(), last->second.front());
        EXPECT_EQ(std::next(first)->second.front(), first->second.front());
    }
}

TEST_F(PrinterTest, PrintsASelectionWithItsColoursAndLineNumbers)
{
    settings.lineNumbers = true;
    settings.tokens = [](LineNumber line, std::vector<Token>& tokens) {
        tokens.assign(1, {2, 3, line.value % 2 ? TokenKind::keyword : TokenKind::comment});
    };
    settings.range = Utf8Range{Utf8Offset(9), Utf8Offset(18)};
    Recorder recorder(&buffer);
    EXPECT_EQ(printText(recorder, numbered(30), settings).pages, 1U);
    ASSERT_EQ(on(recorder, 0), "2e23line3");
    // "ne2" of the token's "ne2" is cut at the selection's start.
    std::map<QString, QColor> colors;
    for (const Written& each : recorder.written)
        colors[each.text] = each.color;
    EXPECT_EQ(colors.count(QStringLiteral("e2")), 1U);
    EXPECT_EQ(colors.count(QStringLiteral("li")), 1U);
    EXPECT_EQ(colors.count(QStringLiteral("ne3")), 1U);
    EXPECT_NE(colors[QStringLiteral("e2")], colors[QStringLiteral("ne3")]);
    EXPECT_NE(colors[QStringLiteral("li")], colors[QStringLiteral("ne3")]);
}

TEST_F(PrinterTest, StopsWhenItIsAskedToOrCannotGoOn)
{
    std::stop_source stop;
    double last = 0;
    Recorder recorder(&buffer);
    const PrintResult cancelled = printText(recorder, numbered(300'000), settings, stop.get_token(), [&](double done) {
        EXPECT_GE(done, last);
        EXPECT_LE(done, 1);
        last = done;
        stop.request_stop();
    });
    EXPECT_EQ(cancelled.outcome, PrintResult::Outcome::cancelled);
    EXPECT_GT(last, 0);
    EXPECT_EQ(cancelled.pages, recorder.page);
    EXPECT_LT(on(recorder, 0).size(), 1'000'000U);

    Recorder failing(&buffer);
    failing.failingPage = 3;
    const PrintResult failed = printText(failing, numbered(1'000), settings);
    EXPECT_EQ(failed.outcome, PrintResult::Outcome::failed);
    EXPECT_EQ(failed.pages, 2U);

    QPdfWriter nowhere(QStringLiteral("/nonexistent/folder/out.pdf"));
    EXPECT_EQ(printText(nowhere, numbered(1), settings).outcome, PrintResult::Outcome::failed);
}
