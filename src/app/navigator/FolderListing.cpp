// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/FolderListing.h"

#include "app/navigator/FilterWords.h"
#include "app/navigator/TitleCollator.h"
#include "base/FileDescriptor.h"
#include "base/SystemError.h"

#include <QString>
#include <algorithm>
#include <cerrno>

#include <dirent.h>
#include <sys/stat.h>

namespace penmark {
namespace {

using FoundEntry = std::shared_ptr<FolderEntry>;

std::string patternsIn(const FileDescriptor& folder)
{
    constexpr off_t most = 1 << 20;
    std::string patterns;
    for (const char* const name : {".gitignore", ".ignore"}) {
        struct stat status = {};
        // Not a pipe, which would be waited for.
        if (::fstatat(folder.get(), name, &status, 0) != 0 || !S_ISREG(status.st_mode) || status.st_size > most)
            continue;
        const int file = ::openat(folder.get(), name, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (file < 0)
            continue;
        patterns += FileDescriptor(file, name).readToEnd() + '\n';
    }
    return patterns;
}

/// Null for what is not listed.
FoundEntry entryOf(const FileDescriptor& folder, const dirent& found, const FolderListing& listing)
{
    auto entry = std::make_shared<FolderEntry>();
    entry->name = found.d_name;
    entry->isFolder = found.d_type == DT_DIR;
    if (found.d_type == DT_LNK || found.d_type == DT_UNKNOWN) {
        struct stat status = {};
        const bool isThere = ::fstatat(folder.get(), found.d_name, &status, 0) == 0;
        entry->isFolder = isThere && S_ISDIR(status.st_mode);
        const std::pair<unsigned long, unsigned long> identity(status.st_dev, status.st_ino);
        entry->isLoop =
            entry->isFolder && std::find(listing.chain.begin(), listing.chain.end(), identity) != listing.chain.end();
        if (isThere && !entry->isFolder && !S_ISREG(status.st_mode))
            return nullptr;
    } else if (found.d_type != DT_DIR && found.d_type != DT_REG) {
        return nullptr;
    }
    entry->isIgnored = listing.isIgnored || (listing.rules && listing.rules->isIgnored(entry->name, entry->isFolder));
    return entry;
}

void sortNaturally(std::vector<FoundEntry>& entries)
{
    const QCollator collator = titleCollator();
    struct Keyed {
        QCollatorSortKey key;
        FoundEntry entry;
    };
    std::vector<Keyed> keyed;
    keyed.reserve(entries.size());
    for (FoundEntry& entry : entries) {
        QCollatorSortKey key = collator.sortKey(QString::fromStdString(entry->name));
        keyed.push_back({std::move(key), std::move(entry)});
    }
    std::sort(keyed.begin(), keyed.end(), [](const Keyed& one, const Keyed& other) {
        if (one.entry->isFolder != other.entry->isFolder)
            return one.entry->isFolder;
        const int order = one.key.compare(other.key);
        return order != 0 ? order < 0 : one.entry->name < other.entry->name;
    });
    for (std::size_t at = 0; at < keyed.size(); ++at)
        entries[at] = std::move(keyed[at].entry);
}

void readEntries(const std::string& path, FolderListing& listing)
{
    FileDescriptor folder = FileDescriptor::open(path, O_RDONLY | O_DIRECTORY);
    struct stat status = {};
    if (::fstat(folder.get(), &status) == 0)
        listing.chain.emplace_back(status.st_dev, status.st_ino);
    listing.rules = IgnoreRules::make(listing.rules, path.substr(path.rfind('/') + 1), patternsIn(folder));

    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(path.c_str()), &::closedir);
    if (!stream)
        throw SystemError(errno, path);
    std::vector<FoundEntry> entries;
    while (const dirent* const found = ::readdir(stream.get()))
        if (found->d_name[0] != '.')
            if (auto entry = entryOf(folder, *found, listing))
                entries.push_back(std::move(entry));
    if (entries.size() > FolderListing::most) {
        listing.beyond = entries.size() - FolderListing::most;
        std::nth_element(entries.begin(), entries.begin() + FolderListing::most, entries.end(),
                         [](const FoundEntry& one, const FoundEntry& other) {
                             return std::pair(!one->isFolder, std::string_view(one->name)) <
                                    std::pair(!other->isFolder, std::string_view(other->name));
                         });
        entries.resize(FolderListing::most);
    }
    sortNaturally(entries);
    for (const FoundEntry& entry : entries)
        entry->folded = foldForFilter(entry->name);
    listing.entries.assign(entries.begin(), entries.end());
}

}  // namespace

FolderListing readFolder(const std::string& path, const FolderListing* around, bool isIgnored)
{
    FolderListing listing;
    listing.isIgnored = isIgnored;
    if (around) {
        listing.rules = around->rules;
        listing.chain = around->chain;
    }
    try {
        readEntries(path, listing);
    } catch (const SystemError& error) {
        listing.entries.clear();
        listing.beyond = 0;
        listing.problem = SystemError::reason(error.errorNumber());
    }
    return listing;
}

}  // namespace penmark
