// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/EditorKeys.h"

#include "app/editor/EditorCommands.h"

namespace penmark {

namespace {

class DefaultKeys final : public EditorKeys {
public:
    const EditorCommand* commandFor(QKeyCombination key) const override { return editorCommand(key); }
    bool isTaken(QKeyCombination) const override { return false; }
};

}  // namespace

const EditorKeys& defaultEditorKeys()
{
    static const DefaultKeys keys;
    return keys;
}

QVarLengthArray<QKeyCombination, 2> combinationsOf(const QKeyEvent& event)
{
    const QKeyCombination key(event.modifiers() & ~Qt::KeypadModifier, static_cast<Qt::Key>(event.key()));
    QVarLengthArray<QKeyCombination, 2> combinations{key};
    const bool isSign = event.key() > Qt::Key_Space && event.key() < Qt::Key_Escape &&
                        !QChar::isLetterOrNumber(static_cast<char32_t>(event.key()));
    if (isSign && event.modifiers().testFlag(Qt::ShiftModifier))
        combinations.append(QKeyCombination(key.keyboardModifiers() & ~Qt::ShiftModifier, key.key()));
    return combinations;
}

bool isTyping(const QKeyEvent& event)
{
    // Joiners, direction marks and signs beyond 16 bits are typed like letters; controls are not.
    const QString text = event.text();
    return event.key() < Qt::Key_Escape && !text.isEmpty() && text.at(0).category() != QChar::Other_Control &&
           !(event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier));
}

}  // namespace penmark
