// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/DocumentFiles.h"

#include "base/Sha256.h"
#include "base/SystemError.h"
#include "base/Utf8.h"
#include "storage/OriginalFile.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"

#include <algorithm>
#include <cerrno>

namespace penmark {

namespace fs = std::filesystem;

namespace {

struct FileText {
    DecodedText decoded;
    std::string digest;  // of the bytes
};

FileText readText(const fs::path& file, std::optional<RecoveryEncoding> encoding = {})
{
    const std::string bytes = readOriginal(file);
    return {encoding ? DecodedText{decodeText(bytes, *encoding), *encoding} : decodeText(bytes), sha256(bytes)};
}

// Bytes that say nothing of their encoding are read in the one that is known of the file.
FileText readKnown(const fs::path& file, std::optional<RecoveryEncoding> chosen, RecoveryEncoding known)
{
    try {
        return readText(file, chosen);
    } catch (const RecoveryError& error) {
        if (chosen || error.which() != RecoveryError::Case::unsupportedText)
            throw;
        return readText(file, known);
    }
}

std::string titleOf(const fs::path& file)
{
    return repairUtf8(file.filename().native());
}

}  // namespace

DocumentFiles::DocumentFiles(RecoveryStore& store, Clock clock)
    : store_(store), documents_(store, std::move(clock)), content_(store), files_{store.root()}
{}

std::string DocumentFiles::recordedPath(const fs::path& file) const
{
    std::error_code error;
    const fs::path path = fs::weakly_canonical(resolveOriginal(file), error);
    if (error)  // a folder that may not be entered
        throw RecoveryError::storage(repairUtf8(file.native()) + ": " + error.message());
    const fs::path library = fs::weakly_canonical(store_.root(), error);
    const auto [end, rest] = std::mismatch(library.begin(), library.end(), path.begin(), path.end());
    if (end == library.end())
        throw RecoveryError::storage(repairUtf8(path.native()) + " is inside the library's own folder.");
    if (!isValidUtf8(path.native()))
        throw RecoveryError::storage("The name of " + repairUtf8(path.native()) +
                                     " is not valid UTF-8 and cannot be recorded. Rename the file.");
    return path.native();
}

RecoveryDocument DocumentFiles::open(const fs::path& file)
{
    const std::string path = recordedPath(file);
    std::error_code error;
    if (!fs::exists(path, error) && !error) {
        if (const auto bound = documents_.findBoundTo(path))
            noteMissing(*bound, path);
    }
    const FileText read = readText(path);
    const auto prepared = content_.prepareText(read.decoded.text);
    const auto bind = [&](RecoveryDocument& document) {
        document.externalPath = path;
        document.externalDigest = read.digest;
        document.encoding = read.decoded.encoding;
        document.missingOriginal = false;
    };
    // Looking for the document and making it are one step: whoever opens the same file at the same time gets the same.
    return store_.transaction([&] {
        const auto bound = documents_.findBoundTo(path);
        if (!bound) {
            RecoveryDocument document = documents_.newDocument(titleOf(path));
            document.originPath = path;
            bind(document);
            return documents_.createWithText(document, prepared).document;
        }
        if (bound->externalDigest == read.digest)
            return documents_.changeDocument(bound->id, bind);
        return documents_.writeRevision(bound->id, bound->head, prepared, bind).document;
    });
}

RecoveryDocument DocumentFiles::import(const fs::path& file)
{
    const FileText read = readText(file);
    RecoveryDocument document = documents_.newDocument(titleOf(file));
    std::error_code error;
    const fs::path absolute = fs::absolute(file, error);
    document.originPath = repairUtf8((error ? file : absolute).lexically_normal().native());
    document.encoding = read.decoded.encoding;
    return documents_.createWithText(document, read.decoded.text).document;
}

RecoveryDocument DocumentFiles::save(const Uuid& id, const std::optional<fs::path>& file,
                                     const std::optional<std::string>& replaces)
{
    const auto document = documents_.loadDocument(id);
    if (!document)
        throw RecoveryError::storage("There is no document " + id.text() + ".");
    if (document->deleted)
        throw RecoveryError::storage("The document is discarded. Write to it again before you save it.");
    if (!file && !document->externalPath)
        throw RecoveryError::storage("The document has no file. Give the path of one to save to.");
    const std::string path = file ? recordedPath(*file) : *document->externalPath;
    const auto owner = documents_.findBoundTo(path);
    if (owner && owner->id != id)
        throw RecoveryError::storage("The document " + owner->id.text() + " is bound to " + path + " already.");
    const auto expected = path == document->externalPath && !replaces ? document->externalDigest : replaces;

    const auto text = textOf(*document);
    if (!text)
        throw RecoveryError::storage("Nothing has been written to the document yet.");
    const std::string bytes = encodeText(*text, document->encoding);
    const std::string digest = sha256(bytes);
    const auto record = [&] {
        return documents_.changeDocument(id, [&](RecoveryDocument& changed) {
            changed.externalPath = path;
            changed.externalDigest = digest;
            changed.missingOriginal = false;
        });
    };
    // After a crash between writing the file and recording it, the file holds what it should.
    if (expected && expected != digest && holds(path, digest)) {
        makeDurable(path);
        return record();
    }
    try {
        files_.saveFile(bytes, path, expected);
    } catch (const RecoveryError&) {
        // The text may have reached the file nevertheless, as in a race: the next save then starts from it.
        if (expected && holds(path, digest))
            record();
        throw;
    }
    return record();
}

bool DocumentFiles::holds(const std::string& path, const std::string& digest)
{
    std::error_code error;
    try {
        return fs::is_regular_file(path, error) && fileDigest(path) == digest;
    } catch (const RecoveryError&) {
        return false;  // what cannot be read is for the save itself to report
    }
}

void DocumentFiles::makeDurable(const fs::path& file) const
{
    files_.syncFile(file);
    try {
        syncFolder(file.parent_path());
    } catch (const SystemError&) {
        // As after a save: a folder may be one that cannot be synced.
    }
}

RecoveryDocument DocumentFiles::reload(const Uuid& id, std::optional<RecoveryEncoding> encoding,
                                       std::optional<RecoveryDocument>* kept)
{
    const auto document = documents_.loadDocument(id);
    if (!document)
        throw RecoveryError::storage("There is no document " + id.text() + ".");
    if (!document->externalPath)
        throw RecoveryError::storage("The document has no file to reload.");
    const FileText read = readKnown(*document->externalPath, encoding, document->encoding);
    const auto prepared = content_.prepareText(read.decoded.text);
    const auto replaced = textToKeep(*document, read.decoded.text);
    return store_.transaction([&] {
        if (replaced) {
            RecoveryDocument before = documents_.newDocument(document->shownTitle() + " — before reload");
            before.languageName = document->languageName;
            before = documents_.createWithText(before, *replaced).document;
            if (kept)
                *kept = std::move(before);
        }
        return documents_
            .writeRevision(id, document->head, prepared,
                           [&](RecoveryDocument& changed) {
                               changed.externalDigest = read.digest;
                               changed.encoding = read.decoded.encoding;
                               changed.missingOriginal = false;
                           })
            .document;
    });
}

std::optional<std::string> DocumentFiles::textToKeep(const RecoveryDocument& document, std::string_view incoming) const
{
    try {
        auto text = textOf(document);
        if (text != incoming)
            return text;
    } catch (const RecoveryError& error) {
        if (error.which() != RecoveryError::Case::missingContent)
            throw;
        // There is nothing left to keep; the file is the remedy.
    }
    return std::nullopt;
}

std::optional<std::string> DocumentFiles::textOf(const RecoveryDocument& document) const
{
    const auto revision = documents_.loadHead(document);
    if (!revision)
        return std::nullopt;
    return content_.loadText(revision->contentHash);
}

void DocumentFiles::noteMissing(const RecoveryDocument& document, const fs::path& file)
{
    documents_.changeDocument(document.id, [](RecoveryDocument& changed) { changed.missingOriginal = true; });
    throw RecoveryError::storage(SystemError(ENOENT, file.native()).what());
}

}  // namespace penmark
