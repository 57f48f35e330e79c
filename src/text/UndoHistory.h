// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/Caret.h"
#include "text/TextEdit.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace penmark {

/// What kind of edit it was, which decides what one step of undoing takes back.
enum class EditKind {
    typing,    ///< joins the typing before it: to the end of the word, while no pause is made
    deleting,  ///< joins the deleting before it, while no pause is made
    command,   ///< stands alone
};

/// One step of undoing: an edit with the carets before and after.
struct UndoStep {
    TextEdit inverse;  ///< from the text after to the text before
    CaretSet before;
    CaretSet after;
    EditKind kind = EditKind::command;
    bool startsWithBlank = false;  ///< of what was typed
    bool endsWithBlank = false;
    std::chrono::milliseconds time{};  ///< of its last edit, on any steady clock
};

/// The steps of a text's past as a tree: what was undone stays when something else is done, as a branch that can be
/// taken again. Each step keeps only the edit that leads out of the state in which it is. Above the budget the oldest
/// branches go first, then the oldest steps; the newest step always stays.
///
/// Threads: one.
class UndoHistory {
public:
    static constexpr std::size_t defaultBudget = 64 << 20;  ///< bytes
    static constexpr std::chrono::milliseconds pause{300};

    explicit UndoHistory(std::size_t budget = defaultBudget);
    ~UndoHistory();

    /// What was just done. It joins the step before it if both are typing, or deleting, without a pause, a moved caret
    /// or a new word between them.
    void record(UndoStep step);
    /// The next record stands alone.
    void seal() { sealed_ = true; }

    bool canUndo() const;
    bool canRedo() const;
    /// How many ways lead on from here; more than one after undoing and doing something else.
    std::size_t branches() const;
    /// Whether there is more than one way on from here or from any state before.
    bool hasFork() const;

    /// An edit to make now, with the carets behind it.
    struct Move {
        TextEdit edit;
        CaretSet carets;
    };
    /// Steps back or on; `text` is the text as it is now. Absent if there is no step.
    std::optional<Move> undo(const TextSnapshot& text);
    std::optional<Move> redo(const TextSnapshot& text);
    /// Redo takes the next of the branches that lead on from here.
    void preferNextBranch();

    /// Bytes that the steps keep, as they count against the budget.
    std::size_t bytes() const { return bytes_; }
    void clear();

private:
    struct Node;

    void trim();
    void drop(Node& node);

    std::unique_ptr<Node> root_;  // the oldest state; its edit is none
    Node* current_;
    std::size_t budget_;
    std::size_t bytes_ = 0;
    bool sealed_ = true;
};

}  // namespace penmark
