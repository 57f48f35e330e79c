// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/Folding.h"

#include "CpuTime.h"
#include "text/TextEdit.h"
#include "text/highlight/FoldSet.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace penmark {
namespace {

using L = EditorLanguage;

std::string dump(const std::optional<FoldRegion>& region)
{
    return region ? std::to_string(region->first.value) + "-" + std::to_string(region->last.value) : "none";
}

TEST(FoldingTest, FindsRegionsOfEachKind)
{
    const struct {
        L language;
        std::string text;
        std::string starting;  // of each line
    } cases[] = {
        {L::c, "f() {\n  a;\n\n}\nx\n", "0-2 none none none none none"},
        {L::c, "if (a) {\n b(\"{\"); // {\n} else {\nc\n} d\n", "0-1 none 2-3 none none none"},
        {L::c, "f(a,\nb) + 1;\n{\n}\n", "0-1 none none none none"},
        {L::c, "{ (\nopen\n\n", "0-3 none none none"},
        {L::c, "if (x)\n    y;\nz", "0-1 none none"},
        {L::python, "def f():\n\ta\n\n\tb\n\n\nc", "0-3 none none none none none none"},
        {L::python, "x = [\n1,\n]\n", "0-1 none none none"},
        {L::yaml, "a:\n  b:\n    - c\n  d: 1\n", "0-3 1-2 none none none"},
        {L::plainText, "a\n b\n b\n  c\nd {\n}", "0-3 none 2-3 none none none"},
        {L::markdown, "# a\n\n## b\ntext\n\n# c\n", "0-3 none 2-3 none none none none"},
        {L::markdown, "# a\n```sh\n# b\n```\n# c\nd", "0-3 1-2 none none 4-5 none"},
        {L::markdown, "```\n```\n# a\n# b\n~~~\nopen", "none none none 3-5 4-5 none"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.text);
        const TextSnapshot text(each.text);
        std::string starting;
        for (LineNumber line; line.value < text.lineCount(); ++line) {
            const auto found = regionStartingAt(text, line, each.language);
            starting += (starting.empty() ? "" : " ") + dump(found);
            EXPECT_EQ(canFoldAt(text, line, each.language), found.has_value()) << line.value;
        }
        EXPECT_EQ(starting, each.starting);
    }
}

TEST(FoldingTest, FindsWhatIsAroundALineAndWhatIsInALevel)
{
    const TextSnapshot code(
        std::string_view("class {\n  f() {\n    a({\n    x\n    })\n    b\n  }\n  c\n}\ng() {\n}\nh() {\ni\n}"));
    const std::string around[] = {"0-7", "1-5",  "2-3",  "2-3",  "1-5",   "1-5",   "0-7",
                                  "0-7", "none", "none", "none", "11-12", "11-12", "none"};
    for (std::size_t line = 0; line < std::size(around); ++line)
        EXPECT_EQ(dump(regionAround(code, LineNumber(line), L::javaScript)), around[line]) << line;
    const auto level = [&](std::size_t number) {
        std::string result;
        for (const FoldRegion& region : regionsOfLevel(code, number, L::javaScript))
            result += dump(region) + " ";
        return result;
    };
    EXPECT_EQ(level(1), "0-7 11-12 ");
    EXPECT_EQ(level(2), "1-5 ");
    EXPECT_EQ(level(3), "2-3 ");
    EXPECT_EQ(level(4), "");
    const TextSnapshot prose(std::string_view("# a\n## b\nx\n# c\n\ny"));
    EXPECT_EQ(dump(regionAround(prose, LineNumber(2), L::markdown)), "1-2");
    EXPECT_EQ(dump(regionAround(prose, LineNumber(5), L::markdown)), "3-5");
}

// What folds hide, line by line, the slow way.
std::vector<bool> hiddenLines(const FoldSet& folds, const TextSnapshot& text)
{
    std::vector<bool> hidden(text.lineCount() + 1);
    for (const FoldSet::Fold& fold : folds.all()) {
        const std::size_t first = text.lineAt(fold.hidden.start).value;
        const std::size_t last = text.lineAt(fold.hidden.end).value;
        std::fill(hidden.begin() + static_cast<std::ptrdiff_t>(first) + 1,
                  hidden.begin() + static_cast<std::ptrdiff_t>(last) + 1, true);
    }
    return hidden;
}

void expectQueriesToAgree(const FoldSet& folds, const TextSnapshot& text)
{
    const std::vector<bool> hidden = hiddenLines(folds, text);
    std::size_t visible = 0;
    LineNumber lastVisible;
    for (LineNumber line; line.value < text.lineCount(); ++line) {
        SCOPED_TRACE(line.value);
        ASSERT_EQ(folds.isHidden(line), hidden[line.value]);
        ASSERT_EQ(folds.hiddenBefore(line), line.value - visible);
        if (!hidden[line.value]) {
            ASSERT_EQ(folds.visibleIndex(line), visible);
            ASSERT_EQ(folds.lineAtVisibleIndex(visible), line);
            lastVisible = line;
            ++visible;
        }
        ASSERT_EQ(folds.visibleAtOrBefore(line), lastVisible);
        const auto next = std::find(hidden.begin() + static_cast<std::ptrdiff_t>(line.value), hidden.end(), false);
        ASSERT_EQ(folds.visibleAtOrAfter(line).value, static_cast<std::size_t>(next - hidden.begin()));
    }
    ASSERT_EQ(folds.hiddenLines(), text.lineCount() - visible);
}

// A fold that stays hides the text it hid, up to the ends of lines; one that opens was touched by the edit.
TEST(FoldSetTest, KeepsFoldsUnderRandomEdits)
{
    constexpr std::string_view inserted[] = {"", "x", "\n", "\r", "\r\n", "a\nb\n", "é"};
    std::mt19937 random(3);
    TextSnapshot text;
    FoldSet folds;
    std::size_t opened = 0;
    for (int round = 0; round < 4000; ++round) {
        SCOPED_TRACE(round);
        if (round % 50 == 0) {
            std::string start;
            for (int i = 0; i < 80; ++i)
                start += i % 3 == 0 ? "line\r\n" : i % 7 == 0 ? "\r" : "é\n";
            text = TextSnapshot(start);
            folds.unfoldAll();
            for (int i = 0; i < 12; ++i) {
                const LineNumber first(random() % text.lineCount());
                folds.fold(text, {first, first + random() % 10});
            }
        }
        TextEditBuilder builder;
        Utf8Offset at;
        for (int places = 0; places < 2; ++places) {
            at = text.characterStart(std::min(text.end(), at + random() % 150));
            const Utf8Offset end = text.characterStart(std::min(text.end(), at + random() % 5));
            builder.replace({at, std::max(at, end)}, inserted[random() % std::size(inserted)]);
            at = std::max(at, end) + 2;
            if (at > text.end())
                break;
        }
        const TextEdit edit = std::move(builder).build();
        const auto before = folds.all();
        std::map<FoldSet::Id, std::string> hidden;
        for (const FoldSet::Fold& fold : before)
            hidden[fold.id] = text.text(fold.hidden);
        text = text.apply(edit);
        const bool didOpen = folds.update(edit, text);
        EXPECT_EQ(didOpen, folds.all().size() < before.size());
        for (const FoldSet::Fold& fold : folds.all()) {
            // The line end of the first line may have grown from LF to CR LF.
            const std::string now = text.text(fold.hidden);
            ASSERT_TRUE(now == hidden[fold.id] || now == "\r" + hidden[fold.id]) << now;
            ASSERT_EQ(fold.hidden.start, text.line(fold.lines.first).end);
            ASSERT_EQ(fold.lines, (FoldRegion{text.lineAt(fold.hidden.start), text.lineAt(fold.hidden.end)}));
            ASSERT_EQ(fold.hidden.end, text.lineContaining(fold.hidden.end).end);
            hidden.erase(fold.id);
        }
        for (const FoldSet::Fold& fold : before) {
            if (!hidden.contains(fold.id))
                continue;
            ++opened;
            const auto places = edit.replacements();
            ASSERT_TRUE(std::any_of(places.begin(), places.end(), [&](const Replacement& place) {
                return place.start <= fold.hidden.end && place.end() >= fold.hidden.start;
            }));
        }
        expectQueriesToAgree(folds, text);
        if (HasFatalFailure())
            return;
    }
    EXPECT_GT(opened, 100U);
}

// An empty line that comes to stand between a CR and an LF keeps its line end as CR LF: the CR is not part of the line.
TEST(FoldSetTest, BeginsBeforeALineEndThatHasGrown)
{
    const TextSnapshot text(std::string_view("a\rb\nc\nd\ne"));
    FoldSet folds;
    folds.fold(text, {LineNumber(1), LineNumber(2)});
    folds.fold(text, {LineNumber(1), LineNumber(3)});
    const TextEdit edit({Utf8Offset(2), Utf8Offset(3)}, "\r");
    const TextSnapshot after = text.apply(edit);
    EXPECT_FALSE(folds.update(edit, after));
    ASSERT_EQ(folds.all().size(), 2U);
    for (const FoldSet::Fold& fold : folds.all()) {
        EXPECT_EQ(fold.lines.first, LineNumber(1));
        EXPECT_EQ(fold.hidden.start, after.line(LineNumber(1)).end);
        EXPECT_EQ(fold.hidden.end, after.line(fold.lines.last).end);
    }
}

TEST(FoldSetTest, OpensForCaretsAndEditsOfHiddenText)
{
    const TextSnapshot text(std::string_view("ab\ncd\nef\ngh"));
    const auto folded = [&](FoldSet& folds, std::size_t start, std::size_t end, std::string_view with) {
        const TextEdit edit({Utf8Offset(start), Utf8Offset(end)}, with);
        folds.unfoldAll();
        folds.fold(text, {LineNumber(0), LineNumber(2)});
        folds.update(edit, text.apply(edit));
        return !folds.empty();
    };
    FoldSet folds;
    EXPECT_TRUE(folded(folds, 2, 2, "x")) << "typing behind the visible text";
    EXPECT_TRUE(folded(folds, 0, 2, "x"));
    EXPECT_TRUE(folded(folds, 9, 11, ""));
    EXPECT_TRUE(folded(folds, 2, 2, "\n"));
    EXPECT_EQ(folds.all()[0].lines, (FoldRegion{LineNumber(1), LineNumber(3)}));
    EXPECT_FALSE(folded(folds, 2, 3, "")) << "the line end behind the visible text";
    EXPECT_FALSE(folded(folds, 8, 9, "")) << "the line end behind the hidden text";
    EXPECT_FALSE(folded(folds, 8, 8, "x"));
    EXPECT_FALSE(folded(folds, 0, 11, ""));

    folds.unfoldAll();
    const auto outer = folds.fold(text, {LineNumber(0), LineNumber(3)});
    const auto inner = folds.fold(text, {LineNumber(1), LineNumber(2)});
    ASSERT_TRUE(outer && inner);
    EXPECT_EQ(folds.fold(text, {LineNumber(1), LineNumber(2)}), inner);
    EXPECT_EQ(folds.fold(text, {LineNumber(3), LineNumber(9)}), std::nullopt);
    EXPECT_FALSE(folds.reveal(Utf8Offset(2)));
    EXPECT_TRUE(folds.reveal(Utf8Offset(5)));
    EXPECT_EQ(folds.foldAt(LineNumber(1))->id, *inner);
    EXPECT_TRUE(folds.unfold(*inner));
    EXPECT_FALSE(folds.unfold(*inner));
}

TEST(FoldSetTest, FoldsAndOpensThousandsAtOnce)
{
    constexpr std::size_t count = 100'000;
    const TextSnapshot text(std::string(3 * count, '\n'));
    std::vector<FoldRegion> regions;
    for (std::size_t index = count; index-- > 0;)
        regions.push_back({LineNumber(3 * index), LineNumber(3 * index + 2)});
    regions.push_back({LineNumber(7), LineNumber(7)});
    regions.push_back({LineNumber(9), LineNumber(8)});
    regions.push_back({LineNumber(3 * count), LineNumber(3 * count + 5)});
    regions.push_back(regions.front());
    FoldSet folds;
    const auto before = folds.fold(text, {LineNumber(6), LineNumber(8)});
    const auto begin = cpuTime();
    folds.fold(text, regions);
    ASSERT_EQ(folds.all().size(), count);
    EXPECT_EQ(folds.foldAt(LineNumber(6))->id, *before) << "what is folded already stays what it is";
    EXPECT_EQ(folds.hiddenLines(), 2 * count);

    std::vector<Utf8Offset> places;
    for (std::size_t index = 0; index < count; index += 2)
        places.insert(places.end(), {Utf8Offset(3 * index + 1), Utf8Offset(3 * index + 3)});
    EXPECT_TRUE(folds.reveal(places));
    EXPECT_FALSE(folds.reveal(places)) << "the end of a first line is visible";
    EXPECT_EQ(folds.all().size(), count / 2);
    EXPECT_FALSE(folds.isHidden(LineNumber(1)));
    EXPECT_TRUE(folds.isHidden(LineNumber(4)));
    const std::chrono::duration<double> took = cpuTime() - begin;
    EXPECT_LT(took.count(), granted(0.5));
}

}  // namespace
}  // namespace penmark
