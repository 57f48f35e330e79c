// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/TextNode.h"

#include "base/Parallel.h"
#include "base/Utf8.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <optional>
#include <stdexcept>

namespace penmark::detail {

namespace {

bool continuesCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// At most `limit` bytes, which is more than a character, and never inside one.
std::size_t cutAtCharacter(std::string_view text, std::size_t limit)
{
    if (text.size() <= limit)
        return text.size();
    while (continuesCharacter(text[limit]))
        --limit;
    return limit;
}

TextNodePointer makeLeaf(std::shared_ptr<const void> owner, std::string_view text)
{
    return TextNodePointer(new TextLeaf(std::move(owner), text.data(), summarize(text)));
}

TextNodePointer makeOwnLeaf(std::string_view text)
{
    const std::shared_ptr<char[]> copy = std::make_shared_for_overwrite<char[]>(text.size());
    std::memcpy(copy.get(), text.data(), text.size());
    return makeLeaf(copy, {copy.get(), text.size()});
}

// Neighbours that fit into one node become one. Edits leave small ones behind, and only where they happened.
void mergeSmall(std::vector<TextNodePointer>& nodes)
{
    const auto fit = [](const TextNode& left, const TextNode& right) {
        return left.height ? left.count + right.count <= int(fanout)
                           : left.summary.bytes + right.summary.bytes <= 2 * copiedBytes;
    };
    std::size_t kept = 0;
    for (std::size_t index = 1; index < nodes.size(); ++index) {
        if (!fit(*nodes[kept], *nodes[index])) {
            if (++kept != index)
                nodes[kept] = std::move(nodes[index]);
            continue;
        }
        if (nodes[kept]->height == 0) {
            std::string both(asLeaf(*nodes[kept]).text());
            both += asLeaf(*nodes[index]).text();
            nodes[kept] = makeOwnLeaf(both);
        } else {
            std::vector<TextNodePointer> children;
            for (const TextNodePointer* half : {&nodes[kept], &nodes[index]})
                children.insert(children.end(), asInner(**half).children.begin(),
                                asInner(**half).children.begin() + (*half)->count);
            nodes[kept] = TextNodePointer(new TextInner(children));
        }
    }
    if (!nodes.empty())
        nodes.resize(kept + 1);
}

// Puts nodes of one height under as few parents as it takes, evenly.
void packInto(std::vector<TextNodePointer>& parents, std::span<TextNodePointer> nodes)
{
    std::size_t groups = (nodes.size() + fanout - 1) / fanout;
    for (; groups; --groups) {
        const std::size_t take = (nodes.size() + groups - 1) / groups;
        parents.emplace_back(new TextInner(nodes.first(take)));
        nodes = nodes.subspan(take);
    }
}

TextNodePointer treeOf(std::vector<TextNodePointer> nodes)
{
    while (nodes.size() > 1) {
        std::vector<TextNodePointer> parents;
        parents.reserve(nodes.size() / fanout + 1);
        packInto(parents, nodes);
        nodes = std::move(parents);
    }
    if (nodes.empty())
        return {};
    TextNodePointer root = std::move(nodes.front());
    while (root->height && root->count == 1) {
        TextNodePointer child = asInner(*root).children[0];
        root = std::move(child);
    }
    return root;
}

/// Walks a tree along the replacements of an edit and makes anew what they touch.
class Rebuild {
public:
    Rebuild(std::span<const Replacement> replacements, const TextNodePointer& inserted) : replacements_(replacements)
    {
        if (inserted)
            inserted_.emplace(*inserted);
    }

    // Appends what becomes of the node: any number of nodes of its height.
    void node(const TextNodePointer& node, std::size_t start, std::vector<TextNodePointer>& out)
    {
        const std::size_t end = start + node->summary.bytes;
        // What is inserted between two leaves belongs to the first, so that typing on grows one piece.
        const bool touched =
            removedUpTo_ > start || (next_ < replacements_.size() && replacements_[next_].start.value <= end);
        if (!touched) {
            out.push_back(node);
            return;
        }
        if (node->height == 0) {
            leaf(asLeaf(*node), start, out);
            return;
        }
        const TextInner& inner = asInner(*node);
        std::vector<TextNodePointer> children;
        children.reserve(fanout + 2);
        for (std::size_t index = 0; index < inner.count; ++index) {
            const TextNodePointer& child = inner.children[index];
            this->node(child, start, children);
            start += child->summary.bytes;
        }
        mergeSmall(children);
        packInto(out, children);
    }

private:
    void leaf(const TextLeaf& leaf, std::size_t start, std::vector<TextNodePointer>& out)
    {
        const std::size_t end = start + leaf.summary.bytes;
        PieceCollector pieces;
        std::size_t at = std::clamp(removedUpTo_, start, end);
        for (; next_ < replacements_.size() && replacements_[next_].start.value <= end; ++next_) {
            const Replacement& replacement = replacements_[next_];
            pieces.share(leaf, at - start, replacement.start.value - at);
            if (replacement.inserted)
                inserted_->forEach({Utf8Offset(insertedAt_), Utf8Offset(insertedAt_ + replacement.inserted)},
                                   [&](const TextLeaf& from, std::size_t offset, std::size_t length) {
                                       pieces.share(from, offset, length);
                                   });
            insertedAt_ += replacement.inserted;
            removedUpTo_ = replacement.end().value;
            at = std::min(removedUpTo_, end);
        }
        pieces.share(leaf, at - start, end - at);
        for (TextNodePointer& made : pieces.take())
            out.push_back(std::move(made));
    }

