// SPDX-License-Identifier: GPL-3.0-or-later
// What organizes a large library: 100,000 documents, 5,000 sessions of two windows, 1,000 checkpoints of which five
// cover everything, and a document with 100,000 revisions. Made once, in the folder that PENMARK_BENCH_FOLDER names;
// takes a minute.
#include "organization/CheckpointContents.h"
#include "organization/CheckpointRestore.h"
#include "organization/CheckpointStore.h"
#include "organization/DocumentHistory.h"
#include "organization/SessionCalendar.h"
#include "organization/SessionLibraryStore.h"
#include "organization/SessionVisits.h"
#include "organization/Sessions.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryStore.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>

#include <benchmark/benchmark.h>

namespace penmark {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t documentCount = 100'000;
constexpr std::size_t sessionCount = 5'000;
constexpr std::size_t checkpointCount = 1'000;
constexpr std::size_t fullCheckpoints = 5;
constexpr std::size_t revisionCount = 100'000;

class LargeLibrary {
public:
    LargeLibrary()
    {
        const char* const base = std::getenv("PENMARK_BENCH_FOLDER");
        folder_ = fs::path(base != nullptr ? base : fs::temp_directory_path().c_str()) /
                  ("penmark-bench-" + Uuid::random().text());
        fs::create_directories(folder_);
        store_ = std::make_unique<RecoveryStore>(RecoveryConfiguration{folder_, {}});
        addDocuments();
        addLongHistory();
        addSessions();
        addCheckpoints();
        SessionLibraryStore(*store_).save({}, library_);
    }
    ~LargeLibrary()
    {
        store_.reset();
        std::error_code error;
        fs::remove_all(folder_, error);
    }
    LargeLibrary(const LargeLibrary&) = delete;
    LargeLibrary& operator=(const LargeLibrary&) = delete;

    static LargeLibrary& get()
    {
        static LargeLibrary library;
        return library;
    }

    RecoveryStore& store() { return *store_; }
    const SessionLibrary& library() const { return library_; }
    const Uuid& longHistory() const { return longHistory_; }
    const Uuid& fullCheckpoint() const { return full_; }
    const std::vector<CheckpointDocument>& documents() const { return documents_; }

private:
    void addDocuments()
    {
        DocumentStore documents(*store_);
        store_->transaction([&] {
            for (std::size_t i = 0; i < documentCount; ++i) {
                const auto document = documents.newDocument("Document " + std::to_string(i));
                const auto written = documents.createWithText(document, std::to_string(i % 100));
                documents_.push_back({document.id, written.revision->id, document.title, {}});
            }
        });
    }

    void addLongHistory()
    {
        DocumentStore documents(*store_);
        const auto document = documents.newDocument("Long");
        longHistory_ = document.id;
        store_->transaction([&] {
            documents.createDocument(document);
            std::optional<Uuid> head;
            for (std::size_t i = 0; i < revisionCount; ++i)
                head = documents.writeRevision(document.id, head, std::to_string(i % 2)).document.head;
        });
    }

    void addSessions()
    {
        std::size_t document = 0;
        for (std::size_t i = 0; i < sessionCount; ++i) {
            const Uuid session = createSession(library_, "Session " + std::to_string(i), {}, Date::now());
            for (int window = 0; window < 2; ++window) {
                RecoveryWindow record;
                record.id = Uuid::random();
                record.isOpen = true;
                record.sessionID = session;
                for (int tab = 0; tab < 4; ++tab)
                    record.documents.push_back(documents_[document++ % documents_.size()].documentID);
                putWindow(library_, record, Date::now());
            }
            if (i >= 5)
                closeSession(library_, session);
        }
    }

