// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/DocumentRegistry.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <unordered_map>
#include <vector>

namespace penmark {

/// How documents begin, for lists. Read in the background when it is first asked for, many at a time, and kept until
/// `forget`. Of a document in memory it is the text as it is now. Main thread.
class DocumentPreviews final : public QObject {
    Q_OBJECT

public:
    static constexpr std::size_t length = 200;  ///< characters, line ends among them become spaces

    /// Both outlive this object.
    DocumentPreviews(DocumentRegistry& documents, LibraryQueue& library);

    /// Empty as long as it has not been read; then `changed` is emitted. Of what cannot be read it stays empty.
    QString beginning(const Uuid& document);
    void forget();

signals:
    void changed(const std::vector<Uuid>& documents);  ///< they have been read, whatever came of it
    void forgotten();

private:
    void readWanted();

    DocumentRegistry& documents_;
    LibraryQueue& library_;
    std::unordered_map<Uuid, QString> texts_;
    std::vector<Uuid> wanted_;
    bool reading_ = false;
    int generation_ = 0;
    QTimer timer_;
};

}  // namespace penmark
