// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/lzfse/Decoder.h"
#include "storage/lzfse/Encoder.h"

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

using namespace penmark::lzfse;

// The corpora are prose.bin, source.bin and json.bin in the folder that PENMARK_BENCH_CORPUS names, "corpus" by
// default; `python3 bench/gen_corpus.py bench FOLDER` makes them.
namespace {

constexpr const char* corpora[] = {"prose", "source", "json"};

const std::string& corpus(std::size_t which)
{
    static std::vector<std::string> loaded(std::size(corpora));
    if (loaded[which].empty()) {
        const char* const folder = std::getenv("PENMARK_BENCH_CORPUS");
        std::ifstream file(std::string(folder != nullptr ? folder : "corpus") + '/' + corpora[which] + ".bin",
                           std::ios::binary);
        loaded[which].assign(std::istreambuf_iterator<char>(file), {});
    }
    return loaded[which];
}

std::vector<std::string_view> chunksOf(std::string_view text, std::size_t size)
{
    std::vector<std::string_view> chunks;
    for (; !text.empty(); text.remove_prefix(chunks.back().size()))
        chunks.push_back(text.substr(0, size));
    return chunks;
}

// CPU time of the thread, so that other programs on the machine count less.
double threadSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Runs `pass`, which goes through the whole of `text`, once for each iteration.
template <typename Pass>
void measure(benchmark::State& state, std::string_view text, Pass pass)
{
    for (auto _ : state) {
        const double begin = threadSeconds();
        pass();
        state.SetIterationTime(threadSeconds() - begin);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(text.size()));
}

bool prepare(benchmark::State& state)
{
    const auto which = static_cast<std::size_t>(state.range(0));
    state.SetLabel(corpora[which]);
    if (!corpus(which).empty())
        return true;
    state.SkipWithError("no corpus: run gen_corpus.py and set PENMARK_BENCH_CORPUS to its folder");
    return false;
}

void encode(benchmark::State& state)
{
    if (!prepare(state))
        return;
    const std::string& text = corpus(static_cast<std::size_t>(state.range(0)));
    const auto size = static_cast<std::size_t>(state.range(1));
    const auto chunks = chunksOf(text, size);
    Encoder encoder;
    std::vector<char> room(maxEncodedSize(size));
    std::size_t encoded = 0;
    measure(state, text, [&] {
        encoded = 0;
        for (const std::string_view chunk : chunks)
            encoded += encoder.encode(chunk, room);
    });
    state.counters["ratio"] = static_cast<double>(text.size()) / static_cast<double>(encoded);
}

void decode(benchmark::State& state)
{
    if (!prepare(state))
        return;
    const std::string& text = corpus(static_cast<std::size_t>(state.range(0)));
    const auto size = static_cast<std::size_t>(state.range(1));
    Encoder encoder;
    std::vector<std::string> streams;
    for (const std::string_view chunk : chunksOf(text, size))
        streams.push_back(encoder.encode(chunk));
    Decoder decoder;
    std::string out;
    measure(state, text, [&] {
        std::size_t decoded = 0;
        for (const std::string& stream : streams) {
            if (!decoder.decode(stream, size, out))
                state.SkipWithError("a stream was refused");
            decoded += out.size();
        }
        if (decoded != text.size())
            state.SkipWithError("the streams decode to another size");
    });
}

void chunks(benchmark::internal::Benchmark* benchmark)
{
    benchmark->UseManualTime()->Unit(benchmark::kMillisecond)->ArgNames({"corpus", "chunk"});
    for (const std::int64_t which : {0, 1, 2})
        benchmark->Args({which, 65'536});
    for (const std::int64_t size : {1'024, 4'096, 16'384, 1'048'576})
        benchmark->Args({0, size});
}

}  // namespace

BENCHMARK(encode)->Apply(chunks);
BENCHMARK(decode)->Apply(chunks);
BENCHMARK_MAIN();
