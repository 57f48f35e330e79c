// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

/// A construct that a scanner is inside of.
enum class FrameKind : std::uint8_t {
    lineComment,      ///< continued by a backslash
    blockComment,     ///< number: how many opened inside
    string,           ///< detail: the rule; number: see StringFlags
    hashString,       ///< detail: HashForm; number: hashes
    delimitedString,  ///< number: the closing text
    interpolation,    ///< detail: the closing bracket; number: brackets opened inside
    hereDocument,     ///< detail: HereFlags; number: the closing line
    htmlComment,      ///< detail: 1 for CDATA
    htmlTag,          ///< detail: HtmlTag
    htmlValue,        ///< detail: the quotation mark
    embedded,         ///< detail: the language; what stands above belongs to it
    cssBlock,         ///< detail: CssPlace; number: blocks opened
    fence,            ///< detail: the language + 1, 0 for none; number: length * 2 + 1 for tildes
    yamlBlock,        ///< number: how far the key is indented
    yamlFlow,         ///< number: brackets opened
};

struct Frame {
    FrameKind kind = FrameKind::lineComment;
    std::uint8_t detail = 0;
    std::uint16_t number = 0;

    friend bool operator==(const Frame&, const Frame&) = default;
};

/// The constructs that are open, the innermost on top. What does not fit is not entered.
class ScanState {
public:
    static constexpr std::size_t capacity = 10;

    std::size_t depth() const { return depth_; }
    Frame& top() { return frames_[depth_ - 1U]; }
    const Frame& operator[](std::size_t index) const { return frames_[index]; }
    bool push(Frame frame)
    {
        if (depth_ == capacity)
            return false;
        frames_[depth_++] = frame;
        return true;
    }
    void pop() { truncate(depth_ - 1U); }
    void truncate(std::size_t depth)
    {
        while (depth_ > depth)
            frames_[--depth_] = {};  // unused frames stay equal, so that states compare
    }

    friend bool operator==(const ScanState&, const ScanState&) = default;

private:
    std::array<Frame, capacity> frames_{};
    std::uint8_t depth_ = 0;
};

struct ScanStateHash {
    std::size_t operator()(const ScanState& state) const noexcept
    {
        std::size_t hash = state.depth();
        for (std::size_t i = 0; i < state.depth(); ++i) {
            const std::size_t frame = static_cast<std::size_t>(state[i].kind) << 24U |
                                      static_cast<std::size_t>(state[i].detail) << 16U | state[i].number;
            hash = (hash ^ frame) * 0x9E3779B97F4A7C15U;
            hash ^= hash >> 29U;
        }
        return hash;
    }
};

/// The texts that end here-documents and raw strings, each under a number.
class DelimiterTable {
public:
    static constexpr std::size_t longest = 255;  ///< bytes

    /// Absent if the text is too long or there are too many.
    std::optional<std::uint16_t> numberOf(std::string_view text)
    {
        constexpr std::size_t most = 1024;
        for (std::size_t i = 0; i < texts_.size(); ++i) {
            if (texts_[i] == text)
                return static_cast<std::uint16_t>(i);
        }
        if (text.size() > longest || texts_.size() == most)
            return std::nullopt;
        texts_.emplace_back(text);
        return static_cast<std::uint16_t>(texts_.size() - 1);
    }
    const std::string& operator[](std::uint16_t number) const { return texts_[number]; }

private:
    std::vector<std::string> texts_;
};

}  // namespace penmark
