// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"
#include "storage/RecoveryDocument.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

class RecoveryStore;

/// Writes the newest texts of documents as files into one folder, in the encoding that each document has recorded. A
/// document that is bound to a file goes by that file's name, any other by its title. Nothing is overwritten, no file
/// holds half a text, and what is damaged is reported without stopping the others, even where the damage is in the
/// list of the documents.
///
/// Threads: any; files are written without the library's lock.
class DocumentExport {
public:
    using Report = FunctionRef<void(const std::string& problem)>;
    using Progress = FunctionRef<void(std::size_t done, std::size_t total, const std::string& title)>;

    explicit DocumentExport(RecoveryStore& store) : store_(store) {}

    /// Creates the folder and writes into it. `report` gets one sentence for each record or text that cannot be read.
    /// `progress` is called before each document; what it throws ends the export, and files that are written stay.
    /// Returns how many documents were written. Throws RecoveryError if no document can be listed or the folder is
    /// the library's own, and SystemError if a file cannot be written.
    std::size_t run(const std::filesystem::path& folder, bool discardedToo, Report report, Progress progress);

private:
    std::vector<RecoveryDocument> listDocuments(bool discardedToo, Report report) const;

    RecoveryStore& store_;  // outlives this object
};

}  // namespace penmark
