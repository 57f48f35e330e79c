// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QKeyCombination>
#include <QKeySequence>
#include <span>

namespace penmark {

class EditorView;

/// What a view can be told to do. Menus, shortcuts and palettes are made from this table; the ids are stored in users'
/// settings and never change their meaning.
struct EditorCommand {
    const char* id;         ///< such as "edit.line.moveUp"
    const char* name;       ///< for people, in the source language
    const char* shortcuts;  ///< portable text of the default keys, separated by "; "
    bool edits;             ///< has no effect on a text that cannot be edited
    void (*run)(EditorView& view);
};

std::span<const EditorCommand> editorCommands();
/// Null if there is none.
const EditorCommand* editorCommand(QKeyCombination key);
const EditorCommand* editorCommand(const char* id);

}  // namespace penmark
