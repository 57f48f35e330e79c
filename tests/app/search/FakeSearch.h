// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/search/SearchTargets.h"
#include "search/TextSearchController.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace penmark {

/// Stands for the program around a search: runs are answered by hand.
class FakeSearch : public TextSearchEnvironment, public TextSearchService, public SearchTargets {
public:
    const SessionLibrary& library() const override { return library_; }
    TextSearchContext context() const override { return context_; }
    const TextSearchNames& names() const override { return names_; }
    std::vector<TextSearchOverlay> overlays() const override { return {}; }
    void log(std::string_view) override {}
    void start(Run run) override { runs.push_back(std::move(run)); }
    void list(TextScopeKind kind, QObject*, Listed listed) override
    {
        listedKind = kind;
        listed(targets);
    }

    const TextSearchRule& lastRule() const { return runs.back().request.rule; }
    bool isRunning() const { return !runs.empty() && !runs.back().stop.stop_requested(); }

    static TextSearchHit hit(std::size_t line, std::string text, std::size_t start, std::size_t length)
    {
        TextSearchHit made;
        made.line = line;
        made.text = std::move(text);
        made.mark = {Utf8Offset(start), Utf8Offset(start + length)};
        return made;
    }
    static void addGroup(TextSearchBatch& batch, std::string title, std::vector<TextSearchHit> hits,
                         TextSearchSource::Kind kind = TextSearchSource::Kind::document, std::string path = {},
                         std::optional<Date> storedAt = {})
    {
        TextSearchSource source;
        source.kind = kind;
        source.title = std::move(title);
        source.path = std::move(path);
        source.storedAt = storedAt;
        batch.groups.push_back(
            {std::make_shared<const TextSearchSource>(std::move(source)), batch.hits.size(), hits.size()});
        batch.hits.insert(batch.hits.end(), hits.begin(), hits.end());
    }
    /// Two sources with two hits and one.
    static TextSearchBatch threeHits()
    {
        TextSearchBatch batch;
        addGroup(batch, "notes.md", {hit(3, "    a pear here", 6, 4), hit(12, "pears", 0, 4)});
        addGroup(batch, "todo", {hit(1, "buy a pear", 6, 4)});
        batch.sources = 8;
        batch.scanned = 2;
        return batch;
    }
    void publish(TextSearchBatch batch) { runs.back().publish(std::move(batch)); }
    void finish(TextSearchBatch batch = {})
    {
        batch.finished = true;
        batch.sources = batch.scanned = 8;
        publish(std::move(batch));
    }

    SessionLibrary library_;
    TextSearchContext context_;
    TextSearchNames names_;
    std::vector<Run> runs;
    std::vector<SearchTarget> targets;
    TextScopeKind listedKind = TextScopeKind::allDocuments;
};

}  // namespace penmark