    std::span<const Replacement> replacements_;
    std::optional<LeafWalk> inserted_;
    std::size_t next_ = 0;         // replacement
    std::size_t insertedAt_ = 0;   // of the inserted text, what comes next
    std::size_t removedUpTo_ = 0;  // of the old text
};

}  // namespace

TextInner::TextInner(std::span<TextNodePointer> nodes) : TextNode(static_cast<std::uint8_t>(nodes.front()->height + 1))
{
    assert(nodes.size() <= fanout);
    for (TextNodePointer& node : nodes) {
        summary += node->summary;
        children[count++] = std::move(node);
    }
}

void PieceCollector::copy(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t room = ownPieceBytes - std::min(pending_.size(), ownPieceBytes);
        const std::size_t take = room < 4 ? 0 : cutAtCharacter(text, room);
        pending_ += text.substr(0, take);
        text.remove_prefix(take);
        if (!text.empty())
            flush();
    }
}

void PieceCollector::share(const TextLeaf& leaf, std::size_t from, std::size_t length)
{
    if (length < copiedBytes) {
        copy(leaf.text().substr(from, length));
        return;
    }
    flush();
    if (length == leaf.summary.bytes) {
        leaf.references.fetch_add(1, std::memory_order_relaxed);
        leaves_.emplace_back(&leaf);
    } else {
        leaves_.push_back(makeLeaf(leaf.owner, leaf.text().substr(from, length)));
    }
}

void PieceCollector::flush()
{
    if (!pending_.empty())
        leaves_.push_back(makeOwnLeaf(pending_));
    pending_.clear();
}

std::vector<TextNodePointer> PieceCollector::take()
{
    flush();
    return std::move(leaves_);
}

TextNodePointer PieceCollector::build() &&
{
    return treeOf(take());
}

TextNodePointer treeOver(const std::shared_ptr<const void>& owner, std::string_view text)
{
    constexpr std::size_t stretch = 128 * sharedPieceBytes;  // what a core counts at a time
    std::vector<std::string_view> pieces;
    pieces.reserve(text.size() / sharedPieceBytes + 1);
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t take = cutAtCharacter(rest, sharedPieceBytes);
        pieces.push_back(rest.substr(0, take));
        rest.remove_prefix(take);
    }
    std::vector<TextNodePointer> leaves(pieces.size());
    const auto count = [&](std::size_t from, std::size_t to) {
        for (std::size_t index = from; index < to; ++index)
            leaves[index] = makeLeaf(owner, pieces[index]);
    };
    if (text.size() <= 2 * stretch) {
        count(0, pieces.size());
    } else {
        const std::size_t perStretch = stretch / sharedPieceBytes;
        parallelFor((pieces.size() + perStretch - 1) / perStretch, [&](std::size_t index, std::size_t) {
            count(index * perStretch, std::min((index + 1) * perStretch, pieces.size()));
        });
    }
    return treeOf(std::move(leaves));
}

TextNodePointer replace(const TextNodePointer& root, std::span<const Replacement> replacements,
                        const TextNodePointer& inserted)
{
    if (!root)
        return inserted;
    std::vector<TextNodePointer> nodes;
    Rebuild(replacements, inserted).node(root, 0, nodes);
    mergeSmall(nodes);
    return treeOf(std::move(nodes));
}

bool forEachLeaf(const TextNode& node, Utf8Range range,
                 FunctionRef<bool(const TextLeaf&, std::size_t, std::size_t)> call)
{
    if (node.height == 0)
        return call(asLeaf(node), range.start.value, range.size());
    const TextInner& inner = asInner(node);
    std::size_t start = 0;
    for (std::size_t index = 0; index < inner.count && start < range.end.value; ++index) {
        const TextNode& child = *inner.children[index];
        const std::size_t end = start + child.summary.bytes;
        if (end > range.start.value) {
            const Utf8Range part{Utf8Offset(std::max(range.start.value, start) - start),
                                 Utf8Offset(std::min(range.end.value, end) - start)};
            if (!forEachLeaf(child, part, call))
                return false;
        }
        start = end;
    }
    return true;
}

std::size_t treeBytes(const TextNode& node)
{
    if (node.height == 0)
        return sizeof(TextLeaf);
    std::size_t bytes = sizeof(TextInner);
    for (std::size_t index = 0; index < node.count; ++index)
        bytes += treeBytes(*asInner(node).children[index]);
    return bytes;
}

void checkTree(const TextNode& node, bool isRoot)
{
    const auto require = [](bool holds, const char* what) {
        if (!holds)
            throw std::logic_error(what);
    };
    if (node.height == 0) {
        const std::string_view text = asLeaf(node).text();
        require(!text.empty(), "an empty leaf");
        require(isValidUtf8(text), "a leaf that is not UTF-8");
        require(node.summary == summarize(text), "a leaf that is counted wrong");
        return;
    }
    require(node.count >= (isRoot ? 2 : 1) && node.count <= fanout, "a node with too few or too many children");
    TextSummary sum;
    for (std::size_t index = 0; index < node.count; ++index) {
        const TextNode& child = *asInner(node).children[index];
        require(child.height + 1 == node.height, "leaves at different depths");
        checkTree(child, false);
        sum += child.summary;
    }
    require(sum == node.summary, "a node that is counted wrong");
}

TextNodePointer::TextNodePointer(const TextNodePointer& other) noexcept : node_(other.node_)
{
    if (node_)
        node_->references.fetch_add(1, std::memory_order_relaxed);
}

TextNodePointer::~TextNodePointer()
{
    if (!node_ || node_->references.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    if (node_->height == 0)
        delete &asLeaf(*node_);
    else
        delete &asInner(*node_);
}

}  // namespace penmark::detail
