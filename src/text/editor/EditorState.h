// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Record.h"
#include "base/TextPosition.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace penmark {

class TextEditor;

/// One caret of a stored state.
struct StoredCaret {
    std::int64_t anchor = 0;  ///< UTF-16 units
    std::int64_t head = 0;    ///< UTF-16 units

    static constexpr auto fields()
    {
        return std::tuple{field("anchor", &StoredCaret::anchor), field("head", &StoredCaret::head)};
    }
    friend bool operator==(const StoredCaret&, const StoredCaret&) = default;
};

/// Whole lines, the first of which stays visible when they are folded.
struct StoredFold {
    std::int64_t start = 0;  ///< UTF-16 units: the end of the first line
    std::int64_t end = 0;    ///< UTF-16 units: the end of the last one

    static constexpr auto fields()
    {
        return std::tuple{field("start", &StoredFold::start), field("end", &StoredFold::end)};
    }
    friend bool operator==(const StoredFold&, const StoredFold&) = default;
};

/// How a document was seen in a window, as it is kept there between two runs of the program.
struct EditorState {
    std::vector<StoredCaret> carets;
    std::int64_t mainCaret = 0;
    std::int64_t scrollOffset = 0;  ///< UTF-16 units: the start of the first row that was seen
    double scrolledRows = 0;        ///< the part of that row that was scrolled out
    std::vector<StoredFold> folds;
    std::optional<std::int64_t> zoom;  ///< steps
    // Absent where the view goes by the settings.
    std::optional<bool> wraps;
    std::optional<bool> showsBlanks;
    std::optional<bool> showsLineNumbers;
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        return std::tuple{field("carets", &EditorState::carets),
                          field("mainCaret", &EditorState::mainCaret),
                          field("scrollOffset", &EditorState::scrollOffset),
                          field("scrolledRows", &EditorState::scrolledRows),
                          field("folds", &EditorState::folds),
                          field("zoom", &EditorState::zoom),
                          field("wraps", &EditorState::wraps),
                          field("showsBlanks", &EditorState::showsBlanks),
                          field("showsLineNumbers", &EditorState::showsLineNumbers)};
    }
};

/// The state of a view; the scroll place is the view's own knowledge.
EditorState editorState(const TextEditor& editor, Utf8Offset scrollOffset, double scrolledRows);

struct ScrollPlace {
    Utf8Offset offset;
    double scrolledRows = 0;
};
/// Brings carets and folds back. The text may have become another one since: places behind its end come to the end,
/// places inside of a character to its start, and folds of lines that are no more are left out.
ScrollPlace restoreEditor(TextEditor& editor, const EditorState& state);

}  // namespace penmark
