// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/DocumentRegistry.h"
#include "organization/DocumentDiff.h"

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

namespace penmark {

/// A text that takes part in a comparison.
struct ComparedSide {
    enum class Kind {
        current,  ///< the document's text as it is now, stored or not
        stored,   ///< the one with `contentHash`
        nothing   ///< no text, which the first version is compared with
    };

    Kind kind = Kind::current;
    std::string contentHash;

    friend bool operator==(const ComparedSide&, const ComparedSide&) = default;
};

/// Compares two texts of a document, without keeping anybody waiting, and again when the current text is edited. Only
/// the newest question is answered.
///
/// Keeps the document in memory while it exists. Main thread; the library is read by its queue, and texts are compared
/// on a thread of the pool.
class VersionComparison final : public QObject {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds editDelay{300};  ///< behind the last edit

    VersionComparison(DocumentRegistry& documents, const Uuid& document, QObject* parent = nullptr);
    ~VersionComparison() override;

    void compare(const ComparedSide& earlier, const ComparedSide& later);
    /// Answers no question that was asked before.
    void stop();

    /// Null until the document is in memory.
    RecoveryBuffer* buffer() const { return buffer_; }
    /// A stored text that the last comparison has read; null if it has not.
    std::shared_ptr<const std::string> text(const std::string& contentHash) const;

signals:
    void documentLoaded();
    void documentChanged();  ///< anything about it, or an edit
    /// `isUpdate`: of the same two sides, whose current text has been edited.
    void compared(const std::shared_ptr<const DocumentDiff>& diff, bool isUpdate);
    void failed(const QString& sentence);  ///< instead, if a text cannot be read

private:
    struct StoredText {
        std::string contentHash;
        std::shared_ptr<const std::string> text;
    };

    void takeDocument(RecoveryBuffer& buffer);
    /// True if the side's text is at hand; otherwise it is asked for, or a failure is told.
    bool prepare(const ComparedSide& side);
    void go();

    DocumentRegistry& documents_;  // outlives this object
    Uuid document_;
    QPointer<RecoveryBuffer> buffer_;
    ComparedSide earlier_;
    ComparedSide later_;
    std::vector<StoredText> texts_;
    std::uint64_t request_ = 0;  // whose answers are taken
    bool asked_ = false;
    bool answered_ = false;
    std::stop_source running_;
    QTimer editTimer_;
};

}  // namespace penmark
