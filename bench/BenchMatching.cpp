// SPDX-License-Identifier: GPL-3.0-or-later
// How fast one thread finds a query in texts: 16 MB of prose, in ASCII and with letters beyond it.
#include "search/TextMatcher.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

namespace penmark {
namespace {

constexpr std::size_t megabyte = 1'000'000;

std::string prose(std::size_t size, bool isAscii)
{
    constexpr std::string_view plain[] = {
        "the ", "sea ",  "is ",          "calm ",  "to-night ", "The ",           "of ",
        "a ",   "long ", "withdrawing ", "roar, ", "shingles ", "moon-blanched ", "sand. "};
    constexpr std::string_view other[] = {"naïve ", "größe ", "中文 ", "море ", "— "};
    std::mt19937 random(1);
    std::string text;
    text.reserve(size + 100);
    while (text.size() < size) {
        for (auto count = 4 + random() % 12; count > 0; --count)
            text +=
                !isAscii && random() % 4 == 0 ? other[random() % std::size(other)] : plain[random() % std::size(plain)];
        text += '\n';
    }
    return text + "The last line holds a needle and a Kelvin.\n";
}

const std::string& textOf(bool isAscii)
{
    static const std::string ascii = prose(16 * megabyte, true);
    static const std::string mixed = prose(16 * megabyte, false);
    return isAscii ? ascii : mixed;
}

struct Query {
    const char* name;
    const char* query;
    TextMatchMode mode;
    bool caseSensitive;
    bool wholeWord;
    bool isAscii;
    std::size_t bytes;
};

void find(benchmark::State& state, const Query& query)
{
    const std::string_view text =
        std::string_view(textOf(query.isAscii)).substr(textOf(query.isAscii).size() - query.bytes);
    TextSearchRule rule;
    rule.query = query.query;
    rule.mode = query.mode;
    rule.caseSensitive = query.caseSensitive;
    rule.wholeWord = query.wholeWord;
    const TextMatcher matcher(rule);
    TextMatcher::Scratch scratch;
    std::vector<TextMatch> matches;
    for (auto _ : state) {
        matches.clear();
        matcher.find(text, 100 * megabyte, {}, scratch, matches, std::chrono::minutes(1));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * static_cast<std::int64_t>(state.iterations()));
    state.counters["matches"] = static_cast<double>(matches.size());
}

void registerAll()
{
    using M = TextMatchMode;
    constexpr std::size_t whole = 16 * megabyte;
    static const Query queries[] = {
        {"literal/absent/case", "nettle", M::literal, true, false, true, whole},
        {"literal/absent", "nettle", M::literal, false, false, true, whole},
        {"literal/rare/case", "needle", M::literal, true, false, true, whole},
        {"literal/rare", "needle", M::literal, false, false, true, whole},
        {"literal/rare/k", "kelvin", M::literal, false, false, true, whole},
        {"literal/rare/mixed", "needle", M::literal, false, false, false, whole},
        {"literal/common/case", "withdrawing", M::literal, true, false, true, whole},
        {"literal/common", "withdrawing", M::literal, false, false, true, whole},
        {"literal/common/the", "the", M::literal, false, false, true, whole},
        {"literal/common/word", "the", M::literal, false, true, true, whole},
        {"literal/cyrillic/rare", "морем", M::literal, false, false, false, whole},
        {"regex/alternation/rare", "needle|thread|Kelvin", M::regex, false, false, true, whole},
        {"regex/alternation/rare/case", "needle|thread|Kelvin", M::regex, true, false, true, whole},
        {"regex/alternation/common", "calm|sand|moon", M::regex, false, false, true, whole},
        {"regex/prefix/rare", "need\\w+", M::regex, false, false, true, whole},
        {"regex/prefix/common", "withdr\\w+", M::regex, false, false, true, whole},
        {"regex/anywhere", "\\d{4}", M::regex, false, false, true, 2 * megabyte},
        {"regex/anchored", "^needle$|needle$", M::regex, false, false, true, 2 * megabyte},
        {"normalized/rare", "need-le", M::normalized, false, false, true, 2 * megabyte},
        {"normalized/common", "to night", M::normalized, false, false, true, 2 * megabyte},
        {"normalized/mixed", "need-le", M::normalized, false, false, false, 2 * megabyte},
        {"typo/rare", "neadle", M::typoTolerant, false, false, true, 2 * megabyte},
        {"typo/mixed", "neadle", M::typoTolerant, false, false, false, 2 * megabyte},
    };
    for (const Query& query : queries)
        benchmark::RegisterBenchmark((std::string("match/") + query.name).c_str(), find, query)
            ->Unit(benchmark::kMillisecond);
}

void foldsToAsciiOf(benchmark::State& state)
{
    const std::string text = prose(16 * megabyte, true);
    for (auto _ : state)
        benchmark::DoNotOptimize(foldsToAscii(text));
    state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(foldsToAsciiOf)->Name("match/folds_to_ascii")->Unit(benchmark::kMillisecond);

void prepare(benchmark::State& state)
{
    TextSearchRule rule;
    rule.query = "a query";
    for (auto _ : state)
        benchmark::DoNotOptimize(TextMatcher(rule).requiredAscii());
}
BENCHMARK(prepare)->Name("match/prepare");

}  // namespace
}  // namespace penmark

int main(int argc, char** argv)
{
    penmark::registerAll();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
