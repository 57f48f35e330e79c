// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"
#include "base/Uuid.h"
#include "storage/RecoveryDocument.h"

#include <QObject>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace penmark {

/// What lists show of a document; all that is kept in memory of one that is not open.
struct DocumentHeader {
    Uuid id;
    std::string title;  ///< as shown
    std::string path;   ///< of the bound file; empty for a draft
    Date createdAt;
    Date updatedAt;
    bool deleted = false;          ///< discarded
    bool missingOriginal = false;  ///< the bound file was found missing
    bool fileDiffers = false;      ///< the bound file does not hold what the library does; known of loaded ones only

    static DocumentHeader of(const RecoveryDocument& document);
    static DocumentHeader of(RecoveryDocumentHeader&& document);
    friend bool operator==(const DocumentHeader&, const DocumentHeader&) = default;
};

/// Headers with an index by document. A value, so that a worker can make it.
class DocumentHeaderList {
public:
    const std::vector<DocumentHeader>& all() const { return headers_; }
    std::optional<std::size_t> indexOf(const Uuid& id) const;
    /// Adds a header or replaces the one of the same document; returns its place.
    std::size_t put(DocumentHeader header);
    void reserve(std::size_t count);

private:
    std::vector<DocumentHeader> headers_;
    std::unordered_map<Uuid, std::size_t> lookup_;
};

/// The headers of all documents. Filled behind the first frame: until `loaded` only those are there that have been
/// opened. A header keeps its place in all(), and new ones come behind it. Main thread.
class DocumentHeaders final : public QObject {
    Q_OBJECT

public:
    const std::vector<DocumentHeader>& all() const { return list_.all(); }
    bool isLoaded() const { return loaded_; }
    /// Null if there is none. Valid until the next change.
    const DocumentHeader* find(const Uuid& id) const;
    std::optional<std::size_t> indexOf(const Uuid& id) const { return list_.indexOf(id); }

    /// Adds a header or replaces the one of the same document.
    void put(DocumentHeader header);

    /// All that the library holds; headers that were put meanwhile are newer and stay.
    void adopt(DocumentHeaderList list);
    /// The same from a list without an index.
    void adopt(std::vector<DocumentHeader> headers);

signals:
    void loaded();                  ///< any number was added, without `added`
    void added(std::size_t index);  ///< behind all others
    void changed(std::size_t index);

private:
    DocumentHeaderList list_;
    bool loaded_ = false;
};

}  // namespace penmark
