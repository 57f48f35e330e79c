// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/DocumentMessage.h"

#include "app/documents/RecoveryBuffer.h"
#include "app/editor/Strings.h"
#include "app/windows/StatusTexts.h"

#include <QCoreApplication>

namespace penmark {

namespace {

struct Messages {
    Q_DECLARE_TR_FUNCTIONS(penmark::DocumentMessage)
};

}  // namespace

QString actionName(MessageAction action)
{
    switch (action) {
    case MessageAction::retry:
        return Messages::tr("Retry");
    case MessageAction::saveCopy:
        return Messages::tr("Save a Copy…");
    case MessageAction::saveAs:
        return Messages::tr("Save As…");
    case MessageAction::compare:
        return Messages::tr("Compare");
    case MessageAction::reload:
        return Messages::tr("Reload");
    case MessageAction::locate:
        return Messages::tr("Locate…");
    case MessageAction::turnOnAnyway:
        return Messages::tr("Turn On Anyway");
    }
    return {};
}

std::optional<DocumentMessage> messageFor(const RecoveryBuffer& buffer)
{
    using Weight = DocumentMessage::Weight;
    using Action = MessageAction;
    if (!buffer.damage().empty())
        return DocumentMessage{toQString(buffer.damage()), Weight::failure,
                               buffer.isDraft() ? std::vector<Action>() : std::vector{Action::reload}};
    if (!buffer.error().empty())
        return DocumentMessage{storeFailureText(buffer.error()), Weight::failure,
                               buffer.isReadOnlyLibrary() ? std::vector{Action::saveCopy}
                                                          : std::vector{Action::retry, Action::saveCopy}};
    const auto availability = buffer.originalAvailability();
    const bool changed = availability == OriginalFileAvailability::changed;
    if (changed)
        return DocumentMessage{buffer.notice().empty() ? toQString(originalStatus::changed)
                                                       : toQString(buffer.notice()),
                               Weight::warning,
                               {Action::compare, Action::reload, Action::saveCopy}};
    if (availability == OriginalFileAvailability::unavailable)
        return DocumentMessage{
            toQString(originalStatus::unavailable), Weight::warning, {Action::locate, Action::saveAs}};
    if (!buffer.notice().empty())
        return DocumentMessage{toQString(buffer.notice()), Weight::warning, {Action::saveCopy}};
    const EditorDocument& content = buffer.content();
    if (content.isLarge() && content.language() != EditorLanguage::plainText && !content.highlights())
        return DocumentMessage{
            Messages::tr("Colours are off in a text of this size."), Weight::note, {Action::turnOnAnyway}};
    return std::nullopt;
}

}  // namespace penmark
