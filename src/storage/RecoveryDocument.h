// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Record.h"
#include "storage/RecoveryEncoding.h"

namespace penmark {

/// How a document came out of a shell command.
struct CommandOrigin {
    std::string commandName;
    std::string sourceTitle;  ///< title of the document that the command ran on
    Uuid sourceDocumentID;
    Date startedAt;
    std::string input;
    std::string inputDigest;
    std::string outcome;  ///< a short account of how the command ended

    static constexpr auto fields()
    {
        using R = CommandOrigin;
        return std::tuple{field("commandName", &R::commandName),
                          field("sourceTitle", &R::sourceTitle),
                          field("sourceDocumentID", &R::sourceDocumentID),
                          field("startedAt", &R::startedAt),
                          field("input", &R::input),
                          field("inputDigest", &R::inputDigest),
                          field("outcome", &R::outcome)};
    }
    friend bool operator==(const CommandOrigin&, const CommandOrigin&) = default;
};

/// One text that the user works on, with or without a file on disk. A row of `documents`. Keys that this version does
/// not know are kept when the record is written again.
struct RecoveryDocument {
    Uuid id;  ///< never reused
    std::string title;
    std::optional<std::string> displayTitle;    ///< chosen by the user; shown instead of the title
    std::optional<std::string> externalPath;    ///< the file that the document is bound to, absolute
    std::optional<std::string> externalDigest;  ///< SHA-256 of that file's bytes as last read or saved
    std::optional<std::string> languageName;
    RecoveryEncoding encoding = RecoveryEncoding::utf8;  ///< of the file; the library keeps UTF-8
    std::optional<Uuid> head;                            ///< the newest revision; absent before the first
    std::optional<std::string> originPath;               ///< where the text was first imported from
    std::optional<CommandOrigin> commandOrigin;
    bool missingOriginal = false;  ///< the bound file was found missing
    bool deleted = false;          ///< discarded; the row stays, so that history and sync can see it
    Date createdAt;
    Date updatedAt;  ///< of the last change to this record or its text
    UnknownMembers unknownMembers;

    /// What lists show.
    const std::string& shownTitle() const { return displayTitle ? *displayTitle : title; }

    static constexpr auto fields()
    {
        using R = RecoveryDocument;
        return std::tuple{field("id", &R::id),
                          field("title", &R::title),
                          field("displayTitle", &R::displayTitle),
                          field("externalPath", &R::externalPath),
                          field("externalDigest", &R::externalDigest),
                          field("languageName", &R::languageName),
                          field("encoding", &R::encoding),
                          field("head", &R::head),
                          field("originPath", &R::originPath),
                          field("commandOrigin", &R::commandOrigin),
                          field("missingOriginal", &R::missingOriginal),
                          field("deleted", &R::deleted),
                          field("createdAt", &R::createdAt),
                          field("updatedAt", &R::updatedAt)};
    }
    friend bool operator==(const RecoveryDocument&, const RecoveryDocument&) = default;
};

/// What lists show of a document: a part of its record that is read faster than the whole. Never written.
struct RecoveryDocumentHeader {
    Uuid id;
    std::string title;
    std::optional<std::string> displayTitle;
    std::optional<std::string> externalPath;
    std::optional<Uuid> head;
    bool missingOriginal = false;
    bool deleted = false;
    Date createdAt;
    Date updatedAt;

    const std::string& shownTitle() const { return displayTitle ? *displayTitle : title; }

    static constexpr auto fields()
    {
        using R = RecoveryDocumentHeader;
        return std::tuple{field("id", &R::id),
                          field("title", &R::title),
                          field("displayTitle", &R::displayTitle),
                          field("externalPath", &R::externalPath),
                          field("head", &R::head),
                          field("missingOriginal", &R::missingOriginal),
                          field("deleted", &R::deleted),
                          field("createdAt", &R::createdAt),
                          field("updatedAt", &R::updatedAt)};
    }
    friend bool operator==(const RecoveryDocumentHeader&, const RecoveryDocumentHeader&) = default;
};

/// One stored state of a document. A row of `revisions`; never changed.
struct RecoveryRevision {
    Uuid id;
    Uuid documentID;
    std::optional<Uuid> parent;  ///< the head it was written on; absent for the first
    Uuid deviceID;               ///< the library that wrote it
    std::string contentHash;     ///< names the text in ContentStore
    Date createdAt;              ///< orders history
    bool deleted = false;        ///< records that the document was discarded

    static constexpr auto fields()
    {
        using R = RecoveryRevision;
        return std::tuple{field("id", &R::id),
                          field("documentID", &R::documentID),
                          field("parent", &R::parent),
                          field("deviceID", &R::deviceID),
                          field("contentHash", &R::contentHash),
                          field("createdAt", &R::createdAt),
                          field("deleted", &R::deleted)};
    }
    friend bool operator==(const RecoveryRevision&, const RecoveryRevision&) = default;
};

}  // namespace penmark
