// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/PenmarkSession.h"

#include <QAbstractListModel>
#include <optional>
#include <vector>

namespace penmark {

class DocumentPreviews;
class DocumentRegistry;

/// The windows of a session, each with its tabs behind it and how their texts begin. Main thread.
class SessionContentsModel final : public QAbstractListModel {
    Q_OBJECT

public:
    struct Row {
        Uuid window;
        std::optional<Uuid> document;  ///< absent for the window itself
        int number = 0;                ///< of the window, from 1
        bool putAside = false;         ///< closed, or put aside with a workspace

        friend bool operator==(const Row&, const Row&) = default;
    };

    /// Both outlive the model.
    SessionContentsModel(DocumentRegistry& documents, DocumentPreviews& previews);

    void show(const PenmarkSession* session);  ///< null for nothing
    const Row* row(const QModelIndex& index) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    void tellChanged();
    QString textBehindTitle(const Uuid& document) const;

    DocumentRegistry& documents_;
    DocumentPreviews& previews_;
    std::optional<Uuid> returnNote_;
    std::vector<Row> rows_;
};

}  // namespace penmark
