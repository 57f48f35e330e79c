// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/FileOpening.h"

#include "app/documents/DocumentRegistry.h"
#include "base/FileDescriptor.h"
#include "base/Sha256.h"
#include "base/SystemError.h"
#include "base/Utf8.h"
#include "storage/DocumentFiles.h"
#include "storage/DocumentStore.h"
#include "storage/LegacyEncoding.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace penmark {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t readAtOnce = 4 << 20;      // bytes between two looks whether to stop
constexpr std::size_t digestedAtOnce = 4 << 20;  // bytes; some 2 ms
constexpr std::size_t smallFile = 64 << 10;      // bytes; below it pages of its own are a waste

struct Mapping {
    explicit Mapping(std::size_t wanted)
        : size(wanted), memory(::mmap(nullptr, wanted, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))
    {
        if (memory == MAP_FAILED)
            throw std::bad_alloc();
        ::madvise(memory, size, MADV_HUGEPAGE);
    }
    ~Mapping() { ::munmap(memory, size); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    std::size_t size;
    void* memory;
};

std::size_t readSome(const FileDescriptor& file, char* to, std::size_t count)
{
    for (;;) {
        const ssize_t got = ::read(file.get(), to, count);
        if (got >= 0)
            return static_cast<std::size_t>(got);
        if (errno != EINTR)
            throw SystemError(errno, file.path().native());
    }
}

FileBytes readInto(const FileDescriptor& file, std::size_t size, const std::stop_token& stop)
{
    const auto mapping = std::make_shared<Mapping>(size);
    char* const bytes = static_cast<char*>(mapping->memory);
    std::size_t done = 0;
    while (done < size) {
        if (stop.stop_requested())
            throw Cancelled();
        const std::size_t got = readSome(file, bytes + done, std::min(size - done, readAtOnce));
        if (got == 0)
            break;  // it was cut off meanwhile
        done += got;
    }
    return {mapping, {bytes, done}};
}

/// Bytes that say nothing of their encoding are read in the one that is known of the file.
TextSnapshot textOf(const FileBytes& file, RecoveryEncoding& encoding, std::optional<RecoveryEncoding> known)
{
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    std::string_view bytes = file.bytes;
    const bool marked = bytes.starts_with(mark);
    const std::string_view text = marked ? bytes.substr(mark.size()) : bytes;
    const bool hasNul = std::memchr(bytes.data(), 0, bytes.size()) != nullptr;
    if ((marked || !hasNul) && isValidUtf8(text)) {
        encoding = marked ? RecoveryEncoding::utf8BOM : RecoveryEncoding::utf8;
        return text.size() < smallFile ? TextSnapshot(text) : TextSnapshot(file.owner, text);
    }
    try {
        DecodedText decoded = decodeText(bytes);
        encoding = decoded.encoding;
        return TextSnapshot(std::move(decoded.text));
    } catch (const RecoveryError&) {
        if (!known)
            throw;
        encoding = *known;
        return TextSnapshot(decodeText(bytes, *known));
    }
}

LoadedDocument newDocument(const std::string& path)
{
    LoadedDocument fresh;
    fresh.record.id = Uuid::random();
    fresh.record.title = fs::path(path).filename().native();
    fresh.record.externalPath = path;
    fresh.record.originPath = path;
    fresh.record.createdAt = fresh.record.updatedAt = Date::now();
    return fresh;
}

LoadedDocument openMissing(RecoveryStore& store, const std::string& path, const std::optional<RecoveryDocument>& bound)
{
    if (!bound) {
        LoadedDocument fresh = newDocument(path);
        fresh.availability = OriginalFileAvailability::current;  // there should be none, and there is none
        return fresh;
    }
    LoadedDocument known = DocumentRegistry::readDocument(store, bound->id);
    known.availability = OriginalFileAvailability::unavailable;
    return known;
}

// The document as it is known, with the text of its file.
LoadedDocument withFilesText(const RecoveryDocument& bound, const std::string& headHash, const FileBytes& file,
                             const TextSnapshot& text, RecoveryEncoding encoding, bool isHead)
{
    LoadedDocument known;
    known.record = bound;
    known.record.encoding = encoding;
    known.text = text;
    known.isInLibrary = true;
    known.textIsStored = isHead;
    known.fileMatches = true;
    known.storedHash = headHash;
    known.availability = OriginalFileAvailability::current;
    if (!isHead) {
        known.fileBytes = file.owner;
        known.fileContent = file.bytes;
    }
    return known;
}

LoadedDocument openBound(RecoveryStore& store, const RecoveryDocument& bound, const FileBytes& file,
                         const TextSnapshot& text, RecoveryEncoding encoding)
{
    const auto head = DocumentStore(store).loadHead(bound);
    const std::string headHash = head ? head->contentHash : std::string();
    // The digest of a file in UTF-8 is the content hash of its text.
    const bool isSavedUtf8 = head && bound.encoding == RecoveryEncoding::utf8 && headHash == bound.externalDigest;
    // Without changes of its own the document takes the file's text, whether or not that is another. Which of the two
    // it is takes a while to find out of much text, and is left to the storing.
    if (isSavedUtf8 && file.bytes.size() > digestedAtOnce)
        return withFilesText(bound, headHash, file, text, encoding, false);
    const std::string digest = sha256(file.bytes);
    const bool isHead = encoding == RecoveryEncoding::utf8 && headHash == digest;
    if (isSavedUtf8 || isHead)
        return withFilesText(bound, headHash, file, text, encoding, isHead && digest == bound.externalDigest);

    LoadedDocument known = DocumentRegistry::readDocument(store, bound.id);
    if (digest != bound.externalDigest && known.fileMatches)
        return withFilesText(bound, headHash, file, text, encoding, false);
    known.availability =
        digest == bound.externalDigest ? OriginalFileAvailability::current : OriginalFileAvailability::changed;
    return known;
}

FileOpening openRecorded(RecoveryStore& store, const std::string& path, const std::stop_token& stop)
{
    const auto bound = DocumentStore(store).findBoundTo(path);
    std::error_code error;
    if (!fs::exists(path, error) && !error)
        return openMissing(store, path, bound);
    const DocumentFileSnapshot snapshot = takeSnapshot(path);
    const FileBytes bytes = readFileBytes(path, stop);
    RecoveryEncoding encoding = RecoveryEncoding::utf8;
    TextSnapshot text;
    try {
        text = textOf(bytes, encoding, bound ? std::optional(bound->encoding) : std::nullopt);
    } catch (const RecoveryError& refusal) {
        if (bound) {
            // Its own text is there, whatever has become of the file.
            LoadedDocument known = DocumentRegistry::readDocument(store, bound->id);
            known.availability = OriginalFileAvailability::changed;
            known.notice = refusal.what();
            return known;
        }
        FileRefusal refused{path, refusal.what(), findUnsupportedByte(bytes.bytes), false, {}};
        for (const std::string_view id : guessLegacyEncoding(bytes.bytes))
            refused.likely.emplace_back(id);
        return refused;
    }
    LoadedDocument document;
    if (bound) {
        document = openBound(store, *bound, bytes, text, encoding);
    } else {
        document = newDocument(path);
        document.record.encoding = encoding;
        document.text = std::move(text);
        document.fileMatches = true;
        document.fileBytes = bytes.owner;
        document.fileContent = bytes.bytes;
        document.availability = OriginalFileAvailability::current;
    }
    document.fileSnapshot = snapshot;
    return document;
}

}  // namespace

