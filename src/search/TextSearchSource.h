// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"
#include "base/FunctionRef.h"
#include "base/Uuid.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace penmark {

/// One searchable text, as results refer to it.
struct TextSearchSource {
    enum class Kind {
        document,    ///< the current text of a document, unsaved edits included
        historical,  ///< a stored revision; read-only
        file,        ///< of a project folder; the text of the open document that is bound to it, if there is one
    };

    Kind kind = Kind::document;
    std::optional<Uuid> document;  ///< of a file the open document that is bound to it
    std::optional<Uuid> revision;  ///< of a historical one, and of a stored document its head
    std::string title;             ///< of the document as shown, or the path of the file within its project
    std::string path;              ///< absolute; of the file, or of the one that the document is bound to
    bool isUnsaved = false;        ///< the text searched is that of an open document
    std::optional<Date> storedAt;  ///< of a historical one; absent if its record cannot be read

    friend bool operator==(const TextSearchSource&, const TextSearchSource&) = default;
};

constexpr auto storedWords(TextSearchSource::Kind)
{
    using E = TextSearchSource::Kind;
    using Word = std::pair<E, std::string_view>;
    return std::array{Word{E::document, "document"}, Word{E::historical, "historical"}, Word{E::file, "file"}};
}

/// The sources of a run in their order, as handles: some 40 bytes for each stored text, and for each file 8 beside its
/// path. Texts are loaded when their turn comes. A value; read by any number of threads.
class TextSearchSources {
public:
    /// A document or one of its revisions.
    struct Stored {
        Uuid document;
        Uuid revision;            ///< nil for a document that the library does not hold
        std::uint32_t label = 0;  ///< of the document, as addLabel() gave it
        bool isHistorical = false;
    };

    /// The title and path of documents, once for all their revisions.
    std::uint32_t addLabel(std::string title, std::string path);
    void add(const Stored& stored) { stored_.push_back(stored); }
    void reserve(std::size_t count) { stored_.reserve(count); }

    /// The files below an absolute folder. A list holds either files or stored texts.
    void setFolder(std::string folder) { folder_ = std::move(folder); }
    void addFile(std::string_view relativePath);

    bool areFiles() const { return !folder_.empty(); }
    std::size_t size() const { return areFiles() ? fileEnds_.size() : stored_.size(); }
    bool empty() const { return size() == 0; }

    const Stored& stored(std::size_t index) const { return stored_[index]; }
    const std::string& title(const Stored& stored) const { return labels_[stored.label].title; }
    const std::string& path(const Stored& stored) const { return labels_[stored.label].path; }
    const std::string& folder() const { return folder_; }
    std::string_view relativePath(std::size_t index) const;
    std::string absolutePath(std::size_t index) const;

    /// The folder, and those below it that lead to its files, each once. Some 30 ms for 100,000 files.
    std::vector<std::string> folders() const;

    /// As results refer to it.
    TextSearchSource source(std::size_t index) const;

    /// Bytes of memory.
    std::size_t bytes() const;

private:
    struct Label {
        std::string title;
        std::string path;
    };
    std::vector<Stored> stored_;
    std::vector<Label> labels_;
    std::string folder_;
    std::string paths_;  // relative ones, one behind the other
    std::vector<std::uint64_t> fileEnds_;
};

}  // namespace penmark
