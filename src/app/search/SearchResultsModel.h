// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/search/SearchController.h"

#include <QAbstractItemModel>
#include <optional>

namespace penmark {

/// The report of a search as a tree: sources, and below each its hits. Holds no row: everything is read from the report
/// when it is shown, and rows come in the batches that the report comes in. Main thread.
class SearchResultsModel final : public QAbstractItemModel {
    Q_OBJECT

public:
    /// The controller outlives the model.
    explicit SearchResultsModel(const SearchController& controller, QObject* parent = nullptr);

    /// Null for a row that is no group.
    const TextSearchGroup* group(const QModelIndex& index) const;
    /// Null for a row that is no hit.
    const TextSearchHit* hit(const QModelIndex& index) const;
    /// In the report; absent for a group.
    std::optional<std::size_t> hitNumber(const QModelIndex& index) const;
    QModelIndex indexOf(std::size_t hit) const;
    /// The highest number of a line that a hit is in.
    std::size_t lastLine() const { return lastLine_; }
    /// "notes.md:12:the line", as other programs read it; of a version "notes.md (2026-03-12 14:02:11):12:the line".
    static QString lineOf(const TextSearchSource& source, const TextSearchHit& hit);
    /// All hits like that, a line each.
    QString allLines() const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    void clear();
    void add(std::size_t firstHit, std::size_t firstGroup);
    QString accessibleText(const QModelIndex& index) const;

    const SearchController& controller_;
    std::size_t groups_ = 0;  // of the report, as far as views know of them
    std::size_t lastLine_ = 0;
};

}  // namespace penmark
