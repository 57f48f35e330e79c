// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/RecoveryBuffer.h"
#include "storage/RecoveryEncoding.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace penmark {

class RecoveryStore;

/// A file's bytes in memory of their own, which nobody else can change or cut off.
struct FileBytes {
    std::shared_ptr<const void> owner;
    std::string_view bytes;  ///< valid while `owner` lives
};

/// Reads a file once, without another copy. Throws RecoveryError `storage` with the system's reason, also for what is
/// no regular file, and Cancelled when stopped.
FileBytes readFileBytes(const std::filesystem::path& file, const std::stop_token& stop = {});

/// Why a file is not opened.
struct FileRefusal {
    std::filesystem::path file;
    std::string sentence;               ///< complete, for the user
    std::optional<UnsupportedByte> at;  ///< of a file that is not text
    bool isFolder = false;
    std::vector<std::string> likely;  ///< ids of legacy encodings it may be in, the likeliest first
};

using FileOpening = std::variant<LoadedDocument, FileRefusal>;

/// Reads a file as a document; writes nothing. It is the document that is bound to the file, if there is one: with the
/// file's text, unless the document has changes that were never saved. Where there is no file it is one that will be
/// made by saving. The text refers to the bytes that were read, so a file of 100 MB takes 100 MB.
///
/// Any thread; throws Cancelled when stopped.
FileOpening openFile(RecoveryStore& store, const std::filesystem::path& file, const std::stop_token& stop = {});

}  // namespace penmark
