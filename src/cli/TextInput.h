// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/DocumentStore.h"
#include "storage/RecoveryEncoding.h"

#include <filesystem>
#include <optional>
#include <string>

namespace penmark::cli {

/// A text that comes into the library, and the file it was in.
struct TextInput {
    DecodedText decoded;
    std::optional<std::filesystem::path> file;  ///< absent for standard input

    /// Reads a file, or standard input if there is no name or it is "-". Also pipes and devices, to their end. Throws
    /// SystemError if that fails and `unsupportedText` if it is no text.
    static TextInput read(const std::optional<std::string>& name);

    /// Reads a regular file and nothing else; absent if it is something else by now.
    static std::optional<TextInput> readRegularFile(const std::filesystem::path& file);

    /// The file's name, or the first line of the text that is not blank, or "Untitled".
    std::string title() const;
};

/// Stores the text as a document without a file, which remembers where it came from.
RecoveryDocument storeAsDocument(DocumentStore& documents, const TextInput& input, std::string title,
                                 std::optional<std::string> languageName = {});

}  // namespace penmark::cli
