// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"
#include "text/TextEdit.h"
#include "text/TextSnapshot.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

/// The tree below a TextSnapshot: all leaves at the same depth, nodes that never change and are shared by counting.
/// A leaf refers to a piece of text in memory that it shares with others: a file as it was read, or a string of its
/// own of a few kilobytes. Internal to the text folder.
namespace penmark::detail {

constexpr std::size_t fanout = 16;
constexpr std::size_t sharedPieceBytes = 8192;  ///< what a large text is cut into; a look-up reads half of it
constexpr std::size_t ownPieceBytes = 4096;     ///< what a piece of its own may grow to; a key press copies half of it
constexpr std::size_t copiedBytes = 1024;       ///< shorter parts of pieces are copied, so that pieces stay few

class TextNode {
public:
    mutable std::atomic<std::uint32_t> references{1};
    std::uint8_t height;     ///< 0 for a leaf
    std::uint8_t count = 0;  ///< children
    TextSummary summary;

protected:
    explicit TextNode(std::uint8_t levels) : height(levels) {}
    ~TextNode() = default;
};

class TextLeaf final : public TextNode {
public:
    TextLeaf(std::shared_ptr<const void> keeper, const char* at, const TextSummary& counts)
        : TextNode(0), data(at), owner(std::move(keeper))
    {
        summary = counts;
    }
    std::string_view text() const { return {data, summary.bytes}; }

    const char* data;
    std::shared_ptr<const void> owner;
};

class TextInner final : public TextNode {
public:
    /// Adopts up to `fanout` nodes of the same height.
    explicit TextInner(std::span<TextNodePointer> nodes);

    std::array<TextNodePointer, fanout> children;
};

inline const TextLeaf& asLeaf(const TextNode& node)
{
    return static_cast<const TextLeaf&>(node);
}
inline const TextInner& asInner(const TextNode& node)
{
    return static_cast<const TextInner&>(node);
}

/// Makes leaves out of parts of texts, in order.
class PieceCollector {
public:
    void copy(std::string_view text);
    void share(const TextLeaf& leaf, std::size_t from, std::size_t length);
    /// The leaves collected so far.
    std::vector<TextNodePointer> take();
    /// The tree over them; none for an empty text.
    TextNodePointer build() &&;

private:
    void flush();

    std::vector<TextNodePointer> leaves_;
    std::string pending_;
};

/// The tree over a text that its owner keeps.
TextNodePointer treeOver(const std::shared_ptr<const void>& owner, std::string_view text);

/// The tree with the replacements made; their new text stands in `inserted`, one behind the other.
TextNodePointer replace(const TextNodePointer& root, std::span<const Replacement> replacements,
                        const TextNodePointer& inserted);

bool forEachLeaf(const TextNode& root, Utf8Range range,
                 FunctionRef<bool(const TextLeaf& leaf, std::size_t from, std::size_t length)> call);

/// Calls with the leaves of one range after another, which mostly ascend: it goes down from the root only where a range
/// leaves the leaf of the one before. What it walks outlives it.
class LeafWalk {
public:
    explicit LeafWalk(const TextNode& root) : root_(root) {}

    template <class Call>
    void forEach(Utf8Range range, Call call)
    {
        if (leaf_ && range.start >= start_ && range.end <= start_ + leaf_->summary.bytes) {
            call(*leaf_, range.start - start_, range.size());
            return;
        }
        Utf8Offset at = range.start;
        forEachLeaf(root_, range, [&](const TextLeaf& leaf, std::size_t from, std::size_t length) {
            leaf_ = &leaf;
            start_ = at - from;
            at += length;
            call(leaf, from, length);
            return true;
        });
    }

private:
    const TextNode& root_;
    const TextLeaf* leaf_ = nullptr;
    Utf8Offset start_;  // of the leaf
};

std::size_t treeBytes(const TextNode& node);
void checkTree(const TextNode& node, bool isRoot);

}  // namespace penmark::detail
