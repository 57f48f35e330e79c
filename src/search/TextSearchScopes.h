// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionLibrary.h"
#include "search/TextSearchRule.h"
#include "search/TextSearchSource.h"

#include <functional>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

class RecoveryStore;

/// What scopes that follow the user are about at the moment.
struct TextSearchContext {
    std::optional<Uuid> document;   ///< of the editor that was active last
    std::optional<Uuid> session;    ///< the active one
    std::optional<Uuid> workspace;  ///< the one activated last

    friend bool operator==(const TextSearchContext&, const TextSearchContext&) = default;
};

/// What is known of documents, checkpoints and folders where a scope is resolved. Functions that are not set know
/// nothing against a target.
struct TextSearchNames {
    /// The title as shown; absent if there is no such document.
    std::function<std::optional<std::string>(const Uuid& document)> document;
    /// A name or a date; absent if there is no such checkpoint.
    std::function<std::optional<std::string>(const Uuid& checkpoint)> checkpoint;
    std::function<std::string(const Uuid& session)> session;      ///< for one without a name
    std::function<std::string(const Uuid& workspace)> workspace;  ///< for one without a name
    /// Whether a project's folder is there on this computer; by itself only one without a path is not.
    std::function<bool(const std::string& path)> folder;
};

/// Where a scope leads at the moment.
struct ResolvedSearchTarget {
    bool isAvailable = false;
    std::string message;  ///< what the user can do if it is not
    TextScopeKind kind = TextScopeKind::allDocuments;
    std::optional<Uuid> id;  ///< of the document, session, workspace, project or checkpoint
    std::string title;
    std::string detail;  ///< what is searched of it
    std::string folder;  ///< of a project, absolute

    friend bool operator==(const ResolvedSearchTarget&, const ResolvedSearchTarget&) = default;
    /// Whether both lead to the same texts.
    bool isSameTarget(const ResolvedSearchTarget& other) const
    {
        return isAvailable == other.isAvailable && kind == other.kind && id == other.id && folder == other.folder;
    }
};

/// What the user is told of a kind of scope.
std::string_view scopeDescription(TextScopeKind kind);
inline constexpr std::string_view unavailableTarget = "Unavailable target";

/// `field` only decides what the detail says.
ResolvedSearchTarget resolveScope(const TextSearchScope& scope, const TextSearchContext& context,
                                  const SessionLibrary& library, const TextSearchNames& names,
                                  TextSearchField field = TextSearchField::contents);

// The labels of what is searched.
/// "Stored text · Read-only" and its like; of a hit in a title or path with the field that it was found in.
std::string_view sourceLabel(const TextSearchSource& source, TextSearchField field = TextSearchField::contents);
/// The path, or "Stored in Penmark". Refers to the source.
std::string_view sourceLocation(const TextSearchSource& source);

/// An open document, whose text counts instead of the stored one.
struct OpenDocument {
    Uuid document;
    std::string title;
    std::string path;  ///< of the bound file; empty for a draft
};

struct StoredSources {
    TextSearchSources sources;
    std::vector<std::string> problems;  ///< one sentence for each record that cannot be read
};

/// The stored texts that a target other than a project covers, ordered by document and then by revision. Open documents
/// that the library does not hold yet are among them where they belong; discarded ones only while they are open. All
/// under the library's lock: some 2 microseconds a document. Throws TextSearchError without a target, RecoveryError,
/// Cancelled.
StoredSources storedSources(RecoveryStore& store, const ResolvedSearchTarget& target, const SessionLibrary& library,
                            std::span<const OpenDocument> open, const std::stop_token& stop);

}  // namespace penmark
