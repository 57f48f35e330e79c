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

/// The sections of the navigator as a tree of two levels. An index holds its section and its row and nothing of the
/// document, so rows may come and go by the thousand. Main thread.
class NavigatorModel final : public QAbstractItemModel {
    Q_OBJECT

public:
    /// Of dragged rows: one identifier a line.
    static const char* const mimeType;

    /// Lists documents: open here, drafts, recent, discarded. The headers outlive the model.
    explicit NavigatorModel(DocumentHeaders& headers, QObject* parent = nullptr);

    DocumentCatalog& documents() { return catalog_; }
    const DocumentCatalog& documents() const { return catalog_; }

    void setOpenHere(std::vector<Uuid> documents);
    /// The document in front; marked wherever it is listed.
    void setCurrent(const std::optional<Uuid>& document);
    bool isCurrent(const NavigatorRow& row) const { return row.document && row.document == current_; }

    /// Adds a section behind the others, and owns it.
    void addSection(NavigatorSection* section);
    int sectionCount() const { return static_cast<int>(sections_.size()); }
    const NavigatorSection& section(int number) const { return *sections_[static_cast<std::size_t>(number)]; }

    static bool isSection(const QModelIndex& index) { return index.isValid() && index.internalId() == 0; }
    /// Absent for a section and for no index.
    std::optional<NavigatorRow> row(const QModelIndex& index) const;
    std::optional<Uuid> document(const QModelIndex& index) const;
    /// Identifiers of documents, each once.
    static QList<Uuid> read(const QMimeData& data);

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
    Qt::DropActions supportedDragActions() const override { return Qt::CopyAction; }

signals:
    /// A title was typed in place; empty for the automatic one.
    void renamed(const Uuid& document, const QString& title);

private:
    QModelIndex sectionIndex(int number) const { return createIndex(number, 0, quintptr(0)); }
    QString spokenText(const NavigatorRow& row) const;
    QString toolTip(const NavigatorRow& row) const;

    DocumentCatalog catalog_;
    std::vector<NavigatorSection*> sections_;
    OpenHereSection* openHere_ = nullptr;
    std::optional<Uuid> current_;
};

}  // namespace penmark

Q_DECLARE_METATYPE(penmark::Uuid)
