// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Utf8.h"
#include "cli/Command.h"

namespace penmark::cli {

namespace {

struct LibraryStatus {
    std::string path;
    std::int64_t schemaVersion = 0;
    Uuid deviceID;
    std::int64_t documents = 0;
    std::int64_t revisions = 0;
    std::int64_t chunks = 0;
    std::int64_t bytes = 0;  ///< of the database file

    static constexpr auto fields()
    {
        using R = LibraryStatus;
        return std::tuple{field("path", &R::path),           field("schemaVersion", &R::schemaVersion),
                          field("deviceID", &R::deviceID),   field("documents", &R::documents),
                          field("revisions", &R::revisions), field("chunks", &R::chunks),
                          field("bytes", &R::bytes)};
    }
};

std::int64_t readNumber(RecoveryStore& store, std::string_view sql)
{
    std::int64_t number = 0;
    store.forEachRow(sql, {}, [&](const Statement& row) { number = row.integer(0); });
    return number;
}

}  // namespace

int commands::status(CommandContext& context, const Arguments& arguments)
{
    RecoveryStore& store = context.openOrCreateLibrary();
    LibraryStatus status;
    status.path = store.root().native();
    status.schemaVersion = store.schemaVersion();
    status.deviceID = store.deviceID();
    // Each count walks an index; the texts themselves are not read.
    status.documents = readNumber(store, "SELECT COUNT(*) FROM documents");
    status.revisions = readNumber(store, "SELECT COUNT(*) FROM revisions");
    status.chunks = readNumber(store, "SELECT COUNT(*) FROM chunks");
    status.bytes = readNumber(store, "PRAGMA page_count") * readNumber(store, "PRAGMA page_size");

    if (arguments.has(options::json)) {
        status.path = repairUtf8(status.path);
        context.console.printRecord(encodeRecord(status));
        return 0;
    }
    context.console.printTable({{"library", status.path},
                                {"schema version", std::to_string(status.schemaVersion)},
                                {"device", status.deviceID.text()},
                                {"documents", std::to_string(status.documents)},
                                {"revisions", std::to_string(status.revisions)},
                                {"chunks", std::to_string(status.chunks)},
                                {"bytes", std::to_string(status.bytes)}});
    return 0;
}

}  // namespace penmark::cli