    void addCheckpoints()
    {
        CheckpointStore checkpoints(*store_);
        constexpr double day = 86'400;
        const Date now = Date::now();
        for (std::size_t i = 0; i < checkpointCount - fullCheckpoints; ++i) {
            SessionCheckpoint checkpoint;
            checkpoint.id = Uuid::random();
            checkpoint.createdAt.seconds = now.seconds - static_cast<double>(checkpointCount - i) * day;
            for (std::size_t at = 0; at < 100; ++at)
                checkpoint.documents.push_back(documents_[(i * 100 + at) % documents_.size()]);
            checkpoints.create(checkpoint);
            startRun(library_, store_->deviceID(), checkpoint.createdAt);
            enterDay(library_, systemLocalDay(checkpoint.createdAt), checkpoint.createdAt, checkpoint.id);
            finishRun(library_, {checkpoint.createdAt.seconds + 3'600});
        }
        for (std::size_t i = 0; i < fullCheckpoints; ++i)
            full_ = checkpoints.keepLibrary(library_, "full", true).id;
    }

    fs::path folder_;
    std::unique_ptr<RecoveryStore> store_;
    SessionLibrary library_;
    std::vector<CheckpointDocument> documents_;
    Uuid longHistory_;
    Uuid full_;
};

void loadSessions(benchmark::State& state)
{
    LargeLibrary& large = LargeLibrary::get();
    for (auto _ : state)
        benchmark::DoNotOptimize(SessionLibraryStore(large.store()).load());
}
BENCHMARK(loadSessions)->Name("organization/loadSessions")->UseRealTime()->Unit(benchmark::kMillisecond);

// A window was moved: one session's row, and the settings.
void saveOneChange(benchmark::State& state)
{
    LargeLibrary& large = LargeLibrary::get();
    SessionLibraryStore sessions(large.store());
    SessionLibrary stored = sessions.load().library;
    SessionLibrary library = stored;
    double x = 0;
    for (auto _ : state) {
        RecoveryWindow window = library.sessions.items()[sessionCount / 2]->windows.front();
        window.placement = WindowPlacement{++x, 0, 800, 600, {}, {}};
        putWindow(library, window, Date::now());
        sessions.save(stored, library);
        stored = library;
    }
    sessions.save(stored, large.library());
}
BENCHMARK(saveOneChange)->Name("organization/saveOneChange")->UseRealTime()->Unit(benchmark::kMillisecond);

void closeAndReopen(benchmark::State& state)
{
    SessionLibrary library = LargeLibrary::get().library();
    const Uuid session = library.sessions.items().front()->id;
    for (auto _ : state) {
        SessionLibrary changed = library;
        closeSession(changed, session);
        reopenSession(changed, session);
        validate(changed);
        library = std::move(changed);
    }
}
BENCHMARK(closeAndReopen)->Name("organization/closeAndReopen")->Unit(benchmark::kMillisecond);

void keepLibrary(benchmark::State& state)
{
    LargeLibrary& large = LargeLibrary::get();
    CheckpointStore checkpoints(large.store());
    for (auto _ : state) {
        const Uuid kept = checkpoints.keepLibrary(large.library(), {}, false).id;
        state.PauseTiming();
        checkpoints.remove(kept);
        state.ResumeTiming();
    }
}
BENCHMARK(keepLibrary)
    ->Name("organization/keepCheckpoint/100000")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

void keepTenThousand(benchmark::State& state)
{
    LargeLibrary& large = LargeLibrary::get();
    CheckpointStore checkpoints(large.store());
    SessionCheckpoint checkpoint;
    checkpoint.documents.assign(large.documents().begin(), large.documents().begin() + 10'000);
    for (auto _ : state) {
        checkpoint.id = Uuid::random();
        checkpoints.create(checkpoint);
        state.PauseTiming();
        checkpoints.remove(checkpoint.id);
        state.ResumeTiming();
    }
}
BENCHMARK(keepTenThousand)
    ->Name("organization/keepCheckpoint/10000")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);

void calendar(benchmark::State& state)
{
    LargeLibrary& large = LargeLibrary::get();
    for (auto _ : state) {
        const CheckpointStore::Headers headers = CheckpointStore(large.store()).headers();
        benchmark::DoNotOptimize(sessionCalendar(large.library(), headers.headers));
    }
}
BENCHMARK(calendar)->Name("organization/calendar")->UseRealTime()->Unit(benchmark::kMillisecond);

void contents(benchmark::State& state)
{
    LargeLibrary& large = LargeLibrary::get();
    for (auto _ : state)
        benchmark::DoNotOptimize(checkpointContents(large.store(), large.fullCheckpoint()));
}
BENCHMARK(contents)->Name("organization/checkpointContents/100000")->UseRealTime()->Unit(benchmark::kMillisecond);

void restoreTenThousand(benchmark::State& state)
{
    LargeLibrary& large = LargeLibrary::get();
    std::set<Uuid> only;
    for (std::size_t i = 0; i < 10'000; ++i)
        only.insert(large.documents()[i].documentID);
    for (auto _ : state)
        benchmark::DoNotOptimize(restoreCheckpoint(large.store(), large.fullCheckpoint(), large.library(), {only, {}}));
}
BENCHMARK(restoreTenThousand)
    ->Name("organization/restore/10000")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);

void firstPage(benchmark::State& state)
{
    LargeLibrary& large = LargeLibrary::get();
    for (auto _ : state)
        benchmark::DoNotOptimize(documentHistory(large.store(), large.longHistory(), state.range(0)));
}
BENCHMARK(firstPage)
    ->Name("organization/historyPage/behind")
    ->Arg(0)
    ->Arg(99'000)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace penmark

BENCHMARK_MAIN();
