// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/TextBuffer.h"

#include "text/RandomText.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace penmark {
namespace {

using namespace std::chrono_literals;

CaretSet at(std::size_t offset)
{
    return CaretSet(Caret(Utf8Offset(offset)));
}

/// Checks what it is told, and applies it to a text of its own.
class Follower final : public TextObserver {
public:
    explicit Follower(TextBuffer& buffer) : buffer_(buffer), text_(buffer.text()), generation_(buffer.generation())
    {
        buffer.addObserver(*this);
    }
    ~Follower() { buffer_.removeObserver(*this); }
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    const TextSnapshot& text() const { return text_; }
    const std::vector<TextChange::Cause>& causes() const { return causes_; }

private:
    void textChanged(const TextChange& change) override
    {
        EXPECT_EQ(change.generation, ++generation_);
        EXPECT_EQ(buffer_.generation(), generation_);
        EXPECT_TRUE(change.before == text_);
        EXPECT_TRUE(buffer_.text().isSameAs(change.after));
        text_ = text_.apply(change.edit);
        EXPECT_TRUE(text_ == change.after);
        causes_.push_back(change.cause);
    }

    TextBuffer& buffer_;
    TextSnapshot text_;
    std::uint64_t generation_;
    std::vector<TextChange::Cause> causes_;
};

class TextBufferTest : public testing::Test {
protected:
    TextBufferTest() { start({}); }

    void start(std::string_view text, std::size_t budget = UndoHistory::defaultBudget)
    {
        follower.reset();
        buffer = std::make_unique<TextBuffer>(TextSnapshot(text), budget, [this] { return now; });
        follower = std::make_unique<Follower>(*buffer);
    }

    std::string text() const { return buffer->text().text(); }

    void insert(std::size_t offset, std::string_view what, EditKind kind = EditKind::command)
    {
        buffer->apply(TextEdit({Utf8Offset(offset), Utf8Offset(offset)}, what), at(offset), at(offset + what.size()),
                      kind);
    }
    void append(std::string_view what) { insert(buffer->text().end().value, what); }
    /// Letter by letter at the end, as it comes from a keyboard.
    void type(std::string_view what)
    {
        for (const char& letter : what)
            insert(buffer->text().end().value, {&letter, 1}, EditKind::typing);
    }
    void backspace()
    {
        const Utf8Offset end = buffer->text().end();
        buffer->apply(TextEdit({end - 1, end}, {}), CaretSet(Caret(end)), CaretSet(Caret(end - 1)), EditKind::deleting);
    }

    /// The texts that undoing goes through, the present one first; then everything is done again.
    std::string past()
    {
        std::string result = "'" + text() + "'";
        std::size_t steps = 0;
        for (; buffer->undo(); ++steps)
            result += " '" + text() + "'";
        for (; steps > 0; --steps)
            EXPECT_TRUE(buffer->redo());
        return result;
    }

    std::chrono::milliseconds now{1000};
    std::unique_ptr<TextBuffer> buffer;
    std::unique_ptr<Follower> follower;
};

}  // namespace

// A word goes with the blanks behind it.
TEST_F(TextBufferTest, UndoesTypingByWords)
{
    type("to be,  or\nnot");
    EXPECT_EQ(past(), "'to be,  or\nnot' 'to be,  or\n' 'to be,  ' 'to ' ''");
}

TEST_F(TextBufferTest, APauseEndsAStep)
{
    type("ab");
    now += 299ms;
    type("c");
    now += 299ms;  // counted from the last edit, not from the first
    type("d");
    now += 300ms;
    type("ef");
    EXPECT_EQ(past(), "'abcdef' 'abcd' ''");
    backspace();
    now += 299ms;
    backspace();
    now += 300ms;
    backspace();
    EXPECT_EQ(past(), "'abc' 'abcd' 'abcdef' 'abcd' ''");
}

TEST_F(TextBufferTest, OnlyEditsOfOneKindAtOnePlaceJoin)
{
    type("ab");
    append("-");
    append("-");
    type("cd");
    backspace();
    backspace();
    type("e");
    buffer->endUndoGroup();
    type("f");
    insert(0, "x", EditKind::typing);
    insert(1, "y", EditKind::typing);
    EXPECT_EQ(past(), "'xyab--ef' 'ab--ef' 'ab--e' 'ab--' 'ab--cd' 'ab--' 'ab-' 'ab' ''");
}

// What was done again is over: typing behind it is a step of its own.
TEST_F(TextBufferTest, UndoAndRedoEndAStep)
{
    type("ab");
    buffer->undo();
    buffer->redo();
    type("c");
    EXPECT_EQ(past(), "'abc' 'ab' ''");
}

