// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/UndoHistory.h"

#include <algorithm>
#include <utility>

namespace penmark {

struct UndoHistory::Node {
    TextEdit edit;  // back to the parent when it is done, forth from the parent when it is undone
    CaretSet before;
    CaretSet after;
    EditKind kind = EditKind::command;
    bool endsWithBlank = false;
    std::chrono::milliseconds time{};
    std::size_t bytes = 0;
    Node* parent = nullptr;
    std::vector<std::unique_ptr<Node>> children;
    std::size_t preferred = 0;  // the child that redo takes

    // What it removed, what it put there, and all that is needed to find the places again.
    std::size_t measure() const
    {
        return sizeof(Node) + edit.inserted().end().value + edit.removedBytes() +
               edit.replacements().size() * (sizeof(Replacement) + sizeof(std::ptrdiff_t)) +
               (before.size() + after.size()) * sizeof(Caret);
    }
    // Nodes can be as many as key presses, so they are not taken apart by recursion.
    ~Node()
    {
        std::vector<std::unique_ptr<Node>> left = std::move(children);
        while (!left.empty()) {
            const std::unique_ptr<Node> node = std::move(left.back());
            left.pop_back();
            std::move(node->children.begin(), node->children.end(), std::back_inserter(left));
            node->children.clear();
        }
    }
};

UndoHistory::UndoHistory(std::size_t budget) : root_(std::make_unique<Node>()), current_(root_.get()), budget_(budget)
{}

UndoHistory::~UndoHistory() = default;

void UndoHistory::clear()
{
    root_ = std::make_unique<Node>();
    current_ = root_.get();
    bytes_ = 0;
    sealed_ = true;
}

bool UndoHistory::canUndo() const
{
    return current_ != root_.get();
}
bool UndoHistory::canRedo() const
{
    return !current_->children.empty();
}
std::size_t UndoHistory::branches() const
{
    return current_->children.size();
}

bool UndoHistory::hasFork() const
{
    const Node* node = current_;
    while (node && node->children.size() < 2)
        node = node->parent;
    return node != nullptr;
}

void UndoHistory::record(UndoStep step)
{
    Node& last = *current_;
    const bool joins = !std::exchange(sealed_, false) && &last != root_.get() && last.children.empty() &&
                       step.kind != EditKind::command && step.kind == last.kind && step.time - last.time < pause &&
                       step.before == last.after &&
                       (step.kind == EditKind::deleting || step.startsWithBlank || !last.endsWithBlank);
    if (joins) {
        last.edit = step.inverse.then(last.edit);
    } else {
        current_->children.push_back(std::make_unique<Node>());
        current_->preferred = current_->children.size() - 1;
        Node& made = *current_->children.back();
        made.parent = current_;
        made.edit = std::move(step.inverse);
        made.before = std::move(step.before);
        made.kind = step.kind;
        current_ = &made;
    }
    current_->after = std::move(step.after);
    current_->endsWithBlank = step.endsWithBlank;
    current_->time = step.time;
    bytes_ -= current_->bytes;
    current_->bytes = current_->measure();
    bytes_ += current_->bytes;
    if (bytes_ > budget_)
        trim();
}

std::optional<UndoHistory::Move> UndoHistory::undo(const TextSnapshot& text)
{
    if (!canUndo())
        return std::nullopt;
    Node& node = *current_;
    TextEdit forth = node.edit.inverse(text);
    Move move{std::exchange(node.edit, std::move(forth)), node.before};
    current_ = node.parent;
    const auto self = std::find_if(current_->children.begin(), current_->children.end(),
                                   [&](const std::unique_ptr<Node>& child) { return child.get() == &node; });
    current_->preferred = static_cast<std::size_t>(self - current_->children.begin());
    sealed_ = true;
    return move;
}

std::optional<UndoHistory::Move> UndoHistory::redo(const TextSnapshot& text)
{
    if (!canRedo())
        return std::nullopt;
    Node& node = *current_->children[current_->preferred];
    TextEdit back = node.edit.inverse(text);
    Move move{std::exchange(node.edit, std::move(back)), node.after};
    current_ = &node;
    sealed_ = true;
    return move;
}

void UndoHistory::preferNextBranch()
{
    if (canRedo())
        current_->preferred = (current_->preferred + 1) % current_->children.size();
}

// Takes a node with all that follows it out of the tree.
void UndoHistory::drop(Node& node)
{
    std::vector<const Node*> all{&node};
    while (!all.empty()) {
        const Node* each = all.back();
        all.pop_back();
        bytes_ -= each->bytes;
        for (const std::unique_ptr<Node>& child : each->children)
            all.push_back(child.get());
    }
    Node& parent = *node.parent;
    const auto self = std::find_if(parent.children.begin(), parent.children.end(),
                                   [&](const std::unique_ptr<Node>& child) { return child.get() == &node; });
    const auto index = static_cast<std::size_t>(self - parent.children.begin());
    parent.children.erase(self);
    if (parent.preferred > index || parent.preferred == parent.children.size())
        parent.preferred -= parent.preferred ? 1 : 0;
}

void UndoHistory::trim()
{
    const std::size_t target = budget_ - budget_ / 10;  // so that not every key press has to trim
    // Branches off the way to the present, oldest first: those that leave it first.
    std::vector<Node*> way;
    for (Node* node = current_; node; node = node->parent)
        way.push_back(node);
    std::reverse(way.begin(), way.end());
    for (std::size_t index = 0; index + 1 < way.size() && bytes_ > target; ++index) {
        for (std::size_t child = 0; child < way[index]->children.size() && bytes_ > target;) {
            if (way[index]->children[child].get() == way[index + 1])
                ++child;
            else
                drop(*way[index]->children[child]);
        }
    }
    // Then the oldest steps: the state behind them becomes the oldest.
    while (bytes_ > target && root_->children.size() == 1 && current_->parent && current_->parent != root_.get()) {
        std::unique_ptr<Node> next = std::move(root_->children.front());
        bytes_ -= next->bytes;
        next->bytes = 0;
        next->parent = nullptr;
        next->edit = {};
        root_->children.clear();
        root_ = std::move(next);
    }
}

}  // namespace penmark
