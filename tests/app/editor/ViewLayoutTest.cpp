// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/ViewLayout.h"

#include "text/Characters.h"
#include "text/RandomText.h"
#include "text/highlight/ColorScheme.h"
#include "text/highlight/FoldSet.h"

#include <QFontDatabase>
#include <cmath>
#include <optional>

#include <gtest/gtest.h>

namespace penmark {
namespace {

std::string numberedLines(int count, int words = 3)
{
    std::string text;
    for (int line = 0; line < count; ++line) {
        text += "line " + std::to_string(line);
        for (int word = 0; word < words; ++word)
            text += " word";
        text += line + 1 < count ? "\n" : "";
    }
    return text;
}

class ViewLayoutTest : public testing::Test, private TextObserver {
protected:
    explicit ViewLayoutTest(std::string_view text = {}) : buffer(TextSnapshot(text)), layout(buffer)
    {
        buffer.addObserver(*this);
        layout.setFolds(&folds);
        layout.setColors(lightColorScheme());
        layout.setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
        row = layout.rowHeight();
        layout.setSize({400, 20 * row});
    }
    ~ViewLayoutTest() override { buffer.removeObserver(*this); }

    void load(std::string_view text) { buffer.load(TextSnapshot(text)); }
    void edit(std::size_t start, std::size_t end, std::string_view with)
    {
        buffer.apply(TextEdit({Utf8Offset(start), Utf8Offset(end)}, with), {}, {});
    }
    void fold(std::size_t first, std::size_t last)
    {
        ASSERT_TRUE(folds.fold(buffer.text(), {LineNumber(first), LineNumber(last)}));
        layout.foldsChanged();
    }

    /// From the view's top; absent if it is not seen.
    std::optional<double> topOf(Utf8Offset offset)
    {
        const std::optional<QRectF> rect = layout.caretRect(Caret(offset));
        return rect ? std::optional(rect->top()) : std::nullopt;
    }
    double bottom()
    {
        const ViewLayout::Placed& last = layout.visible().back();
        return last.top + last.block->height();
    }
    std::size_t firstLine() { return layout.visible().front().line.value; }

    // Placed blocks adjoin, cover the view unless the text is at an end, and skip nothing but what is folded.
    void expectGapless()
    {
        const auto& seen = layout.visible();
        ASSERT_FALSE(seen.empty());
        EXPECT_LE(seen.front().top, 0);
        for (std::size_t index = 1; index < seen.size(); ++index) {
            EXPECT_DOUBLE_EQ(seen[index].top, seen[index - 1].top + seen[index - 1].block->height());
            if (!seen[index].startsLine) {
                EXPECT_EQ(seen[index].range.start, seen[index - 1].range.end);
            } else {
                EXPECT_EQ(seen[index].line, folds.visibleAtOrAfter(seen[index - 1].line + 1));
            }
        }
        EXPECT_EQ(seen.front().block->text(), buffer.text().text(seen.front().range));
        EXPECT_TRUE(bottom() >= layout.size().height() ||
                    (seen.back().endsLine && seen.back().range.end == buffer.text().end()));
    }

    void expectWhatStandsInTheText()
    {
        expectGapless();
        for (const ViewLayout::Placed& placed : layout.visible()) {
            ASSERT_EQ(placed.block->text(), buffer.text().text(placed.range));
            if (placed.startsLine && placed.endsLine)
                continue;
            ASSERT_FALSE(placed.range.empty());
            ASSERT_LE(placed.range.size(), 2 * ViewLayout::pieceBytes + 64);
        }
    }