TEST_F(TextBufferTest, CaretsBeforeAndAfterComeBack)
{
    start("one two");
    const CaretSet before({Caret(Utf8Offset(3), Utf8Offset(0)), Caret(Utf8Offset(4), Utf8Offset(7))}, 0);
    const CaretSet after({Caret(Utf8Offset(1)), Caret(Utf8Offset(3))}, 0);
    const TextEdit both({{Utf8Offset(0), 3, 1}, {Utf8Offset(4), 3, 1}}, TextSnapshot(std::string_view("xx")));
    buffer->apply(both, before, after, EditKind::typing);
    const CaretSet last({Caret(Utf8Offset(2)), Caret(Utf8Offset(5))}, 1);
    buffer->apply(TextEdit({{Utf8Offset(1), 0, 1}, {Utf8Offset(3), 0, 1}}, TextSnapshot(std::string_view("yy"))), after,
                  last, EditKind::typing);
    ASSERT_EQ(text(), "xy xy");
    EXPECT_EQ(buffer->undo(), before);
    EXPECT_EQ(text(), "one two");
    EXPECT_EQ(buffer->undo(), std::nullopt);
    EXPECT_EQ(buffer->redo(), last);
    EXPECT_EQ(text(), "xy xy");
    EXPECT_EQ(buffer->redo(), std::nullopt);
    EXPECT_EQ(follower->text().text(), "xy xy");
}

TEST_F(TextBufferTest, ATransactionIsOneStep)
{
    start("a");
    {
        TextBuffer::Transaction outer(*buffer);
        insert(1, "b");
        {
            TextBuffer::Transaction inner(*buffer);
            insert(0, "<");
            insert(3, ">");
            inner.commit();
        }
        {
            TextBuffer::Transaction nothing(*buffer);
            nothing.commit();
        }
        insert(4, ".");
        outer.commit();
    }
    EXPECT_EQ(text(), "<ab>.");
    EXPECT_EQ(buffer->undo(), at(1));
    EXPECT_EQ(text(), "a");
    EXPECT_EQ(buffer->redo(), at(5));
    {
        TextBuffer::Transaction back(*buffer);
        append("!");
        buffer->apply(TextEdit({Utf8Offset(5), Utf8Offset(6)}, {}), at(6), at(5));
        back.commit();
    }
    EXPECT_EQ(past(), "'<ab>.' 'a'") << "one that ends where it began is no step";
}

TEST_F(TextBufferTest, AnExceptionTakesBackWhatItsScopeDid)
{
    start("a");
    append("b");
    const auto failing = [&](std::string_view what) {
        TextBuffer::Transaction scope(*buffer);
        append(what);
        insert(0, "x");
        throw std::runtime_error("on purpose");
    };
    EXPECT_THROW(failing("c"), std::runtime_error);
    EXPECT_EQ(past(), "'ab' 'a'");
    {
        TextBuffer::Transaction outer(*buffer);
        append("1");
        EXPECT_THROW(failing("c"), std::runtime_error);
        EXPECT_EQ(text(), "ab1") << "only the inner one";
        append("2");
        outer.commit();
    }
    EXPECT_EQ(past(), "'ab12' 'ab' 'a'");
    {
        TextBuffer::Transaction outer(*buffer);
        append("3");
        {
            TextBuffer::Transaction inner(*buffer);
            append("4");
            inner.commit();
        }
        insert(0, "5");
    }
    EXPECT_EQ(past(), "'ab12' 'ab' 'a'") << "a committed inner one goes with the outer one";
    EXPECT_EQ(follower->text().text(), "ab12");
}

// What fails must not cost what had been undone.
TEST_F(TextBufferTest, ARollBackKeepsTheWayForward)
{
    append("a");
    append("b");
    buffer->undo();
    {
        TextBuffer::Transaction scope(*buffer);
        append("x");
    }
    ASSERT_TRUE(buffer->redo());
    EXPECT_EQ(text(), "ab");
}

TEST_F(TextBufferTest, AnAbandonedBranchComesBack)
{
    append("a");
    append("b");
    append("c");
    buffer->undo();
    buffer->undo();
    append("x");
    append("y");
    EXPECT_EQ(text(), "axy");
    EXPECT_EQ(buffer->redoOtherBranch(), at(3));
    EXPECT_EQ(text(), "abc");
    EXPECT_EQ(past(), "'abc' 'ab' 'a' ''");
    EXPECT_EQ(buffer->redoOtherBranch(), at(3));
    EXPECT_EQ(text(), "axy");
    EXPECT_EQ(past(), "'axy' 'ax' 'a' ''");
    EXPECT_EQ(follower->text().text(), "axy");
}

