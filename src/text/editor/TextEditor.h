// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/CaretMotion.h"
#include "text/commands/EditCommand.h"
#include "text/editor/EditorDocument.h"
#include "text/highlight/FoldSet.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace penmark {

/// What one view of a text is beside its drawing: its carets, where they have been, and its folds. Commands go through
/// here, so that they can be tested without a display. Several of them can be open on one document; each follows what
/// the others edit.
///
/// Threads: the document's.
class TextEditor final : private TextObserver {
public:
    explicit TextEditor(EditorDocument& document);
    ~TextEditor();
    TextEditor(const TextEditor&) = delete;
    TextEditor& operator=(const TextEditor&) = delete;

    EditorDocument& document() const { return document_; }
    const TextSnapshot& text() const { return document_.text(); }
    const EditOptions& options() const { return document_.options(); }

    const CaretSet& carets() const { return carets_; }
    /// Ends the current step of undoing, unfolds what a caret went into, and remembers the carets for undoCarets().
    void setCarets(CaretSet carets);
    /// Back to the carets before the last change of them that was not an edit.
    bool undoCarets();

    /// Makes the edit and takes over its carets; nothing happens for an empty edit except that carets move.
    void perform(const EditResult& result, EditKind kind = EditKind::command);
    bool undo();
    bool redo();
    bool redoOtherBranch();

    /// Places the caret was at before it jumped, as a browser goes through pages.
    bool goBack();
    bool goForward();
    /// Remembers where the caret is before a jump.
    void rememberPlace();

    FoldSet& folds() { return folds_; }
    const FoldSet& folds() const { return folds_; }
    /// Folds the region that starts at or encloses the main caret, or the selected lines. Returns the sentence for the
    /// user if nothing could be folded.
    std::optional<std::string> fold();
    bool unfold();
    bool toggleFold(LineNumber line);
    void foldAll();
    void unfoldAll();
    /// Opens the folds that carets are in.
    void revealCarets();

private:
    void textChanged(const TextChange& change) override;
    void moveCaretsOutOfFolds();
    bool adopt(const std::optional<CaretSet>& carets);
    bool goTo(std::size_t place);

    EditorDocument& document_;
    CaretSet carets_;
    std::vector<CaretSet> earlier_;  // for undoCarets
    std::vector<Utf8Offset> places_;
    std::size_t place_ = 0;  // in places_; its size if nothing lies ahead
    FoldSet folds_;
    bool performing_ = false;
};

}  // namespace penmark
