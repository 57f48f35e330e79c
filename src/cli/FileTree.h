// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace penmark::cli {

/// The files that a list of files and folders stands for: folders are searched to any depth in the order of names.
/// Links to files are followed, links to folders only if they were named, so a loop of links ends nowhere.
class FileTree {
public:
    /// `skippedFolder` is not entered, wherever it turns up. A path that is left out is reported with the reason:
    /// `isFailure` tells what could not be looked at from what is no file to read.
    using Report = std::function<void(const std::filesystem::path& path, std::string_view reason, bool isFailure)>;
    FileTree(std::filesystem::path skippedFolder, Report report)
        : skippedFolder_(std::move(skippedFolder)), report_(std::move(report))
    {}

    /// Adds a file or what is in a folder. Throws Cancelled if a signal waits.
    void add(const std::filesystem::path& named);

    const std::vector<std::filesystem::path>& files() const noexcept { return files_; }

private:
    void addFound(const std::filesystem::directory_entry& entry);
    void addFolder(const std::filesystem::path& folder);
    void addFile(const std::filesystem::path& file, const std::filesystem::file_status& status);

    std::filesystem::path skippedFolder_;
    Report report_;
    std::vector<std::filesystem::path> files_;
};

}  // namespace penmark::cli