TEST_F(TextBufferTest, SeveralForksAreTakenNearestFirst)
{
    append("a");
    for (std::string_view way : {"1", "2", "3"}) {
        append(way);
        buffer->undo();
    }
    // Three ways lead on from "a"; each comes in turn.
    std::vector<std::string> seen;
    for (int turn = 0; turn < 6; ++turn) {
        ASSERT_TRUE(buffer->redoOtherBranch());
        seen.push_back(text());
    }
    EXPECT_TRUE(std::equal(seen.begin(), seen.begin() + 3, seen.begin() + 3));
    std::sort(seen.begin(), seen.begin() + 3);
    EXPECT_EQ(std::vector(seen.begin(), seen.begin() + 3), (std::vector<std::string>{"a1", "a2", "a3"}));

    // A second fork behind one of the ways is nearer than the first.
    const std::string way = text();
    append("p");
    buffer->undo();
    append("q");
    append("r");
    ASSERT_TRUE(buffer->redoOtherBranch());
    EXPECT_EQ(text(), way + "p");
    ASSERT_TRUE(buffer->redoOtherBranch());
    EXPECT_EQ(text(), way + "qr");
}

// It must not even look for one by going there and back: views would open folds and lose their places.
TEST_F(TextBufferTest, WithoutAForkNothingHappens)
{
    EXPECT_EQ(buffer->redoOtherBranch(), std::nullopt);
    append("a");
    append("b");
    append("c");
    buffer->undo();
    const std::uint64_t generation = buffer->generation();
    EXPECT_EQ(buffer->redoOtherBranch(), std::nullopt);
    EXPECT_EQ(buffer->generation(), generation);
    ASSERT_TRUE(buffer->redo());
    EXPECT_EQ(past(), "'abc' 'ab' 'a' ''");
}

