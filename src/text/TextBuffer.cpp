// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/TextBuffer.h"

#include "text/Characters.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace penmark {

namespace {

std::chrono::milliseconds steadyNow()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch());
}

bool isBlank(char32_t character)
{
    return characterClass(character) == CharacterClass::blank || characterClass(character) == CharacterClass::lineEnd;
}

}  // namespace

TextBuffer::TextBuffer(TextSnapshot text, std::size_t undoBudget, Clock clock)
    : text_(std::move(text)), largest_(text_.end().value), history_(undoBudget),
      clock_(clock ? std::move(clock) : Clock(steadyNow))
{}

TextBuffer::~TextBuffer() = default;

void TextBuffer::load(TextSnapshot text)
{
    assert(levels_.empty());
    history_.clear();
    const TextEdit edit({{Utf8Offset(0), text_.end().value, text.end().value}}, text);
    const TextSnapshot before = std::exchange(text_, std::move(text));
    largest_ = text_.end().value;
    ++generation_;
    const TextChange change{edit, before, text_, generation_, TextChange::Cause::load};
    for (TextObserver* observer : std::vector(observers_))
        observer->textChanged(change);
}

// A few lines that are left of a large file would keep all of it in memory, so they are copied. As much has been
// deleted by then as to pay for it.
TextSnapshot TextBuffer::edited(const TextEdit& edit)
{
    constexpr std::size_t large = 1 << 20;
    TextSnapshot text = text_.apply(edit);
    largest_ = std::max(largest_, text.end().value);
    if (largest_ < large || text.end().value > largest_ / 4)
        return text;
    TextBuilder copy;
    text.forEachPiece({Utf8Offset(0), text.end()}, [&](std::string_view piece) {
        copy.append(piece);
        return true;
    });
    largest_ = text.end().value;
    return std::move(copy).build();
}

void TextBuffer::change(const TextEdit& edit, TextChange::Cause cause)
{
    assert(!telling_);
    telling_ = true;
    const TextSnapshot before = std::exchange(text_, edited(edit));
    ++generation_;
    const TextChange change{edit, before, text_, generation_, cause};
    for (TextObserver* observer : std::vector(observers_))
        observer->textChanged(change);
    telling_ = false;
}

void TextBuffer::apply(const TextEdit& edit, const CaretSet& before, const CaretSet& after, EditKind kind)
{
    if (edit.empty())
        return;
    TextEdit inverse = edit.inverse(text_);
    change(edit, TextChange::Cause::edit);
    if (!levels_.empty()) {
        Level& level = levels_.back();
        level.inverse = inverse.then(level.inverse);
        if (!level.before)
            level.before = before;
        level.after = after;
        return;
    }
    UndoStep step;
    const TextSnapshot& typed = edit.inserted();
    step.startsWithBlank = isBlank(typed.characterAt(Utf8Offset(0)));
    step.endsWithBlank = isBlank(typed.characterBefore(typed.end()));
    step.inverse = std::move(inverse);
    step.before = before;
    step.after = after;
    step.kind = kind;
    step.time = clock_();
    history_.record(std::move(step));
}

void TextBuffer::commitLevel()
{
    Level level = std::move(levels_.back());
    levels_.pop_back();
    if (!level.before)
        return;
    if (!levels_.empty()) {
        Level& outer = levels_.back();
        outer.inverse = level.inverse.then(outer.inverse);
        if (!outer.before)
            outer.before = std::move(level.before);
        outer.after = std::move(level.after);
        return;
    }
    // A transaction that ended where it began leaves no step.
    if (level.inverse.empty())
        return;
    UndoStep step;
    step.inverse = std::move(level.inverse);
    step.before = std::move(*level.before);
    step.after = std::move(level.after);
    step.time = clock_();
    history_.record(std::move(step));
}

void TextBuffer::rollBackLevel()
{
    const Level level = std::move(levels_.back());
    levels_.pop_back();
    if (!level.inverse.empty())
        change(level.inverse, TextChange::Cause::undo);
}

TextBuffer::Transaction::Transaction(TextBuffer& buffer) : buffer_(buffer)
{
    buffer_.levels_.emplace_back();
}

TextBuffer::Transaction::~Transaction()
{
    if (open_)
        buffer_.rollBackLevel();
}

void TextBuffer::Transaction::commit()
{
    assert(open_);
    open_ = false;
    buffer_.commitLevel();
}

std::optional<CaretSet> TextBuffer::undo()
{
    assert(levels_.empty());
    const std::optional<UndoHistory::Move> move = history_.undo(text_);
    if (!move)
        return std::nullopt;
    change(move->edit, TextChange::Cause::undo);
    return move->carets;
}

std::optional<CaretSet> TextBuffer::redo()
{
    assert(levels_.empty());
    const std::optional<UndoHistory::Move> move = history_.redo(text_);
    if (!move)
        return std::nullopt;
    change(move->edit, TextChange::Cause::redo);
    return move->carets;
}

std::optional<CaretSet> TextBuffer::redoOtherBranch()
{
    assert(levels_.empty());
    if (!history_.hasFork())
        return std::nullopt;
    std::optional<CaretSet> carets;
    while (history_.branches() < 2)
        undo();
    history_.preferNextBranch();
    while (const std::optional<CaretSet> on = redo())
        carets = on;
    return carets;
}

}  // namespace penmark
