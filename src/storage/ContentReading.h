// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/Statement.h"

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace penmark {

class RecoveryStore;

/// A text as it is stored: its chunks, compressed. A value that is moved; any thread.
class CompressedText {
public:
    CompressedText() = default;
    CompressedText(CompressedText&&) = default;
    CompressedText& operator=(CompressedText&&) = default;

    /// The text, in `room`, which grows if need be and can be used again; valid until then. Uses all cores for a long
    /// text. Throws `missingContent` unless every chunk and the whole are what their hashes say.
    std::string_view decode(std::string& room) const;

    /// Bytes of the compressed chunks.
    std::size_t size() const;

private:
    friend class ContentReading;

    std::string contentHash_;
    std::vector<std::string> hashes_;                           // of the chunks
    std::unordered_map<std::string_view, std::string> bodies_;  // by hash
};

/// Reads any number of texts as they are stored, all of one state of the library: what a reading by itself costs, to
/// lock the file and to look whether others have changed it, is paid once. Holds the library's lock while it lives.
class ContentReading {
public:
    explicit ContentReading(RecoveryStore& store);

    /// Absent, without reading any, if the text has more chunks than that. Throws `missingContent`.
    std::optional<CompressedText> fetch(std::string_view contentHash, std::size_t mostChunks);

private:
    std::unique_lock<std::recursive_mutex> hold_;
    Statement state_;  // on a row for as long as this lives, which keeps the file locked for reading
    Statement selectManifest_;
    Statement selectChunk_;
};

}  // namespace penmark