TEST_F(TextBufferTest, TheOldestStepsGoFirstAndTheNewestStays)
{
    start({}, 20'000);
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        append(std::string(3000, letter));
        EXPECT_LE(buffer->undoBytes(), 20'000U);
    }
    const std::string whole = text();
    std::size_t undone = 0;
    while (buffer->undo())
        ++undone;
    EXPECT_GE(undone, 3U);
    EXPECT_LE(undone, 6U);
    EXPECT_EQ(text(), whole.substr(0, whole.size() - undone * 3000));
    while (buffer->redo()) {}
    EXPECT_EQ(text(), whole);

    append(std::string(100'000, '!'));
    ASSERT_TRUE(buffer->undo()) << "also a step that is larger than the budget";
    EXPECT_EQ(text(), whole);
    EXPECT_FALSE(buffer->undo());
    ASSERT_TRUE(buffer->redo());
    append("?");
    ASSERT_TRUE(buffer->undo());
    EXPECT_FALSE(buffer->undo());
}

TEST_F(TextBufferTest, TheOldestBranchesGoBeforeAnyStep)
{
    start({}, 24'000);
    append("a");
    for (char letter : {'1', '2', '3'}) {
        append(std::string(3000, letter));
        buffer->undo();
    }
    append("b");
    // Steps fill what is left, until the first branch, and only that, has to go.
    while (buffer->undoBytes() + 3000 < 24'000)
        append(std::string(500, '.'));
    append(std::string(2600, '.'));
    const std::string whole = text();
    std::size_t undone = 0;
    while (text() != "a") {
        ASSERT_TRUE(buffer->undo());
        ++undone;
    }
    std::string left;
    for (int turn = 0; turn < 4; ++turn) {
        if (!buffer->redoOtherBranch())
            break;
        left += text()[1];
        while (text() != "a")
            ASSERT_TRUE(buffer->undo());
    }
    EXPECT_EQ(left.find('1'), std::string::npos) << left;
    EXPECT_NE(left.find('2'), std::string::npos) << left;
    EXPECT_NE(left.find('3'), std::string::npos) << left;
    ASSERT_TRUE(buffer->undo());
    EXPECT_EQ(text(), "") << "no step was lost";
}

// As long a past as key presses can make must neither overflow the stack nor take long to forget.
TEST_F(TextBufferTest, AVeryLongPastIsForgotten)
{
    start({}, 1 << 30);
    follower.reset();  // which compares the whole texts
    for (int step = 0; step < 200'000; ++step)
        insert(0, "x");
    buffer->load(TextSnapshot(std::string_view("new")));
    EXPECT_EQ(buffer->undoBytes(), 0U);
    EXPECT_FALSE(buffer->canUndo());
    EXPECT_FALSE(buffer->canRedo());
    EXPECT_EQ(buffer->undo(), std::nullopt);
    EXPECT_EQ(text(), "new");
}

TEST_F(TextBufferTest, WhatIsLeftOfALargeTextDoesNotKeepAllOfIt)
{
    auto file = std::make_shared<const std::string>(8'000'000, 'x');
    const std::weak_ptr<const std::string> kept = file;
    TextBuffer edited(TextSnapshot(file, *file), 100'000);
    file.reset();
    const auto remove = [&](std::size_t from, std::size_t to) {
        edited.apply(TextEdit({Utf8Offset(from), Utf8Offset(to)}, {}), at(from), at(from));
    };
    remove(20'000, 8'000'000);
    EXPECT_EQ(edited.text().end().value, 20'000U);
    edited.text().checkInvariants();
    EXPECT_FALSE(kept.expired()) << "the last step can be taken back";
    ASSERT_TRUE(edited.undo());
    EXPECT_EQ(edited.text().end().value, 8'000'000U);
    ASSERT_TRUE(edited.redo());
    remove(0, 10);
    EXPECT_TRUE(kept.expired());
    EXPECT_EQ(edited.text().text(), std::string(19'990, 'x'));
}

TEST_F(TextBufferTest, LoadForgetsAndTellsSo)
{
    start("old");
    type("er");
    buffer->undo();
    buffer->load(TextSnapshot(std::string_view("other")));
    EXPECT_FALSE(buffer->canUndo());
    EXPECT_FALSE(buffer->canRedo());
    type("s");
    EXPECT_EQ(past(), "'others' 'other'");
    using Cause = TextChange::Cause;
    const std::vector<Cause> expected{Cause::edit, Cause::edit, Cause::undo, Cause::load, Cause::edit};
    ASSERT_GE(follower->causes().size(), expected.size());
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), follower->causes().begin()));
    EXPECT_EQ(follower->text().text(), "others");
    const std::uint64_t generation = buffer->generation();
    buffer->apply(TextEdit(), at(0), at(1));
    EXPECT_EQ(buffer->generation(), generation) << "an empty edit is none";
}

namespace {

/// The past as whole texts.
struct ModelNode {
    std::string text;
    std::size_t parent = 0;
    std::vector<std::size_t> children;
    std::size_t preferred = 0;
};

}  // namespace

TEST_F(TextBufferTest, AgreesWithAPastOfWholeTexts)
{
    for (unsigned seed = 0; seed < 20; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        const std::string first = random.text(random.below(200));
        start(first);
        std::vector<ModelNode> nodes(1);
        nodes[0].text = first;
        std::size_t current = 0;
        const auto back = [&] {
            if (current == 0)
                return false;
            ModelNode& parent = nodes[nodes[current].parent];
            parent.preferred = static_cast<std::size_t>(
                std::find(parent.children.begin(), parent.children.end(), current) - parent.children.begin());
            current = nodes[current].parent;
            return true;
        };
        const auto on = [&] {
            const ModelNode& node = nodes[current];
            if (node.children.empty())
                return false;
            current = node.children[node.preferred];
            return true;
        };
        const auto other = [&] {
            std::size_t fork = current;
            while (nodes[fork].children.size() < 2) {
                if (fork == 0)
                    return false;
                fork = nodes[fork].parent;
            }
            while (current != fork)
                back();
            nodes[fork].preferred = (nodes[fork].preferred + 1) % nodes[fork].children.size();
            while (on()) {}
            return true;
        };
        for (int step = 0; step < 600; ++step) {
            const std::size_t choice = random.below(20);
            if (choice < 8) {
                TextEditBuilder builder;
                std::string plain;
                const std::string& old = nodes[current].text;
                std::size_t done = 0;
                for (std::size_t places = random.below(6); places > 0; --places) {
                    const std::size_t from = random.characterBoundary(old);
                    if (from < done)
                        continue;
                    const std::size_t to = std::max(
                        from,
                        buffer->text().characterStart(Utf8Offset(std::min(from + random.below(9), old.size()))).value);
                    const std::string with = random.text(random.below(3));
                    builder.replace({Utf8Offset(from), Utf8Offset(to)}, with);
                    plain += old.substr(done, from - done) + with;
                    done = to;
                }
                plain += old.substr(done);
                const TextEdit edit = std::move(builder).build();
                buffer->apply(edit, at(0), at(0));
                if (!edit.empty()) {
                    nodes[current].preferred = nodes[current].children.size();
                    nodes[current].children.push_back(nodes.size());
                    nodes.push_back({plain, current, {}, 0});
                    current = nodes.size() - 1;
                }
            } else if (choice < 14) {
                ASSERT_EQ(buffer->undo().has_value(), back());
            } else if (choice < 18) {
                ASSERT_EQ(buffer->redo().has_value(), on());
            } else {
                ASSERT_EQ(buffer->redoOtherBranch().has_value(), other());
            }
            ASSERT_EQ(text(), nodes[current].text) << "step " << step;
            ASSERT_EQ(buffer->canUndo(), current != 0);
            ASSERT_EQ(buffer->canRedo(), !nodes[current].children.empty());
            ASSERT_TRUE(follower->text() == buffer->text());
        }
    }
}

}  // namespace penmark
