// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/DocumentExport.h"

#include "base/FileDescriptor.h"
#include "base/SystemError.h"
#include "storage/ContentStore.h"
#include "storage/DocumentFiles.h"
#include "storage/DocumentStore.h"
#include "storage/ExportNames.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <tuple>

#include <unistd.h>

namespace penmark {

namespace fs = std::filesystem;

namespace {

// A folder that files are written into, each under a name that was free.
class ExportFolder {
public:
    explicit ExportFolder(fs::path folder) : folder_(std::move(folder))
    {
        std::error_code error;
        fs::create_directories(folder_, error);
        if (!error && !fs::is_directory(folder_, error) && !error)
            error = std::make_error_code(std::errc::not_a_directory);
        for (fs::directory_iterator entry(folder_, error); !error && entry != fs::directory_iterator();
             entry.increment(error))
            names_.reserve(entry->path().filename().native());
        if (error)
            throw SystemError(error.value(), folder_.native());
    }

    void write(const RecoveryDocument& document, std::string_view bytes)
    {
        const FileDescriptor file = create(document);
        try {
            file.writeAll(bytes);
            file.sync();
        } catch (...) {
            ::unlink(file.path().c_str());  // half a text would be taken for a whole one
            throw;
        }
    }

    void finish() const { syncFolder(folder_); }

private:
    FileDescriptor create(const RecoveryDocument& document)
    {
        for (;;) {
            const std::string name = document.externalPath
                                         ? names_.forFile(fs::path(*document.externalPath).filename().native())
                                         : names_.forTitle(document.shownTitle());
            try {
                return FileDescriptor::open(folder_ / name, O_WRONLY | O_CREAT | O_EXCL);
            } catch (const SystemError& error) {
                if (error.errorNumber() != EEXIST)
                    throw;
                // Somebody else has made it meanwhile, or the file system takes two names for one.
            }
        }
    }

    fs::path folder_;
    ExportNames names_;
};

std::string textOf(const DocumentStore& documents, const ContentStore& content, const RecoveryDocument& document)
{
    const auto revision = documents.loadHead(document);
    return revision ? content.loadText(revision->contentHash) : std::string();
}

// Adds the rows that come before the query fails, if it does.
void collectRows(RecoveryStore& store, std::string_view sql, std::set<std::string>& ids)
{
    try {
        store.forEachRow(sql, {}, [&](const Statement& row) { ids.emplace(row.text(0)); });
    } catch (const RecoveryError&) {
        // The other ways may get further.
    }
}

// The documents of a database of which a part cannot be read: it ends every walk through the table, so identifiers are
// taken from both ends of the table and of its index, and the records are then looked up one by one.
DocumentStore::Documents loadOneByOne(RecoveryStore& store)
{
    std::set<std::string> ids;
    for (const char* walk :
         {"SELECT id FROM documents ORDER BY id", "SELECT id FROM documents ORDER BY id DESC",
          "SELECT id FROM documents NOT INDEXED", "SELECT id FROM documents NOT INDEXED ORDER BY rowid DESC"})
        collectRows(store, walk, ids);
    DocumentStore::Documents loaded;
    loaded.problems.emplace_back("The list of documents is damaged. There may be others.");
    for (const std::string& id : ids) {
        try {
            const auto known = Uuid::parse(id);
            auto document = known ? DocumentStore(store).loadDocument(*known) : std::nullopt;
            if (!document)
                throw RecoveryError(RecoveryError::Case::missingContent);
            loaded.documents.push_back(std::move(*document));
        } catch (const RecoveryError& error) {
            loaded.problems.push_back("document " + id + ": " + error.what());
        }
    }
    return loaded;
}

DocumentStore::Documents loadReadable(RecoveryStore& store)
{
    try {
        return DocumentStore(store).loadDocuments();
    } catch (const RecoveryError&) {
        DocumentStore::Documents loaded = loadOneByOne(store);
        if (loaded.documents.empty())
            throw;
        return loaded;
    }
}

}  // namespace

std::vector<RecoveryDocument> DocumentExport::listDocuments(bool discardedToo, Report report) const
{
    DocumentStore::Documents loaded = loadReadable(store_);
    for (const std::string& problem : loaded.problems)
        report(problem);
    auto& list = loaded.documents;
    if (!discardedToo)
        std::erase_if(list, [](const RecoveryDocument& document) { return document.deleted; });
    // The oldest of equal names goes without a number, so an export made again gives the same names.
    std::sort(list.begin(), list.end(), [](const RecoveryDocument& a, const RecoveryDocument& b) {
        return std::tie(a.createdAt, a.id) < std::tie(b.createdAt, b.id);
    });
    return std::move(list);
}

std::size_t DocumentExport::run(const fs::path& folder, bool discardedToo, Report report, Progress progress)
{
    const DocumentStore documents(store_);
    const ContentStore content(store_);
    const std::vector<RecoveryDocument> list = listDocuments(discardedToo, report);
    (void)DocumentFiles(store_).recordedPath(folder);  // refuses the library's own folder
    ExportFolder files(folder);
    std::size_t written = 0;
    for (std::size_t i = 0; i < list.size(); ++i) {
        const RecoveryDocument& document = list[i];
        progress(i, list.size(), document.shownTitle());
        std::string bytes;
        try {
            bytes = encodeText(textOf(documents, content, document), document.encoding);
        } catch (const RecoveryError& error) {
            report("document " + document.id.text() + " (" + document.shownTitle() + "): " + error.what());
            continue;
        }
        files.write(document, bytes);
        ++written;
    }
    files.finish();
    return written;
}

}  // namespace penmark
