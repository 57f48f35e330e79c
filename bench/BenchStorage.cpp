// SPDX-License-Identifier: GPL-3.0-or-later
// The library's speed: hashing, storing and loading texts, the latency of a stored revision beside the same rows
// written to SQLite without anything around, opening a large library, and pages of a long history.
//
// The libraries are made in the folder that PENMARK_BENCH_FOLDER names, otherwise in the temporary folder; the disk
// below it decides what a commit costs.
#include "base/FileDescriptor.h"
#include "base/Sha256.h"
#include "storage/ContentStore.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryStore.h"
#include "text/SnapshotSource.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <random>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

namespace penmark {
namespace {

namespace fs = std::filesystem;
using Steady = std::chrono::steady_clock;

class Folder {
public:
    Folder()
    {
        const char* base = std::getenv("PENMARK_BENCH_FOLDER");
        path_ = fs::path(base != nullptr ? base : fs::temp_directory_path().c_str()) /
                ("penmark-bench-" + Uuid::random().text());
        fs::create_directories(path_);
    }
    ~Folder()
    {
        std::error_code error;
        fs::remove_all(path_, error);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

// Words in random order: about as compressible as prose, and no two texts share a chunk.
std::string randomText(std::size_t size, unsigned seed)
{
    std::mt19937 random(seed);
    std::vector<std::string> words;
    for (int i = 0; i < 4000; ++i) {
        std::string word;
        for (unsigned letters = 2 + random() % 8; letters > 0; --letters)
            word += static_cast<char>('a' + random() % 26);
        words.push_back(word + (i % 12 == 0 ? ".\n" : " "));
    }
    std::string text;
    text.reserve(size + 16);
    while (text.size() < size) {
        const auto r = static_cast<double>(random()) / 4294967296.0;
        text += words[static_cast<std::size_t>(r * r * r * 4000)];
    }
    text.resize(size);
    return text;
}

double median(std::vector<double>& values)
{
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

double microseconds(Steady::time_point from)
{
    return std::chrono::duration<double, std::micro>(Steady::now() - from).count();
}

void setBytes(benchmark::State& state, std::size_t bytes)
{
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

void hash(benchmark::State& state)
{
    const std::string text = randomText(static_cast<std::size_t>(state.range(0)), 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(sha256(text));
    setBytes(state, text.size());
}
BENCHMARK(hash)->Arg(64)->Arg(65'536)->Arg(64 << 20)->Unit(benchmark::kMicrosecond);

void storeNewText(benchmark::State& state)
{
    const Folder folder;
    RecoveryStore library({folder.path(), {}});
    ContentStore content(library);
    const auto size = static_cast<std::size_t>(state.range(0));
    unsigned seed = 1;
    for (auto _ : state) {
        state.PauseTiming();
        const std::string text = randomText(size, ++seed);
        state.ResumeTiming();
        const auto prepared = content.prepareText(text);
        library.transaction([&] { content.storeText(prepared); });
    }
    setBytes(state, size);
}
BENCHMARK(storeNewText)->Arg(10'000)->Arg(1'000'000)->Arg(64 << 20)->UseRealTime()->Unit(benchmark::kMillisecond);

// What the editor holds after many edits: a tree of pieces, each in a string of its own.
void storeNewSnapshot(benchmark::State& state)
{
    const Folder folder;
    RecoveryStore library({folder.path(), {}});
    ContentStore content(library);
    const auto size = static_cast<std::size_t>(state.range(0));
    unsigned seed = 1;
    for (auto _ : state) {
        state.PauseTiming();
        TextBuilder builder;
        builder.append(randomText(size, ++seed));
        const SnapshotSource source(std::move(builder).build());
        state.ResumeTiming();
        const auto prepared = content.prepareText(source);
        library.transaction([&] { content.storeText(prepared); });
    }
    setBytes(state, size);
}
BENCHMARK(storeNewSnapshot)->Arg(10'000)->Arg(1'000'000)->Arg(64 << 20)->UseRealTime()->Unit(benchmark::kMillisecond);

void digestAsUtf16(benchmark::State& state)
{
    const std::string text = randomText(64 << 20, 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(encodedDigest(StringSource(text), RecoveryEncoding::utf16LE));
    setBytes(state, text.size());
}
BENCHMARK(digestAsUtf16)->Unit(benchmark::kMillisecond);

void storeWithOneChangedChunk(benchmark::State& state)
{
    const Folder folder;
    RecoveryStore library({folder.path(), {}});
    ContentStore content(library);
    std::string text = randomText(64 << 20, 1);
    library.transaction([&] { content.storeText(text); });
    int version = 0;
    for (auto _ : state) {
        text.replace(text.size() / 2, 8, std::to_string(10'000'000 + ++version));
        const auto prepared = content.prepareText(text);
        library.transaction([&] { content.storeText(prepared); });
    }
    setBytes(state, text.size());
}
BENCHMARK(storeWithOneChangedChunk)->UseRealTime()->Unit(benchmark::kMillisecond);

void loadText(benchmark::State& state)
{
    const Folder folder;
    RecoveryStore library({folder.path(), {}});
    ContentStore content(library);
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::string hash = library.transaction([&] { return content.storeText(randomText(size, 1)); });
    for (auto _ : state)
        benchmark::DoNotOptimize(content.loadText(hash));
    setBytes(state, size);
}
BENCHMARK(loadText)->Arg(10'000)->Arg(1'000'000)->Arg(64 << 20)->UseRealTime()->Unit(benchmark::kMillisecond);

// The rows of a revision put into a database with nothing around: ready-made bytes, the same pragmas, and the folder
// synced behind COMMIT. Statements are prepared for each use, as the library does, or once and for all.
class BareLibrary {
public:
    BareLibrary(const fs::path& folder, bool preparedOnce) : preparedOnce_(preparedOnce)
    {
        RecoveryStore{{folder, {}}};  // for the tables
        folder_ = FileDescriptor::open(folder, O_RDONLY | O_DIRECTORY);
        sqlite3_open((folder / "recovery.sqlite").c_str(), &connection_);
        for (const char* pragma :
             {"PRAGMA journal_mode=DELETE", "PRAGMA synchronous=FULL", "PRAGMA fullfsync=ON", "PRAGMA foreign_keys=ON"})
            sqlite3_exec(connection_, pragma, nullptr, nullptr, nullptr);
        for (const char* sql : statementTexts)
            statements_.push_back(preparedOnce ? prepare(sql) : nullptr);
    }
    ~BareLibrary()
    {
        for (sqlite3_stmt* statement : statements_)
            sqlite3_finalize(statement);
        sqlite3_close(connection_);
    }
    BareLibrary(const BareLibrary&) = delete;
    BareLibrary& operator=(const BareLibrary&) = delete;

    void write(const RecoveryStore::Row& revision, const std::string& body, const std::string& manifest,
               const std::string& document, const std::string& documentID)
    {
        run(0, {});
        run(1, {revision[2], body});
        run(2, {revision[2], manifest});
        run(3, revision);
        run(4, {documentID, document});
        run(5, {revision[0], "documentRevision", revision[3]});
        run(6, {});
        folder_.sync();
    }

private:
    static constexpr std::array statementTexts{"BEGIN IMMEDIATE",
                                               "INSERT INTO chunks(hash,body) VALUES(?,?)",
                                               "INSERT OR IGNORE INTO content(hash,body) VALUES(?,?)",
                                               "INSERT INTO revisions(id,document_id,hash,json) VALUES(?,?,?,?)",
                                               "INSERT OR REPLACE INTO documents(id,json) VALUES(?,?)",
                                               "INSERT INTO outbox(id,entity,payload) VALUES(?,?,?)",
                                               "COMMIT"};

    sqlite3_stmt* prepare(const char* sql)
    {
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(connection_, sql, -1, &statement, nullptr);
        return statement;
    }

    void run(std::size_t index, const std::vector<std::string>& values)
    {
        sqlite3_stmt* statement = preparedOnce_ ? statements_[index] : prepare(statementTexts[index]);
        int position = 0;
        for (const std::string& value : values)
            sqlite3_bind_text(statement, ++position, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
        if (sqlite3_step(statement) != SQLITE_DONE)
            throw std::runtime_error(sqlite3_errmsg(connection_));
        if (preparedOnce_)
            sqlite3_reset(statement);
        else
            sqlite3_finalize(statement);
    }

    bool preparedOnce_;
    FileDescriptor folder_;
    sqlite3* connection_ = nullptr;
    std::vector<sqlite3_stmt*> statements_;
};

// One of each in turn, so that whatever else the machine does meets both alike.
void writeRevisionBesideBareSqlite(benchmark::State& state)
{
    const Folder folder;
    const auto size = static_cast<std::size_t>(state.range(0));
    RecoveryStore library({folder.path() / "library", {}});
    DocumentStore documents(library);
    BareLibrary bare(folder.path() / "bare", false);
    BareLibrary barest(folder.path() / "barest", true);
    auto document = documents.createWithText(documents.newDocument("Draft"), "").document;
    std::vector<double> ours;
    std::vector<double> bareTimes;
    std::vector<double> barestTimes;
    unsigned seed = 1;
    for (auto _ : state) {
        const std::string text = randomText(size, ++seed);
        const auto begun = Steady::now();
        auto written = documents.writeRevision(document.id, document.head, text);
        ours.push_back(microseconds(begun));
        document = written.document;

        const std::string& hash = written.revision->contentHash;
        const auto row =
            library.query("SELECT id,document_id,hash,json FROM revisions WHERE id=?", {written.revision->id.text()});
        const auto body = library.query("SELECT body FROM chunks WHERE hash=?", {hash});
        const auto manifest = library.query("SELECT body FROM content WHERE hash=?", {hash});
        const std::string json = encodeRecord(document);
        const auto bareBegun = Steady::now();
        bare.write(row[0], body[0][0], manifest[0][0], json, document.id.text());
        bareTimes.push_back(microseconds(bareBegun));
        const auto barestBegun = Steady::now();
        barest.write(row[0], body[0][0], manifest[0][0], json, document.id.text());
        barestTimes.push_back(microseconds(barestBegun));
    }
    const double our = median(ours);
    state.counters["revision_us"] = our;
    state.counters["ratio_to_bare"] = our / median(bareTimes);
    state.counters["ratio_to_prepared_once"] = our / median(barestTimes);
}
BENCHMARK(writeRevisionBesideBareSqlite)->Arg(10'000)->Iterations(1500)->UseRealTime()->Unit(benchmark::kMillisecond);

constexpr int many = 100'000;

void fillDocuments(RecoveryStore& library)
{
    DocumentStore documents(library);
    library.transaction([&] {
        for (int i = 0; i < many; ++i) {
            auto document = documents.newDocument("Document " + std::to_string(i));
            document.externalPath = "/home/user/Documents/Notes/document-" + std::to_string(i) + ".md";
            document.externalDigest = sha256(document.title);
            document.head = Uuid::random();
            documents.createDocument(document);
        }
    });
}

void openLibraryOf100000Documents(benchmark::State& state)
{
    const Folder folder;
    {
        RecoveryStore library({folder.path(), {}});
        fillDocuments(library);
    }
    for (auto _ : state)
        RecoveryStore({folder.path(), {}});
}
BENCHMARK(openLibraryOf100000Documents)->UseRealTime()->Unit(benchmark::kMillisecond);

void load100000Documents(benchmark::State& state)
{
    const Folder folder;
    RecoveryStore library({folder.path(), {}});
    fillDocuments(library);
    for (auto _ : state)
        benchmark::DoNotOptimize(DocumentStore(library).loadDocuments());
}
BENCHMARK(load100000Documents)->UseRealTime()->Unit(benchmark::kMillisecond);

void loadHeadersOf100000Documents(benchmark::State& state)
{
    const Folder folder;
    RecoveryStore library({folder.path(), {}});
    fillDocuments(library);
    for (auto _ : state) {
        std::vector<RecoveryDocumentHeader> headers;
        DocumentStore(library).forEachHeader(
            [&](RecoveryDocumentHeader&& header) { headers.push_back(std::move(header)); });
        benchmark::DoNotOptimize(headers);
    }
}
BENCHMARK(loadHeadersOf100000Documents)->UseRealTime()->Unit(benchmark::kMillisecond);

void findBoundAmong100000Documents(benchmark::State& state)
{
    const Folder folder;
    RecoveryStore library({folder.path(), {}});
    fillDocuments(library);
    const DocumentStore documents(library);
    int at = 0;
    for (auto _ : state) {
        at = (at + 7919) % many;
        if (!documents.findBoundTo("/home/user/Documents/Notes/document-" + std::to_string(at) + ".md"))
            state.SkipWithError("not found");
    }
}
BENCHMARK(findBoundAmong100000Documents)->UseRealTime()->Unit(benchmark::kMicrosecond);

// What opening a library costs once that was made before there was the index.
void indexPathsOf100000Documents(benchmark::State& state)
{
    const Folder folder;
    {
        RecoveryStore library({folder.path(), {}});
        fillDocuments(library);
    }
    for (auto _ : state) {
        state.PauseTiming();
        RecoveryStore({folder.path(), {}}).execute("DROP INDEX documents_by_path");
        state.ResumeTiming();
        RecoveryStore({folder.path(), {}});
    }
}
BENCHMARK(indexPathsOf100000Documents)->UseRealTime()->Unit(benchmark::kMillisecond);

void add100000Documents(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const Folder folder;
        RecoveryStore library({folder.path(), {}});
        if (state.range(0) == 0)
            library.execute("DROP INDEX documents_by_path");
        state.ResumeTiming();
        fillDocuments(library);
    }
}
BENCHMARK(add100000Documents)->ArgName("indexed")->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond);

void historyPageOf100000Revisions(benchmark::State& state)
{
    const Folder folder;
    RecoveryStore library({folder.path(), {}});
    DocumentStore documents(library);
    const auto document = documents.newDocument("Long");
    library.transaction([&] {
        documents.createDocument(document);
        std::optional<Uuid> head;
        for (int i = 0; i < many; ++i)
            head = documents.writeRevision(document.id, head, std::to_string(i % 2)).document.head;
    });
    for (auto _ : state)
        benchmark::DoNotOptimize(documents.history(document.id, 50, state.range(0)));
}
BENCHMARK(historyPageOf100000Revisions)->Arg(0)->Arg(99'000)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace penmark

BENCHMARK_MAIN();
