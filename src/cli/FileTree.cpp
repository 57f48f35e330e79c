// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/FileTree.h"

#include "base/SystemError.h"
#include "cli/Interruption.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace penmark::cli {

namespace fs = std::filesystem;

namespace {

// They hold machinery and old states of what lies beside them, some of it in files that happen to be text.
bool isVersionControl(const fs::path& folder)
{
    constexpr std::array<std::string_view, 7> names{".git", ".hg", ".svn", ".bzr", ".jj", "_darcs", "CVS"};
    return std::find(names.begin(), names.end(), folder.filename().native()) != names.end();
}

}  // namespace

void FileTree::add(const fs::path& named)
{
    std::error_code error;
    const fs::file_status status = fs::status(named, error);
    if (!fs::exists(status))
        report_(named, SystemError::reason(error ? error.value() : ENOENT), true);
    else if (fs::is_directory(status))
        addFolder(named);
    else
        addFile(named, status);
}

void FileTree::addFolder(const fs::path& folder)
{
    stopIfInterrupted();
    std::error_code error;
    if (fs::equivalent(folder, skippedFolder_, error)) {
        report_(folder, "This is the library itself.", false);
        return;
    }
    std::vector<fs::directory_entry> entries;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
        entries.push_back(*entry);
    if (error)
        report_(folder, SystemError::reason(error.value()), true);
    std::sort(entries.begin(), entries.end(), [](const fs::directory_entry& a, const fs::directory_entry& b) {
        return a.path().native() < b.path().native();
    });
    for (const fs::directory_entry& entry : entries)
        addFound(entry);
}

void FileTree::addFound(const fs::directory_entry& entry)
{
    const fs::path& path = entry.path();
    std::error_code error;
    const fs::file_status own = entry.symlink_status(error);
    const fs::file_status status = fs::is_symlink(own) ? fs::status(path, error) : own;
    if (fs::is_symlink(own) && status.type() == fs::file_type::not_found)
        report_(path, "The link leads nowhere.", false);
    else if (!fs::exists(status))
        report_(path, SystemError::reason(error ? error.value() : ENOENT), true);
    else if (!fs::is_directory(status))
        addFile(path, status);
    else if (fs::is_symlink(own))
        report_(path, "Links to folders are not followed.", false);
    else if (isVersionControl(path))
        report_(path, "Folders of version control are not entered.", false);
    else
        addFolder(path);
}

void FileTree::addFile(const fs::path& file, const fs::file_status& status)
{
    if (fs::is_regular_file(status))
        files_.push_back(file);
    else
        report_(file, "Not a regular file.", false);
}

}  // namespace penmark::cli
