// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <optional>
#include <vector>

namespace penmark {

class RecoveryBuffer;

/// What a bar offers to do about its message.
enum class MessageAction { retry, saveCopy, saveAs, compare, reload, locate, turnOnAnyway };

QString actionName(MessageAction action);

/// What the bar above a document says.
struct DocumentMessage {
    enum class Weight { note, warning, failure };

    QString sentence;
    Weight weight = Weight::note;
    std::vector<MessageAction> actions;  ///< the most useful first

    friend bool operator==(const DocumentMessage&, const DocumentMessage&) = default;
};

/// The most important thing to say about the document now; absent if all is well.
std::optional<DocumentMessage> messageFor(const RecoveryBuffer& buffer);

}  // namespace penmark
