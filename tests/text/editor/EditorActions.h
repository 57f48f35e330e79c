// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/editor/TextEditor.h"

#include <cstddef>
#include <random>
#include <string>

namespace penmark::test {

/// Decides what a run does next.
class Choices {
public:
    virtual ~Choices() = default;

    virtual std::size_t below(std::size_t count) = 0;  ///< 0 to count - 1; at least 1 is asked for
    bool one(std::size_t of) { return below(of) == 0; }
};

class RandomChoices final : public Choices {
public:
    explicit RandomChoices(unsigned seed) : engine_(seed) {}
    std::size_t below(std::size_t count) override { return engine_() % count; }

private:
    std::mt19937 engine_;
};

/// All scripts, line ends and what tokenizers, lists and brackets look for.
std::string someText(Choices& choices, std::size_t parts);

/// Between characters as a user sees them.
Utf8Offset somePlace(const TextSnapshot& text, Choices& choices);
/// 1 to 50 of them.
CaretSet someCarets(const TextSnapshot& text, Choices& choices);

/// Does one thing that a user can do; returns what it was.
const char* act(TextEditor& editor, Choices& choices);

/// Throws std::logic_error unless all holds that must hold for a view of a text: the tree is sound, carets stand
/// between characters where they can be seen, folds hide whole lines of the text.
void checkEditor(const TextEditor& editor);
/// The same for what the document derives from its text, which must be as if it had been opened just now.
void checkDocument(EditorDocument& document);

/// What an edit makes of a plain string.
std::string edited(const std::string& text, const TextEdit& edit);

/// Keeps a plain string up with a buffer by the edits that it hears of.
class StringModel final : private TextObserver {
public:
    explicit StringModel(TextBuffer& buffer);
    ~StringModel();
    StringModel(const StringModel&) = delete;
    StringModel& operator=(const StringModel&) = delete;

    const std::string& text() const { return text_; }
    std::size_t changes() const { return changes_; }
    std::size_t places() const { return places_; }  ///< of all changes together
    /// Throws std::logic_error unless the text is the buffer's.
    void check() const;

private:
    void textChanged(const TextChange& change) override;

    TextBuffer& buffer_;
    std::string text_;
    std::size_t changes_ = 0;
    std::size_t places_ = 0;
};

}  // namespace penmark::test
