// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/editor/EditorState.h"

#include "text/Characters.h"
#include "text/editor/TextEditor.h"

#include <algorithm>
#include <cmath>

namespace penmark {

namespace {

std::int64_t stored(const TextSnapshot& text, Utf8Offset offset)
{
    return static_cast<std::int64_t>(text.toUtf16(offset).value);
}

Utf8Offset place(const TextSnapshot& text, std::int64_t units)
{
    return text.toUtf8(Utf16Offset(static_cast<std::size_t>(std::max<std::int64_t>(units, 0))));
}

}  // namespace

EditorState editorState(const TextEditor& editor, Utf8Offset scrollOffset, double scrolledRows)
{
    const TextSnapshot& text = editor.text();
    EditorState state;
    for (const Caret& caret : editor.carets())
        state.carets.push_back({stored(text, caret.anchor), stored(text, caret.head)});
    state.mainCaret = static_cast<std::int64_t>(editor.carets().mainIndex());
    state.scrollOffset = stored(text, scrollOffset);
    state.scrolledRows = scrolledRows;
    for (const FoldSet::Fold& fold : editor.folds().all())
        state.folds.push_back({stored(text, fold.hidden.start), stored(text, fold.hidden.end)});
    return state;
}

ScrollPlace restoreEditor(TextEditor& editor, const EditorState& state)
{
    const TextSnapshot& text = editor.text();
    std::vector<Caret> carets;
    for (const StoredCaret& caret : state.carets)
        carets.emplace_back(graphemeStart(text, place(text, caret.anchor)),
                            graphemeStart(text, place(text, caret.head)));
    if (!carets.empty()) {
        const auto last = static_cast<std::int64_t>(carets.size()) - 1;
        editor.setCarets(
            CaretSet(std::move(carets), static_cast<std::size_t>(std::clamp<std::int64_t>(state.mainCaret, 0, last))));
    }
    editor.folds().unfoldAll();
    std::vector<FoldRegion> regions;
    for (const StoredFold& fold : state.folds) {
        const LineNumber first = text.lineAt(place(text, fold.start));
        const LineNumber last = text.lineAt(place(text, fold.end));
        if (last > first)
            regions.push_back({first, last});
    }
    editor.folds().fold(text, regions);
    editor.revealCarets();
    const double rows = std::isfinite(state.scrolledRows) ? std::clamp(state.scrolledRows, 0.0, 1.0) : 0;
    return {place(text, state.scrollOffset), rows};
}

}  // namespace penmark
