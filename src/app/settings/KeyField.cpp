// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/settings/KeyField.h"

#include "app/commands/CommandRegistry.h"

#include <QKeyEvent>

namespace penmark {

KeyField::KeyField(QWidget* parent) : QLineEdit(parent)
{
    setReadOnly(true);
    setPlaceholderText(tr("Press a key"));
    setAccessibleName(tr("New key"));
    setAccessibleDescription(tr("The next key you press is taken. Tab leaves, Escape empties."));
}

void KeyField::forget()
{
    key_ = QKeyCombination(Qt::Key_unknown);
    clear();
    emit keyChanged();
}

bool KeyField::event(QEvent* event)
{
    if (event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    if (event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        const bool leaves = (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) &&
                            !(key->modifiers() & (Qt::ControlModifier | Qt::AltModifier));
        if (!leaves) {
            take(*key);
            event->accept();
            return true;
        }
    }
    return QLineEdit::event(event);
}

void KeyField::take(const QKeyEvent& event)
{
    if (event.key() == Qt::Key_Escape && event.modifiers() == Qt::NoModifier) {
        forget();
        return;
    }
    const QKeyCombination key = combinationsOf(event).front();
    if (!CommandRegistry::usable(key))
        return;
    key_ = key;
    setText(QKeySequence(key).toString(QKeySequence::NativeText));
    emit keyChanged();
}

}  // namespace penmark
