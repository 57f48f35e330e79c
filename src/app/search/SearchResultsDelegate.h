// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/search/SearchResultsModel.h"

#include <QFont>
#include <QStyledItemDelegate>

namespace penmark {

struct ColorScheme;
struct RowColors;

/// Draws the rows of a SearchResultsModel, all of one height: of a source its title, place and number of hits, of a hit
/// its line with the match marked.
class SearchResultsDelegate final : public QStyledItemDelegate {
public:
    explicit SearchResultsDelegate(const SearchResultsModel& model, QObject* parent = nullptr);

    /// Of the lines of hits.
    void setTextFont(const QFont& font) { textFont_ = font; }
    /// The colours outlive the delegate.
    void setColors(const ColorScheme& colors) { colors_ = &colors; }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    void paintGroup(QPainter& painter, const QStyleOptionViewItem& option, const TextSearchGroup& group,
                    const RowColors& colors) const;
    void paintHit(QPainter& painter, const QStyleOptionViewItem& option, const TextSearchHit& hit,
                  const RowColors& colors) const;
    void paintLine(QPainter& painter, const QRect& room, const TextSearchHit& hit, const RowColors& colors) const;

    const SearchResultsModel& model_;  // outlives this object
    QFont textFont_;
    const ColorScheme* colors_;
};

}  // namespace penmark
