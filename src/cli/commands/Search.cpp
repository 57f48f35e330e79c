// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"
#include "cli/DocumentAccess.h"
#include "cli/IdPrefix.h"
#include "cli/Interruption.h"
#include "cli/SearchOutput.h"
#include "cli/SearchRunner.h"
#include "cli/SessionAccess.h"
#include "organization/Projects.h"
#include "search/TextSearchEngine.h"
#include "search/TextSearchError.h"

#include <array>
#include <limits>
#include <optional>
#include <utility>

namespace penmark::cli {

namespace {

using namespace options;

// The option that says where to search; null if none does. Throws UsageError if several do.
const Option* placeOption(const Arguments& arguments)
{
    const Option* found = nullptr;
    for (const Option* place :
         {&searchAll, &searchHistory, &inDocument, &inSession, &inWorkspace, &inProject, &inCheckpoint, &inFolder}) {
        if (!arguments.has(*place))
            continue;
        if (found != nullptr)
            throw UsageError("“--" + std::string(found->name) + "” and “--" + std::string(place->name) +
                             "” exclude each other");
        found = place;
    }
    return found;
}

template <class E, std::size_t count>
E choice(const Arguments& arguments, const Option& option, const std::array<std::pair<std::string_view, E>, count>& all)
{
    const auto typed = arguments.value(option);
    std::string list;
    for (const auto& [word, value] : all) {
        if (!typed || *typed == word)
            return value;
        list.append(list.empty() ? "" : ", ").append(word);
    }
    throw UsageError("“--" + std::string(option.name) + "” takes one of: " + list);
}

TextMatchMode modeOf(const Arguments& arguments)
{
    using Word = std::pair<std::string_view, TextMatchMode>;
    return choice(arguments, matchMode,
                  std::array{Word{"literal", TextMatchMode::literal}, Word{"regex", TextMatchMode::regex},
                             Word{"normalized", TextMatchMode::normalized}, Word{"typo", TextMatchMode::typoTolerant}});
}

TextSearchField fieldOf(const Arguments& arguments)
{
    using Word = std::pair<std::string_view, TextSearchField>;
    return choice(arguments, searchedField,
                  std::array{Word{"contents", TextSearchField::contents}, Word{"names", TextSearchField::namesAndPaths},
                             Word{"both", TextSearchField::both}});
}

TextSearchRule ruleOf(const Arguments& arguments)
{
    TextSearchRule rule;
    rule.query = arguments.text(0);
    rule.mode = modeOf(arguments);
    rule.field = fieldOf(arguments);
    rule.caseSensitive = arguments.has(caseSensitive);
    rule.wholeWord = arguments.has(wholeWord);
    rule.fileTypes = arguments.texts(fileType);
    rule.pathFilter = arguments.text(pathFilter).value_or(std::string());
    rule.includeHidden = arguments.has(hidden);
    rule.includeIgnored = arguments.has(noIgnore);
    rule.largeFiles = arguments.has(largeFiles);
    return rule;
}

// A folder that need not be one of a library, as a project in memory only.
TextSearchScope scopeOfFolder(const std::string& typed, SessionLibrary& library)
{
    TextSearchScope scope;
    scope.kind = TextScopeKind::project;
    scope.id = addProject(library, folderPath(typed));
    return scope;
}

// Finds what the place's value names in the library.
TextSearchScope scopeOf(const Option* place, const std::string& value, RecoveryStore& store, SessionLibrary& library)
{
    TextSearchScope scope;
    if (place == nullptr || place == &searchAll)
        return scope;
    if (place == &searchHistory) {
        scope.kind = TextScopeKind::allHistory;
    } else if (const IdPrefix typed(value); place == &inDocument) {
        scope.kind = TextScopeKind::file;
        scope.id = typed.findDocument(store);
        if (requireDocument(DocumentStore(store), *scope.id).deleted)
            throw TextSearchError("This document is discarded; --history searches what was in it.");
    } else if (place == &inSession) {
        scope.kind = TextScopeKind::session;
        scope.id = typed.findAmongRecords(library.sessions, "session");
    } else if (place == &inWorkspace) {
        scope.kind = TextScopeKind::workspace;
        scope.id = typed.findAmongRecords(library.workspaces, "workspace");
    } else if (place == &inProject) {
        scope.kind = TextScopeKind::project;
        scope.id = typed.findAmongRecords(library.projects, "project");
    } else {
        scope.kind = TextScopeKind::checkpoint;
        scope.id = typed.findCheckpoint(store);
    }
    return scope;
}

}  // namespace

int commands::search(CommandContext& context, const Arguments& arguments)
{
    const Option* place = placeOption(arguments);
    const std::string where = place == nullptr ? std::string() : arguments.value(*place).value_or(std::string());
    TextSearchRequest request;
    request.rule = ruleOf(arguments);
    const auto most = arguments.number(hitLimit);
    if (most)
        request.limit = *most > 0 ? static_cast<std::size_t>(*most) : std::numeric_limits<std::size_t>::max();

    TextSearchEngine::Configuration configuration;
    configuration.indexFolder = searchIndexFolder(currentEnvironment());
    configuration.keepsFilters = false;  // this process ends before they would be used
    std::optional<TextSearchEngine> engine;
    if (place == &inFolder) {  // there may be no library, or one that another program works with
        deferInterruptions();
        request.rule.scope = scopeOfFolder(where, request.library);
        engine.emplace(std::move(configuration));
    } else {
        RecoveryStore& store = context.openLibrary();
        const bool isInSessions = place == &inSession || place == &inWorkspace || place == &inProject;
        if (isInSessions)  // anywhere else damaged records of sessions hide nothing
            request.library = readSessions(context.console, store).library;
        request.rule.scope = scopeOf(place, where, store, request.library);
        engine.emplace(store, std::move(configuration));
    }

    const SearchOutput::Form form = arguments.has(searchReport) ? SearchOutput::Form::report
                                    : arguments.has(hitObjects) ? SearchOutput::Form::json
                                                                : SearchOutput::Form::lines;
    SearchOutput output(context.console, form, place == &inFolder ? where : std::string());
    runSearch(*engine, request, [&](TextSearchBatch&& batch) { output.take(std::move(batch)); });
    return output.finish();
}

}  // namespace penmark::cli
