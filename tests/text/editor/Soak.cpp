// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/editor/Soak.h"

#include "text/commands/Deleting.h"
#include "text/editor/EditorActions.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace penmark::test {

namespace {

constexpr std::size_t actionsOfRound = 2000;

class Round {
public:
    explicit Round(unsigned seed)
        : choices_(seed), largest_(seed % 8 == 7 ? 200'000 : 6000),
          first_(someText(choices_, choices_.below(seed % 8 == 7 ? 20'000 : 500))), document_(TextSnapshot(first_)),
          one_(document_), other_(document_), model_(document_.buffer())
    {
        document_.setLanguage(editorLanguages()[choices_.below(editorLanguageCount)]);
    }

    void run(SoakReport& report)
    {
        const char* last = "nothing";
        std::size_t action = 0;
        try {
            for (; action < actionsOfRound; ++action) {
                last = step(action);
                ++report.actions;
            }
            last = "the way back";
            report.undone += goThroughThePast();
        } catch (const std::exception& error) {
            throw std::logic_error("action " + std::to_string(action) + ", " + last + ": " + error.what());
        }
        report.changes += model_.changes();
        report.places += model_.places();
        report.snapshots += compared_;
        ++report.rounds;
    }

private:
    static void require(bool holds, const char* what)
    {
        if (!holds)
            throw std::logic_error(what);
    }

    const char* step(std::size_t action)
    {
        TextEditor& editor = choices_.one(4) ? other_ : one_;
        const char* done = "cut down";
        if (document_.text().end().value > largest_) {
            const TextSnapshot& text = document_.text();
            editor.setCarets(CaretSet(Caret(somePlace(text, choices_), somePlace(text, choices_))));
            editor.perform(commands::deleteSelections(text, editor.carets()));
        } else {
            done = act(editor, choices_);
        }
        mostBytes_ = std::max(mostBytes_, document_.buffer().undoBytes());
        // What walks the whole text is done less often in a large one.
        const std::size_t rarely = largest_ > 10'000 ? 20 : 1;
        if (action % rarely == 0)
            model_.check();
        if (action % (4 * rarely) == 0) {
            checkEditor(one_);
            checkEditor(other_);
        }
        if (action % (40 * rarely) == 0)
            checkDocument(document_);
        if (action % (10 * rarely) == 0)
            keep();
        return done;
    }

    // Snapshots must stay what they were, whatever becomes of the text.
    void keep()
    {
        kept_.emplace_back(document_.text(), model_.text());
        if (kept_.size() < 20)
            return;
        const std::size_t index = choices_.below(kept_.size());
        require(kept_[index].first.text() == kept_[index].second, "a snapshot has changed");
        kept_.erase(kept_.begin() + static_cast<std::ptrdiff_t>(index));
        ++compared_;
    }

    // To the start of the document and back again.
    std::size_t goThroughThePast()
    {
        if (mostBytes_ > UndoHistory::defaultBudget / 2)  // some of it may have been forgotten
            return 0;
        const std::string present = model_.text();
        std::vector<std::size_t> hashes;
        const std::hash<std::string> hash;
        while (document_.buffer().canUndo()) {
            hashes.push_back(hash(model_.text()));
            one_.undo();
        }
        model_.check();
        require(model_.text() == first_, "undoing everything leads to another text");
        const std::size_t steps = hashes.size();
        for (; !hashes.empty(); hashes.pop_back()) {
            require(one_.redo(), "a step cannot be done again");
            require(hash(model_.text()) == hashes.back(), "doing a step again leads to another text");
        }
        model_.check();
        require(model_.text() == present, "doing all again leads to another text");
        checkEditor(one_);
        checkEditor(other_);
        checkDocument(document_);
        return steps;
    }

    RandomChoices choices_;
    std::size_t largest_;
    std::string first_;
    EditorDocument document_;
    TextEditor one_;
    TextEditor other_;
    StringModel model_;
    std::vector<std::pair<TextSnapshot, std::string>> kept_;
    std::size_t mostBytes_ = 0;
    std::size_t compared_ = 0;
};

}  // namespace

SoakReport soak(std::chrono::milliseconds time, unsigned seed)
{
    const auto end = std::chrono::steady_clock::now() + time;
    SoakReport report;
    for (; std::chrono::steady_clock::now() < end; ++seed) {
        try {
            Round(seed).run(report);
        } catch (const std::exception& error) {
            throw std::logic_error("seed " + std::to_string(seed) + ", " + error.what());
        }
    }
    return report;
}

}  // namespace penmark::test
