// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/sessions/SessionFilter.h"
#include "organization/SessionLibrary.h"

#include <QAbstractItemModel>
#include <optional>
#include <unordered_map>
#include <vector>

namespace penmark {

class DocumentPreviews;
class DocumentRegistry;
class SessionRecords;

/// The sessions of a library as a tree: nested ones below their parent. Holds identities; titles are made when a row is
/// shown. A filter leaves those whose name, documents' titles or beginnings of texts have all its words, and whatever
/// encloses them. Main thread.
class SessionTreeModel final : public QAbstractItemModel {
    Q_OBJECT

public:
    /// Of a dragged session: its identifier.
    static const char* const mimeType;

    enum class Order {
        recent,  ///< the one used last first, a parent with the best of its nested ones; then the newest
        name,
        created,  ///< the newest first
    };

    /// All outlive the model.
    SessionTreeModel(SessionRecords& records, DocumentRegistry& documents, DocumentPreviews& previews);

    /// Order and filter count from the next refresh on.
    void setOrder(Order order);
    Order order() const { return order_; }
    void setFilter(const QString& typed);
    bool isFiltered() const { return !filter_.isEmpty(); }

    /// Takes over what the records hold now. Where the same sessions stand in the same places, rows only change.
    void refresh();

    /// Absent for no index.
    std::optional<Uuid> session(const QModelIndex& index) const;
    /// None for a session that is not shown.
    QModelIndex indexOf(const Uuid& session) const;
    std::size_t shownCount() const { return nodes_.size(); }

    /// Whether the session can go there, and is not there already: a drop or a menu offers nothing else.
    bool canMove(const Uuid& session, const std::optional<Uuid>& parent) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex&) const override { return 1; }
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDropActions() const override { return Qt::MoveAction; }
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    /// Asks for the move; the rows follow when it is done.
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

signals:
    void renamed(const Uuid& session, const QString& name);  ///< typed in place; empty for none
    void moveAsked(const Uuid& session, const std::optional<Uuid>& parent);

private:
    static constexpr std::size_t top = static_cast<std::size_t>(-1);
    struct Node {
        Uuid id;
        std::size_t parent = top;
        int row = 0;
        std::vector<std::size_t> children;

        friend bool operator==(const Node&, const Node&) = default;
    };
    struct Tree;

    const Node& node(const QModelIndex& index) const { return nodes_[index.internalId()]; }
    const std::vector<std::size_t>& childrenOf(const QModelIndex& parent) const;
    Tree arrange() const;
    void sortSiblings(Tree& tree) const;
    void keepMatches(Tree& tree);
    void tellChanged(const QModelIndex& parent);
    QString spokenText(const PenmarkSession& session) const;

    SessionRecords& records_;
    DocumentRegistry& documents_;
    Order order_ = Order::recent;
    SessionFilter filter_;
    std::vector<Node> nodes_;
    std::vector<std::size_t> topNodes_;
    std::unordered_map<Uuid, std::size_t> places_;
};

}  // namespace penmark
