// SPDX-License-Identifier: GPL-3.0-or-later
// The text core's speed: opening a large text, finding places in it, keys in it, ten thousand carets, replacing a
// hundred thousand places, colours and counts.
#include "text/TextBuffer.h"
#include "text/TextStatistics.h"
#include "text/commands/Deleting.h"
#include "text/commands/Occurrences.h"
#include "text/commands/Typing.h"
#include "text/highlight/Highlighter.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace penmark {
namespace {

constexpr std::size_t megabyte = 1'000'000;

// Lines of prose with some letters of two, three and four bytes.
std::string prose(std::size_t size)
{
    constexpr std::string_view words[] = {"the ",  "sea ", "is ", "calm ", "to-night ",    "naïve ", "größe ",
                                          "中文 ", "of ",  "a ",  "long ", "withdrawing ", "roar, ", "😀 "};
    std::mt19937 random(1);
    std::string text;
    text.reserve(size + 100);
    while (text.size() < size) {
        for (auto count = 4 + random() % 12; count > 0; --count)
            text += words[random() % std::size(words)];
        text += '\n';
    }
    return text;
}

std::string source(std::size_t size)
{
    constexpr std::string_view lines[] = {"static int count(const char* text, size_t size) // bytes\n",
                                          "{\n",
                                          "    /* as long as there\n       are some */\n",
                                          "    for (size_t i = 0; i < size; ++i)\n",
                                          "        total += text[i] == '\\n' ? 1 : 0x10u;\n",
                                          "    printf(\"%d lines\\n\", total);\n",
                                          "    return total;\n",
                                          "}\n",
                                          "\n",
                                          "#define LIMIT 4096\n"};
    std::mt19937 random(2);
    std::string text;
    text.reserve(size + 100);
    while (text.size() < size)
        text += lines[random() % std::size(lines)];
    return text;
}

const TextSnapshot& hundredMegabytes()
{
    static const TextSnapshot text(prose(100 * megabyte));
    return text;
}

// The same after a day of work in it.
const TextSnapshot& editedHundredMegabytes()
{
    static const TextSnapshot edited = [] {
        std::mt19937_64 random(3);
        TextSnapshot text = hundredMegabytes();
        for (int i = 0; i < 20'000; ++i) {
            const Utf8Offset at = text.characterStart(Utf8Offset(random() % text.end().value));
            text = text.apply(TextEdit({at, at}, "word "));
        }
        return text;
    }();
    return edited;
}

const TextSnapshot& textOf(const benchmark::State& state)
{
    return state.range(0) == 0 ? hundredMegabytes() : editedHundredMegabytes();
}

void countBytes(benchmark::State& state, std::size_t size)
{
    state.SetBytesProcessed(static_cast<std::int64_t>(size) * static_cast<std::int64_t>(state.iterations()));
}

void open(benchmark::State& state)
{
    const auto text = std::make_shared<const std::string>(prose(100 * megabyte));
    for (auto _ : state)
        benchmark::DoNotOptimize(TextSnapshot(text, *text));
    countBytes(state, text->size());
}
BENCHMARK(open)->Name("text/open/100MB")->Unit(benchmark::kMillisecond)->UseRealTime();

// What the tree takes for each byte of text, beside the text itself. Typed: letter by letter, 80 in a line, at random
// lines. Scattered: each letter at another place, which cuts the text into as many pieces as there can be.
void memory(benchmark::State& state)
{
    TextSnapshot text;
    if (state.range(0) == 2) {
        std::mt19937_64 random(4);
        TextBuffer buffer;
        for (int line = 0; line < 12'500; ++line) {
            Utf8Offset at = buffer.text().lineStart(LineNumber(random() % buffer.text().lineCount()));
            for (int letter = 0; letter < 80; ++letter, ++at)
                buffer.apply(TextEdit({at, at}, letter == 79 ? "\n" : "x"), CaretSet(Caret(at)),
                             CaretSet(Caret(at + 1)), EditKind::typing);
        }
        text = buffer.text();
    } else if (state.range(0) == 3) {
        std::mt19937_64 random(6);
        text = TextSnapshot(std::string(megabyte, 'x'));
        for (int letter = 0; letter < 500'000; ++letter) {
            const Utf8Offset at(random() % text.end().value);
            text = text.apply(TextEdit({at, at}, "y"));
        }
    } else {
        text = textOf(state);
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(text.treeBytes());
    state.counters["ratio"] = static_cast<double>(text.treeBytes()) / static_cast<double>(text.end().value);
}
BENCHMARK(memory)->Name("text/tree_bytes/opened")->Arg(0)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(memory)->Name("text/tree_bytes/after_20000_edits")->Arg(1)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(memory)->Name("text/tree_bytes/1MB_typed")->Arg(2)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(memory)
    ->Name("text/tree_bytes/500000_letters_scattered")
    ->Arg(3)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

template <class Call>
void lookUp(benchmark::State& state, Call call)
{
    const TextSnapshot& text = textOf(state);
    std::mt19937_64 random(5);
    std::vector<std::size_t> places(4096);
    for (std::size_t& place : places)
        place = text.characterStart(Utf8Offset(random() % text.end().value)).value;
    std::size_t next = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(call(text, places[next++ % places.size()]));
}
void lineAt(benchmark::State& state)
{
    lookUp(state, [](const TextSnapshot& text, std::size_t at) { return text.lineAt(Utf8Offset(at)); });
}
void lineStart(benchmark::State& state)
{
    const std::size_t lines = textOf(state).lineCount();
    lookUp(state, [&](const TextSnapshot& text, std::size_t at) { return text.lineStart(LineNumber(at % lines)); });
}
void toUtf16(benchmark::State& state)
{
    lookUp(state, [](const TextSnapshot& text, std::size_t at) { return text.toUtf16(Utf8Offset(at)); });
}
void toUtf8(benchmark::State& state)
{
    const std::size_t units = textOf(state).utf16End().value;
    lookUp(state, [&](const TextSnapshot& text, std::size_t at) { return text.toUtf8(Utf16Offset(at % units)); });
}
BENCHMARK(lineAt)->Name("text/100MB/lineAt/edited")->Arg(0)->Arg(1);
BENCHMARK(lineStart)->Name("text/100MB/lineStart/edited")->Arg(0)->Arg(1);
BENCHMARK(toUtf16)->Name("text/100MB/toUtf16/edited")->Arg(0)->Arg(1);
BENCHMARK(toUtf8)->Name("text/100MB/toUtf8/edited")->Arg(0)->Arg(1);

// One letter in 100 MB, from the command to the text and its past; the caret goes on behind it.
void key(benchmark::State& state)
{
    TextBuffer buffer(hundredMegabytes());
    const Utf8Offset end = buffer.text().end();
    const Utf8Offset middle = buffer.text().lineStart(buffer.text().lineAt(Utf8Offset(end.value / 2)));
    CaretSet carets(Caret(state.range(0) == 0 ? Utf8Offset() : state.range(0) == 1 ? middle : end));
    for (auto _ : state) {
        const EditResult typed = commands::typeText(buffer.text(), carets, "x", {});
        buffer.apply(typed.edit, carets, typed.carets, EditKind::typing);
        carets = typed.carets;
    }
}
BENCHMARK(key)->Name("text/100MB/key/start")->Arg(0);
BENCHMARK(key)->Name("text/100MB/key/middle")->Arg(1);
BENCHMARK(key)->Name("text/100MB/key/end")->Arg(2);

void copySnapshot(benchmark::State& state)
{
    const TextSnapshot& text = editedHundredMegabytes();
    for (auto _ : state) {
        TextSnapshot copy = text;
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(copySnapshot)->Name("text/100MB/copy");

// A caret on each of ten thousand lines. One letter, or one Backspace, at all of them.
CaretSet tenThousand(const TextSnapshot& text)
{
    std::vector<Caret> carets;
    for (std::size_t i = 0; i < 10'000; ++i) {
        const TextLine line = text.line(LineNumber(i * text.lineCount() / 10'000));
        carets.emplace_back(line.end);
    }
    return {std::move(carets), 0};
}

void typeAtManyCarets(benchmark::State& state)
{
    TextBuffer buffer{TextSnapshot(prose(7 * megabyte))};
    CaretSet carets = tenThousand(buffer.text());
    std::size_t typedOnes = 0;
    for (auto _ : state) {
        // Words, so that the past is not one step that grows and grows.
        const EditResult typed = commands::typeText(buffer.text(), carets, ++typedOnes % 6 == 0 ? " " : "x", {});
        buffer.apply(typed.edit, carets, typed.carets, EditKind::typing);
        carets = typed.carets;
    }
}
BENCHMARK(typeAtManyCarets)->Name("text/10000_carets/type")->Unit(benchmark::kMillisecond);

void deleteAtManyCarets(benchmark::State& state)
{
    TextBuffer buffer{TextSnapshot(prose(7 * megabyte))};
    CaretSet carets = tenThousand(buffer.text());
    for (auto _ : state) {
        state.PauseTiming();
        const EditResult typed = commands::typeText(buffer.text(), carets, "x", {});
        buffer.apply(typed.edit, carets, typed.carets, EditKind::typing);
        carets = typed.carets;
        state.ResumeTiming();
        const EditResult deleted = commands::deleteBackward(buffer.text(), carets, {});
        buffer.apply(deleted.edit, carets, deleted.carets, EditKind::deleting);
        carets = deleted.carets;
    }
}
BENCHMARK(deleteAtManyCarets)->Name("text/10000_carets/backspace")->Unit(benchmark::kMillisecond);

// 100,000 places in 7 MB.
std::string manyMatches()
{
    std::string text;
    for (int i = 0; i < 100'000; ++i)
        text += i % 2 == 0 ? "When the needle falls, nobody in the whole house can hear a sound of it.\n"
                           : "And the sea — a needle of light in the dark — goes out again at last. \n";
    return text;
}

enum Part { wholeReplacing, findingOnly, applyingOnly, undoing };

void replaceMany(benchmark::State& state)
{
    const TextSnapshot text(manyMatches());
    const CaretSet caret;
    const auto part = static_cast<Part>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto buffer = std::make_unique<TextBuffer>(text);
        EditResult prepared;
        if (part == applyingOnly || part == undoing)
            prepared = commands::replaceAll(text, caret, "needle", "feather");
        if (part == undoing)
            buffer->apply(prepared.edit, caret, prepared.carets);
        state.ResumeTiming();
        switch (part) {
        case wholeReplacing: {
            const EditResult result = commands::replaceAll(text, caret, "needle", "feather");
            buffer->apply(result.edit, caret, result.carets);
            break;
        }
        case findingOnly:
            benchmark::DoNotOptimize(commands::replaceAll(text, caret, "needle", "feather"));
            break;
        case applyingOnly:
            buffer->apply(prepared.edit, caret, prepared.carets);
            break;
        case undoing:
            buffer->undo();
            break;
        }
        state.PauseTiming();
        if (part == wholeReplacing && buffer->text().end().value != text.end().value + 100'000)
            state.SkipWithError("not 100,000 places");
        buffer.reset();
        state.ResumeTiming();
    }
    countBytes(state, text.end().value);
}
BENCHMARK(replaceMany)->Name("text/replace_100000/all")->Arg(wholeReplacing)->Unit(benchmark::kMillisecond);
BENCHMARK(replaceMany)->Name("text/replace_100000/command")->Arg(findingOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(replaceMany)->Name("text/replace_100000/apply")->Arg(applyingOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(replaceMany)->Name("text/replace_100000/undo")->Arg(undoing)->Unit(benchmark::kMillisecond);

void highlight(benchmark::State& state)
{
    const TextSnapshot text(source(10 * megabyte));
    for (auto _ : state) {
        Highlighter highlighter;
        highlighter.reset(text, EditorLanguage::c);
        while (highlighter.work(megabyte).more) {}
    }
    countBytes(state, text.end().value);
}
BENCHMARK(highlight)->Name("text/highlight/10MB_of_C")->Unit(benchmark::kMillisecond);

void statistics(benchmark::State& state)
{
    const TextSnapshot text(prose(10 * megabyte));
    for (auto _ : state)
        benchmark::DoNotOptimize(TextStatistics(text));
    countBytes(state, text.end().value);
}
BENCHMARK(statistics)->Name("text/statistics/10MB")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace penmark

BENCHMARK_MAIN();
