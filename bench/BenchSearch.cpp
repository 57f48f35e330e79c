// SPDX-License-Identifier: GPL-3.0-or-later
// Compares searching with ripgrep over the same files, in turn, and prints a table.
//
//   bench_search TREE WORK            the table; WORK is a folder for libraries, which are kept for the next time
//   bench_search --memory TREE        how much memory a run over a folder takes
#include "base/ChildProcess.h"
#include "base/FileDescriptor.h"
#include "organization/Projects.h"
#include "search/TextSearchEngine.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryStore.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

namespace penmark {
namespace {

namespace fs = std::filesystem;

constexpr int rounds = 9;
constexpr std::size_t everyHit = 10'000'000;

double timed(const std::function<void()>& work)
{
    const auto began = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - began).count();
}

double median(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() / 2];
}

struct Query {
    const char* name;
    const char* pattern;
    TextMatchMode mode;
    bool caseSensitive;
};
constexpr Query queries[] = {
    {"rare literal", "zyzzyvaquark", TextMatchMode::literal, true},
    {"common literal", "window", TextMatchMode::literal, true},
    {"ignoring case", "harbour", TextMatchMode::literal, false},
    {"alternation", "window|harbour|zyzzyvaquark", TextMatchMode::regex, true},
    {"alternation, ignoring case", "window|harbour|zyzzyvaquark", TextMatchMode::regex, false},
};

std::size_t countLines(const fs::path& scanner, const std::string& folder, const Query& query)
{
    ChildProcess::Call call;
    call.program = scanner;
    call.arguments = {"--no-config", "--threads", "2", "--line-number", "--no-heading"};
    if (!query.caseSensitive)
        call.arguments.emplace_back("--ignore-case");
    call.arguments.insert(call.arguments.end(), {"--", query.pattern, "."});
    call.folder = folder;
    ChildProcess process(call);
    std::size_t lines = 0;
    for (bool atEnd = false; !atEnd;) {
        const ChildProcess::Output output = process.read(std::chrono::milliseconds(1'000));
        lines += static_cast<std::size_t>(std::ranges::count(output.output, '\n'));
        atEnd = output.atEnd;
    }
    process.wait();
    return lines;
}

TextSearchRequest requestFor(const Query& query)
{
    TextSearchRequest request;
    request.rule.query = query.pattern;
    request.rule.mode = query.mode;
    request.rule.caseSensitive = query.caseSensitive;
    request.limit = everyHit;
    return request;
}

TextSearchRequest inFolder(const Query& query, const std::string& folder)
{
    TextSearchRequest request = requestFor(query);
    request.rule.scope.kind = TextScopeKind::project;
    request.rule.scope.id = addProject(request.library, folder);
    return request;
}

TextSearchReport run(TextSearchEngine& engine, const TextSearchRequest& request)
{
    TextSearchReport report;
    engine.run(request, {}, [&](TextSearchBatch&& batch) { append(report, std::move(batch)); });
    if (!report.finished || report.problems)
        std::printf("  (not finished: %s)\n", report.issues.empty() ? "" : report.issues.front().text.c_str());
    return report;
}

void import(RecoveryStore& store, const std::string& folder)
{
    DocumentStore documents(store);
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file())
            files.push_back(entry.path());
    }
    constexpr std::size_t together = 200;
    for (std::size_t first = 0; first < files.size(); first += together) {
        store.transaction([&] {
            for (std::size_t index = first; index < std::min(first + together, files.size()); ++index)
                documents.createWithText(documents.newDocument(files[index].filename()), readFile(files[index]));
        });
    }
}

void writeNotes(RecoveryStore& store, std::size_t count)
{
    DocumentStore documents(store);
    for (std::size_t first = 0; first < count; first += 500) {
        store.transaction([&] {
            for (std::size_t number = first; number < first + 500; ++number) {
                std::string text = "Note " + std::to_string(number) + "\n";
                for (int line = 0; line < 40; ++line)
                    text += "line " + std::to_string(number * 40 + static_cast<std::size_t>(line)) +
                            " of some words that are the same everywhere\n";
                if (number % 5'000 == 2'500)
                    text += "zyzzyvaquark\n";
                documents.createWithText(documents.newDocument("note " + std::to_string(number)), text);
            }
        });
    }
}

std::unique_ptr<RecoveryStore> library(const fs::path& folder, const std::function<void(RecoveryStore&)>& fill)
{
    const fs::path complete = folder / ".complete";
    if (!fs::exists(complete)) {
        std::fprintf(stderr, "Making the library %s\n", folder.c_str());
        fs::remove_all(folder);
        {
            RecoveryStore store({folder / "library", std::nullopt});
            fill(store);
        }
        std::ofstream(complete) << "\n";
    }
    return std::make_unique<RecoveryStore>(RecoveryConfiguration{folder / "library", std::nullopt});
}

class Table {
public:
    Table(std::string tree, fs::path work) : tree_(std::move(tree)), work_(std::move(work)) {}

