// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <iterator>
#include <random>
#include <string>

namespace penmark {

/// Reproducible texts of all scripts and line ends.
class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}

    /// 0 to count - 1; 0 for a count of 0.
    std::size_t below(std::size_t count) { return count ? engine_() % count : 0; }

    std::string text(std::size_t characters)
    {
        static constexpr const char* parts[] = {
            "a",
            "b",
            "Word",
            " ",
            "  ",
            "\t",
            "(",
            ")",
            "{",
            "\"",
            "1",
            ".",
            "_",
            "\n",
            "\n",
            "\r\n",
            "\r",
            "é",
            "ß",
            "İ",
            "e\u0301",
            "中",
            "文字",
            "日本",
            "שלום",
            "مرحبا",
            "ไทย",
            "क्षि",
            "한",
            "😀",
            "👨‍👩‍👧",
            "🇩🇪",
            "🏳️‍🌈",
            "\u2028",
            "\u200d",
            "\u0301",
            "\ufeff",
            "𝒳",
            "- ",
        };
        std::string result;
        for (std::size_t count = 0; count < characters; ++count)
            result += parts[below(std::size(parts))];
        return result;
    }

    std::size_t characterBoundary(const std::string& text)
    {
        std::size_t at = below(text.size() + 1);
        while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80)
            ++at;
        return at;
    }

private:
    std::mt19937 engine_;
};

}  // namespace penmark
