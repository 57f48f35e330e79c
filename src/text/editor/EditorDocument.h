// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/TextBuffer.h"
#include "text/TextStatistics.h"
#include "text/commands/EditCommand.h"
#include "text/highlight/EditorLanguage.h"
#include "text/highlight/Highlighter.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace penmark {

/// A text that is edited, with all that its views share: its past, its language with the colours of its lines, its
/// indentation and its counts.
///
/// Above `largeText` colours and counts are off until they are asked for.
/// Threads: one; snapshots of the text can be read from any.
class EditorDocument final : private TextObserver {
public:
    static constexpr std::size_t largeText = 32 << 20;  ///< bytes

    explicit EditorDocument(TextSnapshot text = {}, EditorLanguage language = EditorLanguage::plainText);
    ~EditorDocument();
    EditorDocument(const EditorDocument&) = delete;
    EditorDocument& operator=(const EditorDocument&) = delete;

    TextBuffer& buffer() { return buffer_; }
    const TextBuffer& buffer() const { return buffer_; }
    const TextSnapshot& text() const { return buffer_.text(); }

    /// Another text; finds out how it is indented and how its lines end.
    void load(TextSnapshot text, EditorLanguage language);

    /// What a text that does not say it itself is edited with.
    struct Defaults {
        bool indentWithTabs = false;
        std::size_t indentWidth = 4;
        std::size_t tabWidth = 4;
        bool detectIndentation = true;
        std::string lineEnd = "\n";
    };
    void useDefaults(const Defaults& defaults);

    EditorLanguage language() const { return language_; }
    void setLanguage(EditorLanguage language);
    EditOptions& options() { return options_; }
    const EditOptions& options() const { return options_; }

    bool isLarge() const { return text().end().value > largeText; }
    /// Colours a large text as well.
    void setAlwaysHighlight(bool always);
    bool highlights() const { return highlights_; }
    void tokens(LineNumber line, std::vector<Token>& tokens);
    /// Goes on finding out the colours for about so many bytes; returns the lines whose colours may have changed.
    /// Absent when there is nothing left to do.
    std::optional<LineRange> work(std::size_t bytes);

    /// Words, characters and lines; absent for a large text.
    const TextStatistics* statistics();
    /// The same if they have been asked for before: counting a large text for the first time takes a while.
    const TextStatistics* countedStatistics() const { return statistics_ && !isLarge() ? &*statistics_ : nullptr; }

private:
    void textChanged(const TextChange& change) override;
    void adopt();

    TextBuffer buffer_;
    EditorLanguage language_;
    EditOptions options_;
    Defaults defaults_;
    Highlighter highlighter_;
    bool highlights_ = false;
    bool alwaysHighlight_ = false;
    std::optional<TextStatistics> statistics_;  // made when first asked for
};

}  // namespace penmark
