// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Record.h"
#include "base/Uuid.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace penmark {

/// How a query is matched. Stored by its label.
enum class TextMatchMode {
    literal,       ///< the text as it stands
    regex,         ///< a regular expression in ICU's syntax
    normalized,    ///< accents and separators folded
    typoTolerant,  ///< besides exact matches, words at an edit distance of one
};

constexpr auto storedWords(TextMatchMode)
{
    using E = TextMatchMode;
    using Word = std::pair<E, std::string_view>;
    return std::array{Word{E::literal, "Literal"}, Word{E::regex, "Regex"}, Word{E::normalized, "Normalized"},
                      Word{E::typoTolerant, "Typo tolerant"}};
}

/// What is searched of a source. Stored by its label.
enum class TextSearchField { contents, namesAndPaths, both };

constexpr auto storedWords(TextSearchField)
{
    using E = TextSearchField;
    using Word = std::pair<E, std::string_view>;
    return std::array{Word{E::contents, "Contents"}, Word{E::namesAndPaths, "Names / paths"},
                      Word{E::both, "Contents and paths"}};
}

/// Where to search. Stored by its label; the order is the number of the kind.
enum class TextScopeKind {
    currentFile,       ///< follows the active document
    currentSession,    ///< follows the active session
    currentWorkspace,  ///< follows the workspace activated last
    file,              ///< this and those below up to checkpoint name their target
    session,
    workspace,
    project,
    checkpoint,
    allDocuments,
    allHistory,
};

constexpr auto storedWords(TextScopeKind)
{
    using E = TextScopeKind;
    using Word = std::pair<E, std::string_view>;
    return std::array{Word{E::currentFile, "Current file"},
                      Word{E::currentSession, "Current session"},
                      Word{E::currentWorkspace, "Current workspace"},
                      Word{E::file, "Specific file"},
                      Word{E::session, "Session"},
                      Word{E::workspace, "Workspace"},
                      Word{E::project, "Project"},
                      Word{E::checkpoint, "Checkpoint"},
                      Word{E::allDocuments, "All retained documents"},
                      Word{E::allHistory, "All retained history"}};
}

/// Whether a scope of this kind names the document, session, workspace, project or checkpoint that it is about.
constexpr bool hasFixedTarget(TextScopeKind kind)
{
    return kind >= TextScopeKind::file && kind <= TextScopeKind::checkpoint;
}

struct TextSearchScope {
    TextScopeKind kind = TextScopeKind::allDocuments;
    std::optional<Uuid> id;  ///< of the target, for kinds with a fixed one
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        using R = TextSearchScope;
        return std::tuple{field("kind", &R::kind), field("id", &R::id)};
    }
    friend bool operator==(const TextSearchScope&, const TextSearchScope&) = default;
};

/// All that describes a search. Stored inside saved searches; keys that this version does not know are kept.
struct TextSearchRule {
    std::string query;
    TextSearchScope scope;
    TextMatchMode mode = TextMatchMode::literal;
    TextSearchField field = TextSearchField::contents;
    bool caseSensitive = false;
    bool wholeWord = false;
    std::vector<std::string> fileTypes;  ///< extensions that a scan of a folder includes; none: all
    std::string pathFilter;              ///< on the path of a file within its project
    bool includeHidden = false;
    bool includeIgnored = false;
    bool largeFiles = false;  ///< texts up to 128 MiB instead of 16
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        using R = TextSearchRule;
        return std::tuple{penmark::field("query", &R::query),
                          penmark::field("scope", &R::scope),
                          penmark::field("mode", &R::mode),
                          penmark::field("field", &R::field),
                          penmark::field("caseSensitive", &R::caseSensitive),
                          penmark::field("wholeWord", &R::wholeWord),
                          penmark::field("fileTypes", &R::fileTypes),
                          penmark::field("pathFilter", &R::pathFilter),
                          penmark::field("includeHidden", &R::includeHidden),
                          penmark::field("includeIgnored", &R::includeIgnored),
                          penmark::field("largeFiles", &R::largeFiles)};
    }
    friend bool operator==(const TextSearchRule&, const TextSearchRule&) = default;
};

/// The largest text that a search reads, in bytes of a file or UTF-16 units of an open document.
constexpr std::size_t searchSizeLimit(bool largeFiles)
{
    return largeFiles ? 134'217'728 : 16'777'216;
}

}  // namespace penmark
