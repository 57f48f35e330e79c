// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/commands/CommandRegistry.h"

#include <QCoreApplication>

namespace penmark {

const std::vector<KeyPreset>& CommandRegistry::presets()
{
    static const std::vector<KeyPreset> presets{
        {"normal", QT_TRANSLATE_NOOP("KeyPreset", "Standard"), {}},
        {"swapped",
         QT_TRANSLATE_NOOP("KeyPreset", "Ctrl+P Opens Documents, Ctrl+K Prints"),
         {{"file.quickOpen", "Ctrl+P"}, {"file.print", "Ctrl+K"}}},
    };
    return presets;
}

QString CommandRegistry::presetName(const KeyPreset& preset)
{
    return QCoreApplication::translate("KeyPreset", preset.name);
}

bool CommandRegistry::usable(QKeyCombination key)
{
    if (key.key() == 0)
        return false;
    switch (key.key()) {
    case Qt::Key_unknown:
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
    case Qt::Key_Mode_switch:
    case Qt::Key_Multi_key:
        return false;
    default:
        break;
    }
    if (key.key() >= Qt::Key_Dead_Grave && key.key() <= Qt::Key_Dead_Longsolidusoverlay)
        return false;
    const bool types = key.key() < Qt::Key_Escape;
    return !types || (key.keyboardModifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier));
}

bool CommandRegistry::reservedByDesktop(QKeyCombination key)
{
    const Qt::Key plain = key.key();
    const Qt::KeyboardModifiers modifiers = key.keyboardModifiers() & ~Qt::KeypadModifier;
    if (modifiers.testFlag(Qt::MetaModifier) || plain == Qt::Key_Print || plain == Qt::Key_SysReq)
        return true;
    const bool isArrow =
        plain == Qt::Key_Left || plain == Qt::Key_Right || plain == Qt::Key_Up || plain == Qt::Key_Down;
    // Workspaces, also with Shift to take the window along.
    if ((modifiers & ~Qt::ShiftModifier) == (Qt::ControlModifier | Qt::AltModifier) && isArrow)
        return true;
    if (modifiers == (Qt::ControlModifier | Qt::AltModifier))
        return plain == Qt::Key_T || plain == Qt::Key_L || plain == Qt::Key_Delete;
    if (modifiers == Qt::AltModifier && plain >= Qt::Key_F1 && plain <= Qt::Key_F10)
        return true;
    if ((modifiers & ~Qt::ShiftModifier) == Qt::AltModifier && (plain == Qt::Key_Tab || plain == Qt::Key_Backtab))
        return true;
    // Input methods, and the entry of characters by number or name.
    if (plain == Qt::Key_Space && (modifiers == Qt::ControlModifier || modifiers == Qt::ShiftModifier))
        return true;
    if (plain == Qt::Key_U && modifiers == (Qt::ControlModifier | Qt::ShiftModifier))
        return true;
    return (plain == Qt::Key_Period && modifiers == Qt::ControlModifier) ||
           (plain == Qt::Key_F10 && modifiers == Qt::NoModifier);
}

}  // namespace penmark
