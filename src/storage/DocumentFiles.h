// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/DocumentStore.h"
#include "storage/RecoveryFileAccess.h"

#include <filesystem>
#include <optional>
#include <string>

namespace penmark {

/// Documents and the files they are bound to: opening, saving, reloading. Whatever happens to a file, the library has
/// kept the text before.
///
/// A document is bound to the file itself, so a path is resolved through symbolic links before it is recorded, and all
/// paths to one name of a file find the same document. Threads: any; files are read and written without the library's
/// lock. Failures are RecoveryErrors.
class DocumentFiles {
public:
    explicit DocumentFiles(RecoveryStore& store, Clock clock = Date::now);

    /// The document that is bound to the file, or a new one with its text. If the file changed since it was last read
    /// or saved, its text becomes a new revision; what the document held stays in its history. Throws `unsupportedText`
    /// if the bytes are no text, and `storage` with the system's reason if they cannot be read.
    RecoveryDocument open(const std::filesystem::path& file);

    /// Stores a file's text as a document without a file, which remembers where it came from.
    RecoveryDocument import(const std::filesystem::path& file);

    /// Writes the head's text, in the recorded encoding, to the bound file, or to `file`, to which the document is
    /// bound once it is written. A bound file that holds just these bytes already is left alone and counts as saved.
    /// Throws as RecoveryFileAccess::saveFile does; `storage` if there is neither a bound file nor a path, or if
    /// another document is bound to that path. A file that is there already is replaced only if it is the one with the
    /// digest `replaces`.
    RecoveryDocument save(const Uuid& id, const std::optional<std::filesystem::path>& file = {},
                          const std::optional<std::string>& replaces = {});

    /// Takes the file's text as a new revision, and keeps the text it replaces, if it is another, as a document of its
    /// own under the title followed by " — before reload". A text that is damaged in the library cannot be kept and
    /// does not stop the reload. The file is read in the given encoding, or in the one that its bytes show.
    /// `kept` is told of the document that the replaced text has become.
    RecoveryDocument reload(const Uuid& id, std::optional<RecoveryEncoding> encoding = {},
                            std::optional<RecoveryDocument>* kept = nullptr);

    /// The absolute path under which a file is known: links resolved, as far as it exists. Throws `storage` if it is
    /// not valid UTF-8, since a record could not hold it, or inside the library's own folder, which is nobody else's.
    std::string recordedPath(const std::filesystem::path& file) const;

private:
    std::optional<std::string> textOf(const RecoveryDocument& document) const;
    std::optional<std::string> textToKeep(const RecoveryDocument& document, std::string_view incoming) const;
    static bool holds(const std::string& path, const std::string& digest);
    void makeDurable(const std::filesystem::path& file) const;
    void noteMissing(const RecoveryDocument& document, const std::filesystem::path& file);

    RecoveryStore& store_;  // outlives this object
    DocumentStore documents_;
    ContentStore content_;
    RecoveryFileAccess files_;
};

}  // namespace penmark
