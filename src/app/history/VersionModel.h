// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/DocumentHistory.h"

#include <QAbstractListModel>
#include <QDate>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace penmark {

/// A row in the list of versions.
struct VersionRow {
    enum class Kind { day, version, loadEarlier, note };

    Kind kind = Kind::note;
    QString title;                                        ///< of a version, its time of day
    std::shared_ptr<const DocumentHistoryEntry> version;  ///< null for other kinds
};

/// What is shown of a version beside its time.
struct VersionTexts {
    QString details;        ///< size, how it differs from the one before, where it was written
    QString checkpoints;    ///< names of those that hold it; empty if none does
    bool isPinned = false;  ///< one of them is kept beyond automatic cleanup
    QString badge;          ///< "Current text"; empty for all others
};

/// The versions of a document as far as they are loaded, the newest first, below the days they were written on, and
/// behind them a row that loads more. Changes reach the view row by row, so what is selected stays.
class VersionModel final : public QAbstractListModel {
    Q_OBJECT

public:
    explicit VersionModel(Clock clock, QObject* parent = nullptr);

    /// All that is known: the newest versions.
    void setVersions(DocumentHistoryPage page);
    /// Those behind the last one; known ones are passed over.
    void append(DocumentHistoryPage page);
    using Sizes = std::vector<std::pair<std::string, std::size_t>>;
    /// Bytes of texts, by content hash.
    void addSizes(const Sizes& sizes);
    /// The revision that is the document's newest text, and whether the text is still that.
    void setHead(const std::optional<Uuid>& head, bool isCurrent);
    /// The library whose versions are not those of another computer.
    void setOwnDevice(const Uuid& device);

    std::size_t versionCount() const { return versions_.size(); }
    const std::shared_ptr<const DocumentHistoryEntry>& versionAt(std::size_t place) const { return versions_[place]; }
    /// How many revisions the library was read for: those that are versions here and those that are damaged.
    std::size_t readCount() const { return versions_.size() + problems_.size(); }
    bool hasEarlier() const { return hasEarlier_; }
    bool isLoaded() const { return loaded_; }
    /// Content hashes of texts whose size is not known.
    std::vector<std::string> withoutSize() const;

    const VersionRow& row(const QModelIndex& index) const { return rows_[static_cast<std::size_t>(index.row())]; }
    /// Null for a row that is no version.
    std::shared_ptr<const DocumentHistoryEntry> version(const QModelIndex& index) const;
    /// Null if it is not loaded.
    std::shared_ptr<const DocumentHistoryEntry> find(const Uuid& revision) const;
    /// The next older one that is loaded.
    std::shared_ptr<const DocumentHistoryEntry> before(const Uuid& revision) const;
    QModelIndex indexOf(const Uuid& revision) const;
    bool isHead(const Uuid& revision) const { return head_ == revision; }
    /// Of two versions the one that is further down.
    bool isOlder(const Uuid& left, const Uuid& right) const;
    VersionTexts texts(const DocumentHistoryEntry& version) const;
    QString moment(const DocumentHistoryEntry& version) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    using Versions = std::vector<std::shared_ptr<const DocumentHistoryEntry>>;

    std::vector<VersionRow> rowsNow() const;
    void updateRows();
    void removeAllBut(const std::vector<QString>& keys);
    void touchRows();
    Versions::const_iterator placeOf(const Uuid& revision) const;
    QString details(const DocumentHistoryEntry& version) const;

    Clock clock_;
    Versions versions_;
    std::vector<std::string> problems_;
    std::vector<VersionRow> rows_;
    std::unordered_map<std::string, std::size_t> sizes_;  // by content hash
    std::optional<Uuid> head_;
    std::optional<Uuid> ownDevice_;
    bool headIsCurrent_ = true;
    bool hasEarlier_ = false;
    bool loaded_ = false;
};

/// "Before the rewrite", or what stands for the name of a checkpoint without one.
QString checkpointTitle(const CheckpointHeader& checkpoint);

}  // namespace penmark