FileBytes readFileBytes(const fs::path& path, const std::stop_token& stop)
{
    try {
        const FileDescriptor file = FileDescriptor::open(path, O_RDONLY | O_NONBLOCK);
        struct stat status {};
        if (::fstat(file.get(), &status) != 0)
            throw SystemError(errno, path.native());
        if (!S_ISREG(status.st_mode))
            throw SystemError(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, path.native());
        const auto size = static_cast<std::size_t>(status.st_size);
        if (size >= smallFile)
            return readInto(file, size, stop);
        // Also files of /proc, which say that they are empty.
        const auto small = std::make_shared<const std::string>(file.readToEnd());
        return {small, *small};
    } catch (const SystemError& error) {
        throw RecoveryError::storage(repairUtf8(error.what()));
    }
}

FileOpening openFile(RecoveryStore& store, const fs::path& file, const std::stop_token& stop)
{
    std::error_code ignored;
    const bool isFolder = fs::is_directory(file, ignored);
    try {
        const std::string path = DocumentFiles(store).recordedPath(file);
        for (;;) {
            FileOpening opening = openRecorded(store, path, stop);
            const auto* const document = std::get_if<LoadedDocument>(&opening);
            if (!document || (document->record.externalPath == path && !document->record.deleted))
                return opening;
            // It was bound to the file when it was looked for and no longer when its text was read: another document
            // was saved there meanwhile.
        }
    } catch (const RecoveryError& error) {
        return FileRefusal{file, error.what(), std::nullopt, isFolder, {}};
    } catch (const std::bad_alloc&) {
        return FileRefusal{file, "There is not enough memory for this file.", std::nullopt, false, {}};
    } catch (const std::length_error&) {
        return FileRefusal{file, "This file is too large.", std::nullopt, false, {}};
    }
}

}  // namespace penmark
