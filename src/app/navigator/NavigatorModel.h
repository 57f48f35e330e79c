// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/DocumentCatalog.h"
#include "app/navigator/NavigatorSection.h"
#include "base/Uuid.h"

#include <QAbstractItemModel>
#include <QList>
#include <memory>
#include <optional>
#include <vector>

namespace penmark {

class OpenHereSection;

/// The sections of the navigator as a tree of two levels. An index holds its section and its row and nothing of what is
/// in the row, so rows may come and go by the thousand. Main thread.
class NavigatorModel final : public QAbstractItemModel {
    Q_OBJECT

public:
    /// Lists documents: open here, drafts, recent, discarded. The headers outlive the model.
    explicit NavigatorModel(DocumentHeaders& headers, QObject* parent = nullptr);

    DocumentCatalog& documents() { return catalog_; }
    const DocumentCatalog& documents() const { return catalog_; }

    void setOpenHere(std::vector<Uuid> documents);
    /// The document in front; marked wherever it is listed.
    void setCurrent(const std::optional<Uuid>& document);
    bool isCurrent(const NavigatorRow& row) const { return row.document && row.document == current_; }

    /// Adds a section before the discarded documents, or behind all if they are not there yet, and owns it.
    void addSection(NavigatorSection* section);
    int sectionCount() const { return static_cast<int>(sections_.size()); }
    const NavigatorSection& section(int number) const { return *sections_[static_cast<std::size_t>(number)]; }

    static bool isSection(const QModelIndex& index) { return index.isValid() && index.internalPointer() == nullptr; }
    /// The one that the index is, or is in; null for no index.
    NavigatorSection* sectionOf(const QModelIndex& index) const;
    /// -1 if there is none.
    int numberOf(const NavigatorSection* section) const;
    /// Absent for a section and for no index.
    std::optional<NavigatorRow> row(const QModelIndex& index) const;
    std::optional<Uuid> document(const QModelIndex& index) const;
    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex&) const override { return 1; }
    bool hasChildren(const QModelIndex& parent) const override { return rowCount(parent) > 0; }
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool canDrop(const QMimeData& data, const QModelIndex& index) const;
    void drop(const QMimeData& data, const QModelIndex& index);
    Qt::DropActions supportedDragActions() const override { return Qt::CopyAction; }

signals:
    /// A title was typed in place; empty for the automatic one.
    void renamed(const Uuid& document, const QString& title);
    void renameAsked(const QModelIndex& index);
    void failed(const QString& sentence);
    void undoOffered(const QString& message, const std::function<void()>& undo);

private:
    QModelIndex sectionIndex(int number) const { return createIndex(number, 0, nullptr); }
    void connectSection(NavigatorSection* section);
    QString spokenText(const NavigatorRow& row) const;
    QString toolTip(const NavigatorRow& row) const;

    DocumentCatalog catalog_;
    std::vector<NavigatorSection*> sections_;
    OpenHereSection* openHere_ = nullptr;
    std::optional<Uuid> current_;
};

}  // namespace penmark

Q_DECLARE_METATYPE(penmark::Uuid)
