// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QKeyCombination>
#include <QKeyEvent>
#include <QVarLengthArray>

namespace penmark {

struct EditorCommand;

/// Which keys mean what to a view. Asked at each key press, so an answer takes no time to speak of.
class EditorKeys {
public:
    virtual ~EditorKeys() = default;

    /// The command of the view that the key has; null if it has none.
    virtual const EditorCommand* commandFor(QKeyCombination key) const = 0;
    /// Whether the key belongs to something around the view, which then leaves it alone.
    virtual bool isTaken(QKeyCombination key) const = 0;
};

/// The keys of the table in EditorCommands.h.
const EditorKeys& defaultEditorKeys();

/// The combinations that a key press may stand for, in the order in which they are looked up. The keypad's keys are the
/// same keys. Signs that take Shift on some keyboards bring it along (Ctrl+Shift+[ arrives as Ctrl+Shift+{), so they
/// are looked up without it as well.
QVarLengthArray<QKeyCombination, 2> combinationsOf(const QKeyEvent& event);

/// Whether the key press types a character: such a key is never a command's.
bool isTyping(const QKeyEvent& event);

}  // namespace penmark
