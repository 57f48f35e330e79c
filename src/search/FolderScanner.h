// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/TextSearchSource.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

namespace penmark {

/// Lists the files of a folder by the scanner that comes with the program, which knows rules of what to ignore.
class FolderScanner {
public:
    static constexpr std::size_t fileLimit = 1'000'000;
    static constexpr std::size_t errorLimit = 16'384;  ///< bytes kept of what the scanner says

    /// The scanner that belongs to the running program: "Contents/Helpers/rg" in the folder that holds its "bin", or
    /// where the installation keeps it.
    static std::filesystem::path bundledScanner();

    explicit FolderScanner(std::filesystem::path scanner = bundledScanner()) : scanner_(std::move(scanner)) {}

    struct Options {
        bool includeIgnored = false;
        bool includeHidden = false;
    };
    struct Listing {
        TextSearchSources files;  ///< sorted by path
        std::vector<std::string> problems;
        std::chrono::system_clock::time_point began;  ///< when nothing had been read yet
    };

    /// All files below an absolute folder. Throws TextSearchError if there is no list, Cancelled within some
    /// milliseconds. The scanner has ended when this returns, however it does.
    Listing list(const std::string& folder, const Options& options, const std::stop_token& stop) const;

private:
    std::filesystem::path scanner_;
};

/// The files of a listing that the rule's file types and path filter let pass, in their order. Case does not count for
/// ASCII letters; other characters are compared as they are.
///
/// A type is what stands behind a dot at the end of a name ("md", ".md", "*.md" or "tar.gz"; ".gitignore" has the type
/// "gitignore"); no types let every file pass. The filter is a piece of the relative path, or with "*" (anything, "/"
/// too) or "?" (one character) a pattern for all of it or for its last parts. A "/" in front is the project folder,
/// with a pattern always.
TextSearchSources filterFiles(const TextSearchSources& files, const std::vector<std::string>& fileTypes,
                              const std::string& pathFilter);

}  // namespace penmark
