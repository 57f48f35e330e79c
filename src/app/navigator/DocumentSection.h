// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/DocumentCatalog.h"
#include "app/navigator/NavigatorSection.h"

#include <vector>

namespace penmark {

/// A folder as it is shown: one in the user's home begins with "~".
QString shownPath(const QString& path);

/// A row for a document. A folder in the user's home begins with "~".
NavigatorRow navigatorRow(const DocumentHeader& header);

/// The documents of one kind that match the filter, in the catalog's order. Follows single changes without looking at
/// the others: the cost is that of finding a place in a sorted list.
class DocumentSection final : public NavigatorSection {
    Q_OBJECT

public:
    enum class Kind { drafts, recent, discarded };

    /// The catalog outlives the section.
    DocumentSection(Kind kind, DocumentCatalog& catalog, QObject* parent = nullptr);

    QString word() const override;
    QString heading() const override;
    int rowCount() const override { return hasMessage_ ? 1 : count(); }
    NavigatorRow row(int row) const override;
    int rowOf(const Uuid& document) const override;
    int count() const override { return static_cast<int>(rows_.size()); }
    void drag(int row, DraggedRows& dragged) const override;

private:
    using Place = DocumentCatalog::Place;

    bool accepts(Place place) const;
    int find(Place place) const;
    void rebuild();
    void rememberRow(std::uint32_t place) { oldRow_ = find(place); }
    void follow(std::uint32_t place);
    void setMessage(bool has);
    bool wantsMessage() const;

    const Kind kind_;
    DocumentCatalog& catalog_;
    std::vector<Place> rows_;
    int oldRow_ = -1;          // between the two signals of a change
    bool hasMessage_ = false;  // in place of rows
};

/// The documents that are open in the window, in the order of its tabs, and behind them others of the same session, as
/// far as they match the filter.
class OpenHereSection final : public NavigatorSection {
    Q_OBJECT

public:
    /// The catalog outlives the section.
    explicit OpenHereSection(DocumentCatalog& catalog, QObject* parent = nullptr);

    void setDocuments(std::vector<Uuid> documents);

    QString word() const override { return QStringLiteral("openHere"); }
    QString heading() const override { return tr("Open in This Session"); }
    int rowCount() const override { return static_cast<int>(rows_.size()); }
    NavigatorRow row(int row) const override;
    int rowOf(const Uuid& document) const override;
    void drag(int row, DraggedRows& dragged) const override;

private:
    void rebuild();
    void follow(std::uint32_t place);

    DocumentCatalog& catalog_;
    std::vector<Uuid> documents_;
    std::vector<Uuid> rows_;  // those with a header that match
};

}  // namespace penmark
