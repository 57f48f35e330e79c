// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/editor/EditorDocument.h"

#include "text/Indentation.h"

namespace penmark {

EditorDocument::EditorDocument(TextSnapshot text, EditorLanguage language)
    : buffer_(std::move(text)), language_(language)
{
    buffer_.addObserver(*this);
    adopt();
}

EditorDocument::~EditorDocument()
{
    buffer_.removeObserver(*this);
}

// What a new text says about itself.
void EditorDocument::adopt()
{
    const LineEndCounts ends = text().lineEnds();
    options_.lineEnd = ends.crlf > ends.lf && ends.crlf >= ends.cr ? "\r\n" : ends.cr > ends.lf ? "\r" : "\n";
    if (ends == LineEndCounts())
        options_.lineEnd = defaults_.lineEnd;
    options_.indentWithTabs = defaults_.indentWithTabs;
    options_.indentWidth = defaults_.indentWidth;
    options_.tabWidth = defaults_.tabWidth;
    if (!defaults_.detectIndentation) {
        setLanguage(language_);
        return;
    }
    if (const std::optional<IndentationStyle> found = detectIndentation(text())) {
        options_.indentWithTabs = found->tabs;
        if (found->width)
            options_.indentWidth = *found->width;
        if (found->tabs)
            options_.indentWidth = options_.tabWidth;
    }
    setLanguage(language_);
}

void EditorDocument::load(TextSnapshot text, EditorLanguage language)
{
    language_ = language;
    options_ = {};
    alwaysHighlight_ = false;
    buffer_.load(std::move(text));  // calls textChanged
}

void EditorDocument::useDefaults(const Defaults& defaults)
{
    defaults_ = defaults;
    adopt();
}

void EditorDocument::setLanguage(EditorLanguage language)
{
    language_ = language;
    const CommentTokens comments = commentTokens(language);
    options_.lineComment = comments.line;
    options_.blockCommentStart = comments.blockStart;
    options_.blockCommentEnd = comments.blockEnd;
    options_.markdown = language == EditorLanguage::markdown;
    options_.indentAfterColon = colonIndents(language);
    highlights_ = language != EditorLanguage::plainText && (alwaysHighlight_ || !isLarge());
    highlighter_.reset(highlights_ ? text() : TextSnapshot(), highlights_ ? language : EditorLanguage::plainText);
}

void EditorDocument::setAlwaysHighlight(bool always)
{
    alwaysHighlight_ = always;
    setLanguage(language_);
}

void EditorDocument::tokens(LineNumber line, std::vector<Token>& tokens)
{
    tokens.clear();
    if (highlights_)
        highlighter_.tokens(line, tokens);
}

std::optional<LineRange> EditorDocument::work(std::size_t bytes)
{
    if (!highlights_)
        return std::nullopt;
    const Highlighter::Work work = highlighter_.work(bytes);
    if (!work.more && work.changed.empty())
        return std::nullopt;
    if (work.changed.empty())
        return LineRange();
    return LineRange{work.changed.front().start, work.changed.back().end};
}

const TextStatistics* EditorDocument::statistics()
{
    if (isLarge())
        return nullptr;
    if (!statistics_)
        statistics_.emplace(text());
    return &*statistics_;
}

void EditorDocument::textChanged(const TextChange& change)
{
    if (change.cause == TextChange::Cause::load) {
        statistics_.reset();
        adopt();
        return;
    }
    if (highlights_)
        highlighter_.update(change.edit, change.after);
    if (isLarge())
        statistics_.reset();
    else if (statistics_)
        statistics_->update(change.before, change.edit, change.after);
}

}  // namespace penmark
