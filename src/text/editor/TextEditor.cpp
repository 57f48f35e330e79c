// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/editor/TextEditor.h"

#include "text/Characters.h"
#include "text/commands/CommandResult.h"
#include "text/highlight/Folding.h"

#include <algorithm>
#include <utility>

namespace penmark {

namespace {
constexpr std::size_t rememberedCarets = 100;
constexpr std::size_t rememberedPlaces = 100;

// An edit made elsewhere may have joined the characters around a caret. It goes behind what they are now, the start of
// a selection before it.
Utf8Offset boundary(const TextSnapshot& text, Utf8Offset offset, bool behind)
{
    if (!commands::mayJoin(text.characterBefore(offset), text.characterAt(offset)))
        return offset;
    const Utf8Offset start = graphemeStart(text, offset);
    return start == offset || !behind ? start : nextGrapheme(text, start);
}

CaretSet settled(const TextSnapshot& text, const CaretSet& set)
{
    std::vector<Caret> carets(set.begin(), set.end());
    for (Caret& caret : carets) {
        const bool bare = !caret.hasSelection();
        const bool forward = caret.isForward();
        caret.anchor = boundary(text, caret.anchor, bare || !forward);
        caret.head = boundary(text, caret.head, bare || forward);
    }
    return {std::move(carets), set.mainIndex()};
}
}  // namespace

TextEditor::TextEditor(EditorDocument& document) : document_(document)
{
    document_.buffer().addObserver(*this);
}

TextEditor::~TextEditor()
{
    document_.buffer().removeObserver(*this);
}

void TextEditor::textChanged(const TextChange& change)
{
    if (change.cause == TextChange::Cause::load) {
        carets_ = {};
        earlier_.clear();
        places_.clear();
        place_ = 0;
        folds_.unfoldAll();
        return;
    }
    folds_.update(change.edit, change.after);
    for (CaretSet& carets : earlier_)
        carets = carets.mapped(change.edit);
    for (Utf8Offset& place : places_)
        place = change.edit.map(place, Stickiness::before);
    if (!performing_)
        carets_ = settled(change.after, carets_.mapped(change.edit, false));
}

void TextEditor::setCarets(CaretSet carets)
{
    if (carets == carets_)
        return;
    document_.buffer().endUndoGroup();
    if (carets.size() != carets_.size() || carets_.size() > 1) {
        earlier_.push_back(carets_);
        if (earlier_.size() > rememberedCarets)
            earlier_.erase(earlier_.begin());
    }
    carets_ = std::move(carets);
    revealCarets();
}

bool TextEditor::undoCarets()
{
    if (earlier_.empty())
        return false;
    carets_ = settled(text(), earlier_.back());
    earlier_.pop_back();
    document_.buffer().endUndoGroup();
    revealCarets();
    return true;
}

void TextEditor::revealCarets()
{
    if (folds_.empty())
        return;
    std::vector<Utf8Offset> ends;
    ends.reserve(2 * carets_.size());
    for (const Caret& caret : carets_) {
        ends.push_back(caret.start());
        ends.push_back(caret.end());
    }
    folds_.reveal(ends);
}

void TextEditor::perform(const EditResult& result, EditKind kind)
{
    if (result.edit.empty()) {
        setCarets(result.carets);
        return;
    }
    performing_ = true;
    document_.buffer().apply(result.edit, carets_, result.carets, kind);
    performing_ = false;
    carets_ = result.carets;
    revealCarets();
}

bool TextEditor::adopt(const std::optional<CaretSet>& carets)
{
    performing_ = false;
    if (!carets)
        return false;
    carets_ = *carets;
    revealCarets();
    return true;
}

bool TextEditor::undo()
{
    performing_ = true;
    return adopt(document_.buffer().undo());
}

bool TextEditor::redo()
{
    performing_ = true;
    return adopt(document_.buffer().redo());
}

bool TextEditor::redoOtherBranch()
{
    performing_ = true;
    return adopt(document_.buffer().redoOtherBranch());
}

void TextEditor::rememberPlace()
{
    const Utf8Offset here = carets_.main().head;
    places_.resize(std::min(place_, places_.size()));
    if (places_.empty() || places_.back() != here)
        places_.push_back(here);
    if (places_.size() > rememberedPlaces)
        places_.erase(places_.begin());
    place_ = places_.size();
}

bool TextEditor::goTo(std::size_t place)
{
    place_ = place;
    setCarets(CaretSet(Caret(graphemeStart(text(), places_[place]))));
    return true;
}

bool TextEditor::goBack()
{
    const Utf8Offset here = carets_.main().head;
    std::size_t before = place_;
    while (before > 0 && places_[before - 1] == here)
        --before;
    if (before == 0)
        return false;
    // Where it was left is the way forward.
    if (place_ == places_.size()) {
        places_.resize(before);
        places_.push_back(here);
    }
    return goTo(before - 1);
}

bool TextEditor::goForward()
{
    std::size_t next = place_ + 1;
    while (next < places_.size() && places_[next] == carets_.main().head)
        ++next;
    return next < places_.size() && goTo(next);
}

std::optional<std::string> TextEditor::fold()
{
    const Caret& main = carets_.main();
    const LineNumber first = text().lineAt(main.start());
    LineNumber last = text().lineAt(main.end());
    // A selection that ends at the start of a line does not mean that line.
    if (last > first && main.end() == text().lineStart(last))
        last -= 1;
    std::optional<FoldRegion> region;
    if (last > first) {
        region = FoldRegion{first, last};
    } else {
        region = regionStartingAt(text(), first, document_.language());
        if (!region || folds_.foldAt(first))
            region = regionAround(text(), first, document_.language());
    }
    if (!region || !folds_.fold(text(), *region))
        return std::string(nothingToFold);
    moveCaretsOutOfFolds();
    return std::nullopt;
}

bool TextEditor::unfold()
{
    const std::optional<FoldSet::Fold> fold = folds_.foldAt(text().lineAt(carets_.main().head));
    return fold && folds_.unfold(fold->id);
}

bool TextEditor::toggleFold(LineNumber line)
{
    if (const std::optional<FoldSet::Fold> fold = folds_.foldAt(line))
        return folds_.unfold(fold->id);
    const std::optional<FoldRegion> region = regionStartingAt(text(), line, document_.language());
    if (!region || !folds_.fold(text(), *region))
        return false;
    moveCaretsOutOfFolds();
    return true;
}

void TextEditor::foldAll()
{
    folds_.fold(text(), regionsOfLevel(text(), 1, document_.language()));
    moveCaretsOutOfFolds();
}

void TextEditor::unfoldAll()
{
    folds_.unfoldAll();
}

// To the end of the line that stays visible.
void TextEditor::moveCaretsOutOfFolds()
{
    const auto visible = [&](Utf8Offset offset) {
        const LineNumber line = text().lineAt(offset);
        return folds_.isHidden(line) ? text().line(folds_.visibleAtOrBefore(line)).end : offset;
    };
    std::vector<Caret> carets;
    carets.reserve(carets_.size());
    for (const Caret& caret : carets_)
        carets.emplace_back(visible(caret.anchor), visible(caret.head));
    carets_ = CaretSet(std::move(carets), carets_.mainIndex());
}

}  // namespace penmark
