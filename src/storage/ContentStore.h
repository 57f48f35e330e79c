// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextSource.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

class ChunkCodec;
class RecoveryStore;

/// Keeps every text once, under the SHA-256 of its UTF-8 bytes, cut into chunks of 64 KiB that are compressed and kept
/// once under their own hash. Rows are never repaired or removed here: a damaged one stays, and the caller is told.
///
/// Threads: any. Hashing, compressing and decompressing use all cores and hold no lock; the lock is held while rows are
/// read and written.
class ContentStore {
public:
    static constexpr std::size_t chunkSize = 65'536;     ///< bytes
    static constexpr std::size_t previewLimit = 16'384;  ///< bytes

    explicit ContentStore(RecoveryStore& store) : store_(store) {}

    /// A text that is hashed, and compressed as far as the library did not hold it. Refers to the text or its source.
    class Prepared {
    public:
        const std::string& contentHash() const noexcept { return contentHash_; }

    private:
        friend class ContentStore;
        struct Chunk {
            std::string hash;
            std::optional<std::string> body;  ///< compressed; absent if the library had the chunk already
        };
        const TextSource& source() const { return source_ ? *source_ : string_; }
        std::string compress(ChunkCodec& codec, std::size_t chunk) const;
        void hashAll();
        std::string manifest() const;

        StringSource string_;
        const TextSource* source_ = nullptr;  // none: the string
        std::string contentHash_;
        std::vector<Chunk> chunks_;
    };

    /// The slow part of storing, done before the transaction is begun. The text must be valid UTF-8 and outlive the
    /// result. Reads the library to see which chunks are there.
    Prepared prepareText(std::string_view utf8) const;

    /// The same for a text that is not one string. Takes memory for the compressed chunks and for one chunk a worker.
    Prepared prepareText(const TextSource& text) const;

    /// Writes the rows that are missing and returns the content hash. Inside the caller's transaction. A text that the
    /// library holds adds no rows.
    std::string storeText(const Prepared& prepared);

    /// Both steps; compresses inside the caller's transaction, so it is for small texts.
    std::string storeText(std::string_view utf8) { return storeText(prepareText(utf8)); }

    /// Returns the text only after hashing every chunk and the whole again. Throws `missingContent`, whichever check
    /// fails.
    std::string loadText(std::string_view contentHash) const;

    /// The beginning of a text for lists, at most `previewLimit` bytes of it, with a note if there is more. Reads one
    /// chunk, checks no hash and repairs cut characters. Throws `missingContent` if a row is missing or the manifest
    /// damaged.
    std::string previewText(std::string_view contentHash) const;

    /// The length of a text in bytes. Reads the manifest and the last chunk, so it costs the same for a text of any
    /// length, and checks no hash. Throws `missingContent` if one of the two is missing or damaged.
    std::size_t textSize(std::string_view contentHash) const;

private:
    void prepare(Prepared& prepared) const;
    std::vector<std::string> loadManifest(std::string_view contentHash) const;

    RecoveryStore& store_;  // outlives this object
};

}  // namespace penmark