    void print()
    {
        const auto files = library(work_ / "files", [&](RecoveryStore& store) { import(store, tree_); });
        const auto notes = library(work_ / "notes", [](RecoveryStore& store) { writeNotes(store, 20'000); });
        std::printf("%-28s %9s %9s %9s %9s %9s %9s %9s   %s\n", "milliseconds, medians of 9", "ripgrep", "folder",
                    "again", "listed", "library", "again", "new start", "hits");
        for (const Query& query : queries)
            printRow(query, *files);
        printFirstHit(*notes);
    }

private:
    void printRow(const Query& query, RecoveryStore& files)
    {
        const fs::path scanner = FolderScanner::bundledScanner();
        std::map<std::string, std::vector<double>> times;
        const TextSearchRequest folderRequest = inFolder(query, tree_);
        const TextSearchRequest libraryRequest = requestFor(query);
        TextSearchEngine folderEngine(files, {freshIndex("folder"), scanner, true});
        TextSearchEngine libraryEngine(files, {freshIndex("library"), scanner, true});
        run(folderEngine, folderRequest);
        run(libraryEngine, libraryRequest);
        folderEngine.recordFilters({});
        libraryEngine.recordFilters({});
        std::size_t hits = 0;
        std::size_t lines = 0;
        for (int round = 0; round < rounds; ++round) {
            times["ripgrep"].push_back(timed([&] { lines = countLines(scanner, tree_, query); }));
            TextSearchEngine first(files, {freshIndex("first"), scanner, true});
            times["folder"].push_back(timed([&] { hits = run(first, folderRequest).hits.size(); }));
            times["folder again"].push_back(timed([&] { run(folderEngine, folderRequest); }));
            TextSearchRequest listed = folderRequest;
            listed.listsAnew = true;  // as if seconds had passed
            times["listed anew"].push_back(timed([&] { run(folderEngine, listed); }));
            if (round < 3) {  // each takes some seconds
                TextSearchEngine firstOfLibrary(files, {freshIndex("first"), scanner, true});
                times["library"].push_back(timed([&] { run(firstOfLibrary, libraryRequest); }));
            }
            times["library again"].push_back(timed([&] { run(libraryEngine, libraryRequest); }));
            TextSearchEngine restarted(files, {work_ / "index-library", scanner, true});
            times["restarted"].push_back(timed([&] { run(restarted, libraryRequest); }));
        }
        std::printf("%-28s", query.name);
        for (const char* const column :
             {"ripgrep", "folder", "folder again", "listed anew", "library", "library again", "restarted"})
            std::printf(" %9.1f", median(times[column]));
        std::printf("   %zu in %zu lines\n", hits, lines);
        std::fflush(stdout);
    }

    void printFirstHit(RecoveryStore& notes)
    {
        for (const char* const word : {"zyzzyvaquark", "line 7777", "everywhere"}) {
            std::vector<double> first;
            std::vector<double> whole;
            for (int round = 0; round < rounds; ++round) {
                TextSearchEngine engine(notes, {freshIndex("notes"), FolderScanner::bundledScanner(), true});
                TextSearchRequest request = requestFor({"", word, TextMatchMode::literal, false});
                request.limit = TextSearchRequest::baseLimit;
                TextSearchReport report;
                const auto began = std::chrono::steady_clock::now();
                bool hasHit = false;
                engine.run(request, {}, [&](TextSearchBatch&& batch) {
                    if (!hasHit && !batch.hits.empty()) {
                        hasHit = true;
                        const std::chrono::duration<double, std::milli> passed =
                            std::chrono::steady_clock::now() - began;
                        first.push_back(passed.count());
                    }
                    append(report, std::move(batch));
                });
                whole.push_back(static_cast<double>(report.elapsedMS));
            }
            std::printf("20,000 documents, no index, “%s”: first hit after %.1f ms, end after %.0f\n", word,
                        median(first), median(whole));
        }
    }

    fs::path freshIndex(const std::string& name)
    {
        const fs::path folder = work_ / ("index-" + name);
        fs::remove_all(folder);
        return folder;
    }

    std::string tree_;
    fs::path work_;
};

long peakKilobytes()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:"))
            return std::atol(line.c_str() + 6);
    }
    return 0;
}

void printMemory(const std::string& tree)
{
    const fs::path work = fs::temp_directory_path() / ("bench_search-" + std::to_string(::getpid()));
    {
        RecoveryStore store({work / "library", std::nullopt});
        const long before = peakKilobytes();
        TextSearchEngine engine(store, {work / "index", FolderScanner::bundledScanner(), true});
        TextSearchReport report;
        const double took = timed([&] { report = run(engine, inFolder(queries[0], tree)); });
        std::printf("%zu files, %.1f GB read in %.1f s: peak of memory %.1f MiB, %.1f before\n", report.scanned,
                    static_cast<double>(report.bytesRead) / 1e9, took / 1e3,
                    static_cast<double>(peakKilobytes()) / 1024, static_cast<double>(before) / 1024);
        engine.recordFilters({});
        std::printf("with the filters of %zu files: %.1f MiB\n", report.scanned,
                    static_cast<double>(peakKilobytes()) / 1024);
    }
    fs::remove_all(work);
}

}  // namespace
}  // namespace penmark

int main(int count, char** arguments)
{
    const std::vector<std::string> words(arguments + 1, arguments + count);
    if (words.size() != 2) {
        std::fprintf(stderr, "usage: bench_search TREE WORK | --memory TREE\n");
        return 2;
    }
    if (words[0] == "--memory")
        penmark::printMemory(std::filesystem::absolute(words[1]));
    else
        penmark::Table(std::filesystem::absolute(words[0]), std::filesystem::absolute(words[1])).print();
}
