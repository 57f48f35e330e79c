// SPDX-License-Identifier: GPL-3.0-or-later
// Comparing texts: what a user waits for when a comparison is opened, and what the command line does with whole texts.
#include "organization/DocumentDiff.h"
#include "organization/LineDiff.h"
#include "organization/UnifiedDiff.h"

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>

namespace penmark {
namespace {

// Lines of words of four characters. In `changedWords` of a hundred words another stands in the other text.
struct Texts {
    Texts(std::size_t lines, std::size_t wordsInLine, unsigned changedWords, double changedLines)
    {
        std::mt19937 random(1);
        for (std::size_t line = 0; line < lines; ++line) {
            const bool isChanged = random() % 1000 < static_cast<unsigned>(changedLines * 1000);
            for (std::size_t word = 1; word <= wordsInLine; ++word) {
                const std::string text = std::to_string(random() % 900 + 100);
                const char end = word < wordsInLine ? ' ' : '\n';
                earlier += text + end;
                current += (isChanged && random() % 100 < changedWords ? "new" : text) + end;
            }
        }
    }

    std::string earlier;
    std::string current;
};

void compare(benchmark::State& state, const Texts& texts)
{
    std::size_t rows = 0;
    for (auto _ : state)
        rows = compareTexts(texts.earlier, texts.current).lines.size();
    state.counters["rows"] = static_cast<double>(rows);
}

void nothingInCommon(benchmark::State& state)
{
    compare(state, Texts(999, 5, 100, 1));
}
BENCHMARK(nothingInCommon)->Name("diff/1000x1000_nothing_in_common")->Unit(benchmark::kMillisecond);

void similar(benchmark::State& state)
{
    Texts texts(1999, 10, 30, 0.3);
    const std::size_t third = texts.earlier.size() / 3;  // so that the rest is not too much for lines
    texts.current.replace(0, third, texts.earlier, 0, third);
    texts.current.replace(2 * third, std::string::npos, texts.earlier, 2 * third);
    compare(state, texts);
}
BENCHMARK(similar)->Name("diff/2000x2000_similar")->Unit(benchmark::kMillisecond);

void mostCharacters(benchmark::State& state)
{
    compare(state, Texts(999, 50, 10, 0.9));
}
BENCHMARK(mostCharacters)->Name("diff/200000_characters")->Unit(benchmark::kMillisecond);

// The same lines in the opposite order: as many edits as shared lines can need.
void reversed(benchmark::State& state)
{
    std::vector<std::uint32_t> a(1000);
    for (std::size_t i = 0; i < a.size(); ++i)
        a[i] = static_cast<std::uint32_t>(i);
    const std::vector<std::uint32_t> b(a.rbegin(), a.rend());
    for (auto _ : state)
        benchmark::DoNotOptimize(shortestEditScript(a, b));
}
BENCHMARK(reversed)->Name("diff/1000x1000_reversed")->Unit(benchmark::kMillisecond);

void blocks(benchmark::State& state)
{
    const std::string earlier(1'000'000, '\n');
    const std::string current = "x" + earlier + "y";
    for (auto _ : state)
        benchmark::DoNotOptimize(compareTexts(earlier, current));
}
BENCHMARK(blocks)->Name("diff/blocks_of_200000_lines")->Unit(benchmark::kMillisecond);

void unified(benchmark::State& state)
{
    const Texts texts(1'000'000, 4, 10, 0.001);
    for (auto _ : state)
        benchmark::DoNotOptimize(unifiedDiff(texts.earlier, texts.current, {"a", "b"}));
    state.SetBytesProcessed(state.iterations() *
                            static_cast<std::int64_t>(texts.earlier.size() + texts.current.size()));
}
BENCHMARK(unified)->Name("diff/unified_1000000_lines")->Unit(benchmark::kMillisecond);

void unifiedBeyondLimit(benchmark::State& state)
{
    std::mt19937 random(1);
    std::string texts[2];
    for (int line = 0; line < 200'000; ++line)
        texts[line % 2] += std::to_string(random() % 20'000) + "\n";
    for (auto _ : state)
        benchmark::DoNotOptimize(unifiedDiff(texts[0], texts[1], {"a", "b"}));
}
BENCHMARK(unifiedBeyondLimit)->Name("diff/unified_too_many_edits")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace penmark

BENCHMARK_MAIN();
