// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextSearchSource.h"

#include <set>

namespace penmark {

std::uint32_t TextSearchSources::addLabel(std::string title, std::string path)
{
    labels_.push_back({std::move(title), std::move(path)});
    return static_cast<std::uint32_t>(labels_.size() - 1);
}

void TextSearchSources::addFile(std::string_view relativePath)
{
    paths_.append(relativePath);
    fileEnds_.push_back(paths_.size());
}

std::string_view TextSearchSources::relativePath(std::size_t index) const
{
    const std::uint64_t start = index == 0 ? 0 : fileEnds_[index - 1];
    return std::string_view(paths_).substr(start, fileEnds_[index] - start);
}

std::string TextSearchSources::absolutePath(std::size_t index) const
{
    const std::string_view relative = relativePath(index);
    std::string path;
    path.reserve(folder_.size() + 1 + relative.size());
    path.append(folder_);
    if (!path.ends_with('/'))
        path += '/';
    return path.append(relative);
}

std::vector<std::string> TextSearchSources::folders() const
{
    std::set<std::string_view> below;
    for (std::size_t index = 0; index < fileEnds_.size(); ++index) {
        std::string_view path = relativePath(index);
        do {
            path = path.substr(0, path.find_last_of('/') == std::string_view::npos ? 0 : path.find_last_of('/'));
        } while (!path.empty() && below.insert(path).second);
    }
    std::vector<std::string> folders{folder_};
    for (const std::string_view relative : below)
        folders.push_back(folder_ + (folder_.ends_with('/') ? "" : "/") + std::string(relative));
    return folders;
}

TextSearchSource TextSearchSources::source(std::size_t index) const
{
    TextSearchSource source;
    if (areFiles()) {
        source.kind = TextSearchSource::Kind::file;
        source.title = relativePath(index);
        source.path = absolutePath(index);
        return source;
    }
    const Stored& handle = stored_[index];
    source.kind = handle.isHistorical ? TextSearchSource::Kind::historical : TextSearchSource::Kind::document;
    source.document = handle.document;
    if (handle.revision != Uuid())
        source.revision = handle.revision;
    source.title = title(handle);
    source.path = path(handle);
    return source;
}

std::size_t TextSearchSources::bytes() const
{
    std::size_t bytes = stored_.capacity() * sizeof(Stored) + labels_.capacity() * sizeof(Label) + folder_.capacity() +
                        paths_.capacity() + fileEnds_.capacity() * sizeof(std::uint64_t);
    for (const Label& label : labels_)
        bytes += label.title.capacity() + label.path.capacity();
    return bytes;
}

}  // namespace penmark
