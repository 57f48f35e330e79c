// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/Caret.h"
#include "text/TextEdit.h"
#include "text/TextSnapshot.h"
#include "text/UndoHistory.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace penmark {

/// What happened to a buffer. Lives as long as the call that brings it.
struct TextChange {
    enum class Cause { edit, undo, redo, load };

    const TextEdit& edit;  ///< what leads from `before` to `after`; for a load, everything gives way
    const TextSnapshot& before;
    const TextSnapshot& after;
    std::uint64_t generation;  ///< of `after`
    Cause cause;
};

/// Hears of each change of a buffer, at once and in order. Must not edit the buffer while it is told.
class TextObserver {
public:
    virtual void textChanged(const TextChange& change) = 0;

protected:
    ~TextObserver() = default;
};

/// A text that is edited, with its past. It knows nothing of views: each of them observes it and moves its own carets,
/// folds and marks along the edits that it hears of.
///
/// Threads: one; snapshots of it can be read from any.
class TextBuffer {
public:
    using Clock = std::function<std::chrono::milliseconds()>;  ///< any steady clock

    explicit TextBuffer(TextSnapshot text = {}, std::size_t undoBudget = UndoHistory::defaultBudget, Clock clock = {});
    ~TextBuffer();
    TextBuffer(const TextBuffer&) = delete;
    TextBuffer& operator=(const TextBuffer&) = delete;

    const TextSnapshot& text() const { return text_; }
    /// Grows by one with each change; a result that was computed for an older one is stale.
    std::uint64_t generation() const { return generation_; }

    /// Another text, which is no edit: the past is forgotten.
    void load(TextSnapshot text);

    /// Edits; the carets are those of the view that asks, and come back with undo and redo.
    void apply(const TextEdit& edit, const CaretSet& before, const CaretSet& after, EditKind kind = EditKind::command);

    /// Edits until the scope ends are one step of undoing. Scopes nest; one that is left without commit(), by an
    /// exception say, takes its own edits back.
    class Transaction {
    public:
        explicit Transaction(TextBuffer& buffer);
        ~Transaction();
        Transaction(const Transaction&) = delete;
        Transaction& operator=(const Transaction&) = delete;
        void commit();

    private:
        TextBuffer& buffer_;
        bool open_ = true;
    };

    /// One step back or on; returns the carets then, or nothing if there is no step. Not within a transaction.
    std::optional<CaretSet> undo();
    std::optional<CaretSet> redo();
    /// Takes the branch of the past that was left: back to the nearest fork, and on along its other way to the end.
    std::optional<CaretSet> redoOtherBranch();
    bool canUndo() const { return history_.canUndo(); }
    bool canRedo() const { return history_.canRedo(); }
    /// The next edit begins a step of its own; for moves of the caret.
    void endUndoGroup() { history_.seal(); }
    std::size_t undoBytes() const { return history_.bytes(); }

    void addObserver(TextObserver& observer) { observers_.push_back(&observer); }
    void removeObserver(TextObserver& observer) { std::erase(observers_, &observer); }

private:
    struct Level {  // of nested transactions
        TextEdit inverse;
        std::optional<CaretSet> before;
        CaretSet after;
        EditKind kind = EditKind::command;
    };

    TextSnapshot edited(const TextEdit& edit);
    void change(const TextEdit& edit, TextChange::Cause cause);
    void commitLevel();
    void rollBackLevel();

    TextSnapshot text_;
    std::size_t largest_;  // bytes of the text since it was last copied or loaded
    std::uint64_t generation_ = 0;
    UndoHistory history_;
    Clock clock_;
    std::vector<Level> levels_;
    std::vector<TextObserver*> observers_;
    bool telling_ = false;
};

}  // namespace penmark
