// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/SearchOutput.h"

#include "base/Record.h"
#include "cli/DisplayText.h"
#include "cli/Interruption.h"
#include "search/TextSearchRule.h"

#include <array>
#include <filesystem>
#include <optional>
#include <vector>

namespace penmark::cli {

namespace {

std::int64_t number(std::size_t count)
{
    return static_cast<std::int64_t>(count);
}

std::optional<std::string> unlessEmpty(const std::string& text)
{
    return text.empty() ? std::nullopt : std::optional(text);
}

/// A hit as --json prints it. Start, length and column count UTF-16 units.
struct PrintedHit {
    TextSearchSource::Kind source{};
    std::optional<Uuid> document;
    std::optional<Uuid> revision;
    std::optional<std::string> path;
    std::optional<std::string> title;
    std::int64_t start = 0;
    std::int64_t length = 0;
    std::int64_t line = 1;
    std::int64_t column = 1;
    TextMatchKind match{};
    std::string text;
    std::optional<TextSearchField> searchedField;  // of a hit in a name

    static constexpr auto fields()
    {
        using R = PrintedHit;
        return std::tuple{
            field("source", &R::source), field("document", &R::document), field("revision", &R::revision),
            field("path", &R::path),     field("title", &R::title),       field("start", &R::start),
            field("length", &R::length), field("line", &R::line),         field("column", &R::column),
            field("match", &R::match),   field("text", &R::text),         field("field", &R::searchedField)};
    }
};

struct PrintedReport {
    std::int64_t hits = 0;
    std::int64_t scanned = 0;
    std::int64_t indexedSkips = 0;
    std::int64_t binarySkipped = 0;
    std::int64_t bytesRead = 0;
    std::vector<std::string> issues;
    bool limited = false;
    bool cancelled = false;
    bool finished = false;
    std::optional<std::int64_t> firstResultMS;
    std::int64_t elapsedMS = 0;

    static constexpr auto fields()
    {
        using R = PrintedReport;
        return std::tuple{field("hits", &R::hits),
                          field("scanned", &R::scanned),
                          field("indexedSkips", &R::indexedSkips),
                          field("binarySkipped", &R::binarySkipped),
                          field("bytesRead", &R::bytesRead),
                          field("issues", &R::issues),
                          field("limited", &R::limited),
                          field("cancelled", &R::cancelled),
                          field("finished", &R::finished),
                          field("firstResultMS", &R::firstResultMS),
                          field("elapsedMS", &R::elapsedMS)};
    }
};

std::string sentenceOf(const TextSearchIssue& issue)
{
    return issue.location.empty() ? issue.text : issue.location + ": " + issue.text;
}

}  // namespace

void SearchOutput::take(TextSearchBatch&& batch)
{
    hits_ += batch.hits.size();
    if (form_ == Form::report) {
        batch.hits.clear();
        batch.groups.clear();
    } else {
        stopIfInterrupted();
        printHits(batch);
        console_.flush();
        for (const TextSearchIssue& issue : batch.issues)
            console_.say(sentenceOf(issue));
        batch.hits.clear();
        batch.groups.clear();
        batch.issues.clear();
    }
    append(report_, std::move(batch));
}

int SearchOutput::finish()
{
    constexpr std::size_t kept = TextSearchReport::issueLimit;
    if (form_ == Form::report)
        printReport();
    else if (report_.problems > kept)
        console_.say(std::to_string(report_.problems - kept) + " more problems are not shown.");
    if (report_.problems > 0)
        return 2;
    return hits_ > 0 ? 0 : 1;
}

void SearchOutput::printHits(const TextSearchBatch& batch)
{
    for (const TextSearchGroup& group : batch.groups) {
        for (std::size_t i = group.firstHit; i < group.firstHit + group.hits; ++i) {
            if (form_ == Form::json)
                printObject(*group.source, batch.hits[i]);
            else
                printLine(*group.source, batch.hits[i]);
        }
    }
}

void SearchOutput::printLine(const TextSearchSource& source, const TextSearchHit& hit)
{
    const std::string_view text = hit.text;
    const std::size_t start = hit.mark.start.value;
    const std::size_t end = hit.mark.end.value;
    const std::string_view before = text.substr(0, start);
    const std::string_view match = text.substr(start, end - start);
    const std::string_view after = text.substr(end);
    const std::string name = nameOf(source);
    if (hit.isInName) {
        // What was searched may be a part of the name as it is shown, or the path of a document with another title.
        const std::string shown = name.ends_with(text) ? name.substr(0, name.size() - text.size()) : std::string();
        const std::array parts{printable(shown + std::string(before)), printable(match), printable(after)};
        const std::array line{ColouredText{parts[0], Colour::magenta}, ColouredText{parts[1], Colour::boldRed},
                              ColouredText{parts[2], Colour::magenta}, ColouredText{":"}};
        console_.printTextLine(line);
        return;
    }
    const std::string shown = printable(name);
    const std::string lineNumber = std::to_string(hit.line);
    const std::string column = std::to_string(hit.column);
    const std::array line{ColouredText{shown, Colour::magenta},
                          ColouredText{":"},
                          ColouredText{lineNumber, Colour::green},
                          ColouredText{":"},
                          ColouredText{column, Colour::green},
                          ColouredText{":"},
                          ColouredText{before},
                          ColouredText{match, Colour::boldRed},
                          ColouredText{after}};
    console_.printTextLine(line);
}

void SearchOutput::printObject(const TextSearchSource& source, const TextSearchHit& hit)
{
    PrintedHit printed;
    printed.source = source.kind;
    printed.document = source.document;
    printed.revision = source.revision;
    printed.path = unlessEmpty(source.path);
    printed.title = unlessEmpty(source.title);
    printed.start = number(hit.match.range.start.value);
    printed.length = number(hit.match.range.end.value - hit.match.range.start.value);
    printed.line = number(hit.line);
    printed.column = number(hit.column);
    printed.match = hit.match.kind;
    printed.text = hit.text;
    if (hit.isInName)
        printed.searchedField = TextSearchField::namesAndPaths;
    console_.printRecord(encodeRecord(printed));
}

void SearchOutput::printReport()
{
    PrintedReport printed;
    printed.hits = number(hits_);
    printed.scanned = number(report_.scanned);
    printed.indexedSkips = number(report_.indexedSkips);
    printed.binarySkipped = number(report_.binarySkipped);
    printed.bytesRead = static_cast<std::int64_t>(report_.bytesRead);
    for (const TextSearchIssue& issue : report_.issues)
        printed.issues.push_back(sentenceOf(issue));
    printed.limited = report_.limited;
    printed.cancelled = report_.cancelled;
    printed.finished = report_.finished;
    printed.firstResultMS = report_.firstResultMS;
    printed.elapsedMS = report_.elapsedMS;
    console_.printRecord(encodeRecord(printed));
    console_.flush();
    console_.sayPlainly(statusOf(report_));
}

std::string SearchOutput::nameOf(const TextSearchSource& source) const
{
    constexpr std::size_t shortRevision = 8;
    switch (source.kind) {
    case TextSearchSource::Kind::document:
        return source.title;
    case TextSearchSource::Kind::historical:
        return source.title + "@" + source.revision.value_or(Uuid()).text().substr(0, shortRevision);
    case TextSearchSource::Kind::file:
        return folder_.empty() ? source.path : (std::filesystem::path(folder_) / source.title).native();
    }
    return {};
}

}  // namespace penmark::cli