    TextBuffer buffer;
    FoldSet folds;
    ViewLayout layout;
    double row = 0;

private:
    void textChanged(const TextChange& change) override
    {
        if (change.cause == TextChange::Cause::load)
            folds.unfoldAll();
        else
            folds.update(change.edit, change.after);
        layout.textChanged(change);
    }
};

TEST_F(ViewLayoutTest, WrapsLinesIntoWholeRows)
{
    load(numberedLines(5, 10) + "\n\n" + std::string(200, 'x'));
    const auto& seen = layout.visible();
    ASSERT_EQ(seen.size(), 7U);
    EXPECT_EQ(seen[0].block->rows(), 2);
    EXPECT_EQ(seen[5].block->rows(), 1) << "an empty line is a row";
    EXPECT_EQ(seen[6].block->rows(), static_cast<int>(std::ceil(200 / std::floor((400 - 2) / layout.columnWidth()))))
        << "a long word is cut";
    double top = 0;
    for (const ViewLayout::Placed& placed : seen) {
        EXPECT_DOUBLE_EQ(placed.top, top);
        EXPECT_DOUBLE_EQ(placed.block->height(), placed.block->rows() * row);
        EXPECT_LE(placed.block->width(), 400);
        top += placed.block->height();
    }
    layout.setWrap(false);
    for (const ViewLayout::Placed& placed : layout.visible())
        EXPECT_EQ(placed.block->rows(), 1);
    EXPECT_GT(layout.contentWidth(), 200 * layout.columnWidth() - 1);
}

TEST_F(ViewLayoutTest, ScrollsByPixelsAndBack)
{
    load(numberedLines(300, 30));
    layout.scrollToEstimated(layout.estimatedHeight() / 2);
    for (const double pixels : {1.0, row, 7.0, 3 * row + 5, 18 * row, 90 * row, 200 * row + 3}) {
        SCOPED_TRACE(pixels);
        const Utf8Offset first = layout.visible()[3].range.start;
        const double before = *topOf(first);
        EXPECT_TRUE(layout.scrollBy(-pixels));
        expectGapless();
        if (pixels < before) {
            EXPECT_DOUBLE_EQ(*topOf(first), before - pixels);
        }
        EXPECT_TRUE(layout.scrollBy(pixels));
        expectGapless();
        EXPECT_DOUBLE_EQ(*topOf(first), before);
    }
    layout.scrollToStart();
    EXPECT_FALSE(layout.scrollBy(100));
    EXPECT_EQ(*topOf(Utf8Offset(0)), 0);
    layout.scrollToEnd();
    expectGapless();
    EXPECT_DOUBLE_EQ(bottom(), layout.size().height());
    EXPECT_FALSE(layout.scrollBy(-100));
    EXPECT_TRUE(layout.scrollBy(1));
    EXPECT_DOUBLE_EQ(bottom(), layout.size().height() + 1);
    layout.scrollBy(1e9);
    EXPECT_EQ(layout.anchor().offset, Utf8Offset(0));
    EXPECT_EQ(layout.anchor().scrolled, 0);
}

TEST_F(ViewLayoutTest, ShortTextsStayAtTheTop)
{
    for (const std::string& text : {std::string(), std::string("a"), std::string("\n\n"), numberedLines(20, 0)}) {
        load(text);
        EXPECT_FALSE(layout.scrollBy(-10)) << text;
        EXPECT_FALSE(layout.scrollBy(10)) << text;
        layout.scrollToEnd();
        EXPECT_EQ(*topOf(Utf8Offset(0)), 0) << text;
        layout.scrollToEstimated(5);
        EXPECT_EQ(*topOf(Utf8Offset(0)), 0) << text;
    }
}

TEST_F(ViewLayoutTest, TextStaysWhereItIsWhenSomethingChangesAbove)
{
    load(numberedLines(200, 30));
    layout.center(buffer.text().lineStart(LineNumber(100)));
    layout.scrollBy(-5);
    Utf8Offset anchor = layout.anchor().offset;
    const std::string word = buffer.text().text({anchor, anchor + 8});
    const double top = *topOf(anchor);
    const auto expectSame = [&](const char* what) {
        SCOPED_TRACE(what);
        const std::optional<double> now = topOf(anchor);
        ASSERT_TRUE(now);
        EXPECT_DOUBLE_EQ(*now, top);
        EXPECT_EQ(buffer.text().text({anchor, anchor + 8}), word);
        expectGapless();
    };
    edit(0, 0, std::string(5'000, 'x') + "\n");
    anchor += 5'001;
    expectSame("insertion above");
    edit(10, 4'010, "");
    anchor -= 4'000;
    expectSame("deletion above");
    edit(buffer.text().end().value, buffer.text().end().value, "\nmore");
    expectSame("insertion below");
    fold(2, 30);
    expectSame("a fold above");
    folds.unfoldAll();
    layout.foldsChanged();
    expectSame("unfolding above");
    for (const double width : {800.0, 200.0, 401.0, 400.0}) {
        layout.setSize({width, 20 * row});
        const double now = *topOf(anchor);
        EXPECT_LE(now, 0) << width;
        EXPECT_GT(now, -row) << width;
        expectGapless();
    }
    expectSame("other widths and back");
}

// Where the text gets so short that its end would leave the lower edge, it comes down.
TEST_F(ViewLayoutTest, KeepsTheEndAtTheLowerEdge)
{
    load(numberedLines(100, 0));
    layout.scrollToEnd();
    edit(buffer.text().lineStart(LineNumber(60)).value, buffer.text().end().value, "");
    layout.keepFilled();
    expectGapless();
    EXPECT_DOUBLE_EQ(bottom(), layout.size().height());
    fold(0, 58);
    layout.keepFilled();
    EXPECT_EQ(*topOf(Utf8Offset(0)), 0);
    expectGapless();
    folds.unfoldAll();
    layout.foldsChanged();
    layout.scrollToEnd();
    layout.setSize({400, 40 * row});
    layout.keepFilled();
    EXPECT_DOUBLE_EQ(bottom(), layout.size().height());
}

TEST_F(ViewLayoutTest, FoldsSkipLines)
{
    load(numberedLines(50, 0));
    fold(3, 10);
    fold(12, 47);
    std::vector<std::size_t> lines;
    for (const ViewLayout::Placed& placed : layout.visible())
        lines.push_back(placed.line.value);
    EXPECT_EQ(lines, (std::vector<std::size_t>{0, 1, 2, 3, 11, 12, 48, 49}));
    EXPECT_FALSE(topOf(buffer.text().lineStart(LineNumber(5)) + 1));
    const VisualRows::Step below = layout.rowsBelow({buffer.text().lineStart(LineNumber(3))}, 1, 0);
    EXPECT_EQ(below.place.offset, buffer.text().lineStart(LineNumber(11)));
    const VisualRows::Step above = layout.rowsBelow({buffer.text().lineStart(LineNumber(48))}, -2, 0);
    EXPECT_EQ(above.place.offset, buffer.text().lineStart(LineNumber(11)));
    EXPECT_DOUBLE_EQ(layout.estimatedHeight(), 8 * row);
}

// A caret drawn where a click hit is the caret that the click means, in all scripts, rows and pieces.
TEST_F(ViewLayoutTest, HitsWhereCaretsAreDrawn)
{
    Random random(4);
    std::string longLine;
    while (longLine.size() < 30'000)
        longLine += random.below(4) ? "word " : "日本語 ";
    struct Case {
        const char* name;
        std::string text;
    };
    const Case cases[] = {
        {"latin", numberedLines(5, 40)},
        {"hebrew", "שלום עולם זה טקסט ארוך מספיק כדי לעבור שורה אחת ועוד אחת ועוד אחת ועוד\nשלום"},
        {"arabic", "مرحبا بالعالم هذا نص طويل"},
        {"mixed", "one שלום two עולם three 123 four\nשלום one עולם two 456"},
        {"combining", "e\u0301e\u0301 n\u0303 क्षि ไทยที่ 한국어 👨‍👩‍👧 🇩🇪x"},
        {"tabs", "\ta\t\tb\n  \tc"},
        {"controls", std::string("a\0b\x01\x7f", 5) + "\u2028c"},
        {"random", random.text(300)},
        {"pieces", longLine}};
    for (const Case& each : cases) {
        for (const bool wrap : {true, false}) {
            SCOPED_TRACE(std::string(each.name) + (wrap ? ", wrapped" : ""));
            load(each.text);
            layout.setWrap(wrap);
            layout.scrollToStart();
            for (int screen = 0; screen < 4; ++screen) {
                for (double y = row / 2; y < std::min(20 * row, bottom()); y += row) {
                    for (double x = 0; x < 400; x += 13) {
                        const ViewLayout::Hit hit = layout.hit({x, y});
                        EXPECT_EQ(hit.offset.value, graphemeStart(buffer.text(), hit.offset).value) << x << " " << y;
                        Caret caret(hit.offset);
                        caret.affinity = hit.affinity;
                        const std::optional<QRectF> rect = layout.caretRect(caret);
                        ASSERT_TRUE(rect) << x << " " << y;
                        EXPECT_LE(rect->top(), y) << x << " " << y << " offset " << hit.offset.value;
                        EXPECT_GT(rect->bottom(), y) << x << " " << y << " offset " << hit.offset.value;
                        const ViewLayout::Hit again = layout.hit({rect->left(), y});
                        Caret second(again.offset);
                        second.affinity = again.affinity;
                        const std::optional<QRectF> same = layout.caretRect(second);
                        ASSERT_TRUE(same);
                        EXPECT_NEAR(same->left(), rect->left(), .01) << x << " " << y << " offset " << hit.offset.value;
                        EXPECT_EQ(same->top(), rect->top());
                    }
                }
                layout.scrollBy(-17 * row);
            }
            layout.setWrap(true);
        }
    }
}

TEST_F(ViewLayoutTest, LongLinesAreLaidOutInPieces)
{
    for (const std::size_t bytes : {std::size_t(1) << 20, std::size_t(10) << 20}) {
        for (const bool wrap : {true, false}) {
            SCOPED_TRACE(std::to_string(bytes) + (wrap ? " wrapped" : ""));
            std::string text(bytes, 'a');
            for (std::size_t at = 7; at < bytes; at += 8)
                text[at] = ' ';
            load(text);
            layout.setWrap(wrap);
            std::size_t made = layout.layoutsMade();
            const auto counted = [&] { return layout.layoutsMade() - std::exchange(made, layout.layoutsMade()); };
            layout.visible();
            expectGapless();
            EXPECT_LE(counted(), wrap ? 3U : 22U);
            layout.scrollToEnd();
            expectGapless();
            EXPECT_DOUBLE_EQ(bottom(), layout.size().height());
            EXPECT_LE(counted(), wrap ? 4U : 24U);
            layout.center(Utf8Offset(bytes / 2));
            expectGapless();
            EXPECT_LE(counted(), wrap ? 5U : 44U);
            for (const std::size_t at : {bytes / 2, std::size_t(0), bytes}) {
                layout.show(Caret(Utf8Offset(at)));
                layout.visible();
                counted();
                edit(at, at, "x");
                layout.show(Caret(Utf8Offset(at + 1)));
                expectGapless();
                EXPECT_LE(counted(), wrap ? 4U : 24U) << "typing at " << at;
                edit(at, at + 1, "");
            }
        }
    }
}

// From row to row down a long line and back, each row is entered once and the goal is kept.
TEST_F(ViewLayoutTest, MovesByRowsThroughPieces)
{
    std::string text = "start\n";
    while (text.size() < 40'000)
        text += text.size() % 3 ? "word " : "longer ";
    load(text + "\nend");
    const double goal = 100;
    VisualRows::Place place = layout.rowsBelow({Utf8Offset(0)}, 0, goal).place;
    std::vector<VisualRows::Place> way{place};
    while (true) {
        const VisualRows::Step step = layout.rowsBelow(place, 1, goal);
        if (step.rows == 0)
            break;
        EXPECT_EQ(step.rows, 1U);
        ASSERT_GT(step.place.offset, place.offset) << way.size();
        place = step.place;
        way.push_back(place);
    }
    EXPECT_EQ(buffer.text().lineAt(place.offset), LineNumber(2));
    EXPECT_GT(way.size(), 700U);
    for (std::size_t index = way.size() - 1; index > 0; --index) {
        const VisualRows::Step step = layout.rowsBelow(way[index], -1, goal);
        ASSERT_EQ(step.place.offset, way[index - 1].offset) << index;
        if (index > 1) {
            // The last row of a piece may end before the goal.
            const double reachable = std::min(goal, layout.x(layout.rowEnd(way[index - 1])));
            ASSERT_NEAR(layout.x(way[index - 1]), reachable, layout.columnWidth()) << index;
        }
    }
    EXPECT_EQ(layout.rowsBelow({Utf8Offset(0)}, 300, goal).place.offset, way[300].offset);
    // The end of a row is on that row, and the start too.
    for (std::size_t index = 1; index + 1 < way.size(); ++index) {
        const VisualRows::Place start = layout.rowStart(way[index]);
        const VisualRows::Place end = layout.rowEnd(way[index]);
        ASSERT_LE(start.offset, way[index].offset);
        ASSERT_GE(end.offset, way[index].offset);
        ASSERT_EQ(layout.rowEnd(end).offset, end.offset) << index;
        ASSERT_EQ(layout.rowStart(end).offset, start.offset) << index;
    }
}

// An arrow key goes through all places of a line in one direction, whatever way its parts are written.
TEST_F(ViewLayoutTest, VisualStepsGoInOneDirection)
{
    layout.setWrap(false);
    layout.setSize({3'000, 20 * row});
    for (const char* line : {"שלום עולם", "one שלום two", "שלום one עולם 12 אב", "مرحبا بالعالم", "a مرحبا 123 b",
                             "שָׁלוֹם x", "abc אבג דהו xyz 12 גד"}) {
        SCOPED_TRACE(line);
        load(std::string("before\n") + line + "\nbehind");
        const TextLine middle = buffer.text().line(LineNumber(1));
        // From wherever the line is entered on the left, to where it is left on the right.
        for (const bool toRight : {true, false}) {
            Utf8Offset at = middle.start;
            double best = layout.x({at});
            for (Utf8Offset each = middle.start; each <= middle.end; each = nextGrapheme(buffer.text(), each)) {
                const double x = layout.x({each});
                if (toRight ? x < best : x > best) {
                    best = x;
                    at = each;
                }
            }
            double x = layout.x({at});
            std::size_t steps = 0;
            while (true) {
                const std::optional<Utf8Offset> next = layout.visualStep(at, toRight);
                ASSERT_TRUE(next);
                if (*next < middle.start || *next > middle.end)
                    break;
                const double nextX = layout.x({*next});
                ASSERT_TRUE(toRight ? nextX >= x : nextX <= x) << "step " << steps << " from " << at.value;
                x = nextX;
                at = *next;
                ASSERT_LT(++steps, 100U);
            }
            EXPECT_GE(steps, 4U);
        }
    }
    load("plain");
    EXPECT_FALSE(layout.visualStep(Utf8Offset(1), true)) << "left to the text's own order";
}

// The pieces of one long line are no ends for the arrow keys.
TEST_F(ViewLayoutTest, VisualStepsCrossPieces)
{
    std::string text;
    while (text.size() < 30'000)
        text += "שלום ";
    load(text);
    const Utf8Offset cut = [&] {
        layout.center(Utf8Offset(5'000));
        return layout.blockAt(Utf8Offset(5'000)).range.start;
    }();
    ASSERT_GT(cut, Utf8Offset(0));
    EXPECT_EQ(layout.visualStep(cut, false), nextGrapheme(buffer.text(), cut));
    EXPECT_EQ(layout.visualStep(cut, true), previousGrapheme(buffer.text(), cut));
    const Utf8Offset before = previousGrapheme(buffer.text(), cut);
    EXPECT_EQ(layout.visualStep(before, false), cut);
}

TEST_F(ViewLayoutTest, ComposedTextIsDrawnButNotHeld)
{
    load("one two\nthree");
    const double plain = layout.caretRect(Caret(Utf8Offset(7)))->left();
    Preedit preedit;
    preedit.text = QStringLiteral("にほん");
    preedit.cursor = 3;
    layout.setPreedit(Utf8Offset(4), preedit);
    EXPECT_GT(layout.caretRect(Caret(Utf8Offset(7)))->left(), plain + 10);
    EXPECT_GT(layout.preeditCaret()->left(), layout.caretRect(Caret(Utf8Offset(3)))->left() + 10);
    EXPECT_EQ(buffer.text().text(), "one two\nthree");
    // A click on what is composed is one at its place; behind it the places are those of the text.
    const QRectF inside = *layout.preeditCaret();
    EXPECT_EQ(layout.hit({inside.left() - 3, row / 2}).offset, Utf8Offset(4));
    EXPECT_EQ(layout.hit({1'000, row / 2}).offset, Utf8Offset(7));
    edit(0, 0, "x");
    EXPECT_GT(layout.caretRect(Caret(Utf8Offset(8)))->left(), plain + 10) << "it moves along";
    const std::size_t made = layout.layoutsMade();
    layout.caretRect(Caret(Utf8Offset(8)));
    layout.blockAt(Utf8Offset(8));
    layout.rowStart({Utf8Offset(8)});
    EXPECT_EQ(layout.layoutsMade(), made) << "looking lays nothing out";
    layout.clearPreedit();
    EXPECT_EQ(layout.caretRect(Caret(Utf8Offset(8)))->left(), plain + layout.columnWidth());
    EXPECT_FALSE(layout.preeditCaret());
}

TEST_F(ViewLayoutTest, EstimatesGoOneWay)
{
    for (const int words : {0, 40}) {
        for (const bool folded : {false, true}) {
            SCOPED_TRACE(words);
            load(numberedLines(1'000, words));
            if (folded)
                fold(100, 700);
            layout.visible();
            layout.scrollToStart();
            EXPECT_EQ(layout.estimatedTop(), 0);
            layout.scrollToEnd();
            layout.visible();
            EXPECT_NEAR(layout.estimatedTop() + layout.size().height(), layout.estimatedHeight(), 25 * row);
            Utf8Offset last;
            const double range = layout.estimatedHeight() - layout.size().height();
            for (int part = 0; part <= 200; ++part) {
                layout.scrollToEstimated(range * part / 200);
                const Utf8Offset now = layout.anchor().offset;
                EXPECT_GE(now, last) << part;
                last = now;
                EXPECT_TRUE(part > 0 || now == Utf8Offset(0));
                expectGapless();
            }
            layout.scrollToEstimated(layout.estimatedHeight() - layout.size().height());
            EXPECT_DOUBLE_EQ(bottom(), layout.size().height());
            EXPECT_EQ(layout.visible().back().range.end, buffer.text().end());
        }
    }
}

TEST_F(ViewLayoutTest, ShowsCarets)
{
    load(numberedLines(500, 20));
    for (const std::size_t line : {std::size_t(0), std::size_t(499), std::size_t(250), std::size_t(251),
                                   std::size_t(240), std::size_t(270), std::size_t(1)}) {
        const Caret caret(buffer.text().line(LineNumber(line)).end);
        layout.show(caret);
        const std::optional<QRectF> rect = layout.caretRect(caret);
        ASSERT_TRUE(rect) << line;
        EXPECT_GE(rect->top(), 0) << line;
        EXPECT_LE(rect->bottom(), layout.size().height()) << line;
        expectGapless();
        EXPECT_FALSE(layout.show(caret)) << line << " is shown already";
    }
    layout.setWrap(false);
    load(std::string(1'000, 'x') + "\nshort");
    for (const std::size_t at :
         {std::size_t(1'000), std::size_t(500), std::size_t(3), std::size_t(1'000), std::size_t(1'004)}) {
        layout.show(Caret(Utf8Offset(at)));
        const QRectF rect = *layout.caretRect(Caret(Utf8Offset(at)));
        EXPECT_GE(rect.left(), 0) << at;
        EXPECT_LE(rect.right(), 400) << at;
    }
}

// However a long line was cut and edited, its pieces follow one another, upwards as downwards, and are not too large.
TEST_F(ViewLayoutTest, PiecesStayTheSameBothWays)
{
    Random random(9);
    std::string text;
    while (text.size() < 200'000)
        text += random.below(300) ? "a word " : "日e\u0301";
    load(text);
    for (int count = 0; count < 40; ++count) {
        const Utf8Offset at = buffer.text().characterStart(Utf8Offset(random.below(buffer.text().end().value)));
        const Utf8Offset end = buffer.text().characterStart(at + random.below(random.below(5) ? 10 : 9'000));
        edit(at.value, end.value, std::string(random.below(random.below(5) ? 10 : 9'000), 'x'));
        layout.center(buffer.text().characterStart(Utf8Offset(random.below(buffer.text().end().value))));
        std::vector<Utf8Range> down;
        for (int step = 0; step < 60; ++step) {
            ASSERT_NO_FATAL_FAILURE(expectWhatStandsInTheText());
            for (const ViewLayout::Placed& placed : layout.visible()) {
                if (down.empty() || down.back().end < placed.range.end)
                    down.push_back(placed.range);
            }
            layout.scrollBy(layout.rowHeight() * 7);
        }
        for (int step = 0; step < 70; ++step) {
            ASSERT_NO_FATAL_FAILURE(expectWhatStandsInTheText());
            for (const ViewLayout::Placed& placed : layout.visible()) {
                const auto same = std::find(down.begin(), down.end(), placed.range);
                ASSERT_TRUE(same != down.end() || placed.range.end <= down.front().start ||
                            placed.range.start >= down.back().end)
                    << count;
            }
            layout.scrollBy(-layout.rowHeight() * 6);
        }
    }
}

// Whatever is edited, what is kept from earlier is the same as what is laid out anew.
TEST_F(ViewLayoutTest, RandomEditsNeverShowOldText)
{
    for (unsigned seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        std::string text = seed % 2 ? random.text(600) : std::string();
        while (text.size() < 25'000 && seed % 2 == 0)
            text += random.below(300) ? "a word " : "日";
        load(text);
        for (int count = 0; count < 150; ++count) {
            const TextSnapshot before = buffer.text();
            Utf8Offset start = before.characterStart(Utf8Offset(random.below(before.end().value + 1)));
            if (random.below(2) && !layout.visible().empty())
                start = before.characterStart(layout.visible()[random.below(layout.visible().size())].range.start);
            const Utf8Offset end = before.characterStart(std::min(before.end(), start + random.below(12)));
            edit(start.value, std::max(start, end).value, random.text(random.below(4)));
            if (random.below(5) == 0)
                layout.scrollBy(static_cast<double>(random.below(2'000)) - 1'000);
            layout.keepFilled();
            ASSERT_NO_FATAL_FAILURE(expectWhatStandsInTheText());
            // Where a long line is cut depends on what was seen before.
            if (seed % 2 == 0)
                continue;
            ViewLayout fresh(buffer);
            fresh.setFolds(&folds);
            fresh.setColors(lightColorScheme());
            fresh.setFont(layout.font());
            fresh.setSize(layout.size());
            fresh.setAnchor(layout.anchor());
            const auto& seen = layout.visible();
            const auto& same = fresh.visible();
            ASSERT_EQ(seen.size(), same.size()) << count;
            for (std::size_t index = 0; index < seen.size(); ++index) {
                ASSERT_EQ(seen[index].block->text(), same[index].block->text()) << count;
                ASSERT_EQ(seen[index].range, same[index].range) << count;
                ASSERT_DOUBLE_EQ(seen[index].top, same[index].top) << count;
                ASSERT_EQ(seen[index].block->rows(), same[index].block->rows()) << count;
                ASSERT_EQ(seen[index].block->isRightToLeft(), same[index].block->isRightToLeft()) << count;
            }
        }
    }
}

// A character without a width may begin a line, where other programs take it for a mark of the encoding.
TEST_F(ViewLayoutTest, AByteOrderMarkInsideOfTheTextIsACharacter)
{
    load("a\n\uFEFFbc");
    const LineBlock& block = *layout.blockAt(Utf8Offset(2)).block;
    EXPECT_EQ(block.rowStart(0), 0U);
    EXPECT_EQ(block.rowEnd(0), 5U) << "of three characters, the first of three bytes";
    EXPECT_GT(block.caretX(5), block.caretX(4));
    EXPECT_GT(block.caretX(4), block.caretX(3));
}

// What is seen as one character may be longer than a piece. What follows it is cut all the same.
TEST_F(ViewLayoutTest, CutsLinesWithHugeCharacters)
{
    std::string text(1'000, 'x');
    for (int mark = 0; mark < 3'000; ++mark)
        text += "\u0301";
    text += std::string(60'000, 'y');
    load(text);
    std::vector<Utf8Offset> downwards;
    layout.scrollToStart();
    for (Utf8Offset at; at < buffer.text().end();) {
        const ViewLayout::Placed placed = layout.blockAt(at);
        ASSERT_EQ(placed.range.start, at);
        ASSERT_FALSE(placed.range.empty());
        ASSERT_LE(placed.range.size(), 3 * ViewLayout::pieceBytes);
        at = placed.range.end;
        downwards.push_back(at);
    }
    EXPECT_GT(downwards.size(), 20U);
    // Another layout that comes from below finds the same cuts.
    layout.scrollToEnd();
    layout.scrollBy(1e6);
    expectGapless();
    EXPECT_EQ(layout.anchor().offset, Utf8Offset());
}

}  // namespace
}  // namespace penmark
