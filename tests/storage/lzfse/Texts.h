// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

/// Texts to compress, the same in every run.
namespace penmark::lzfse::test {

/// Draws numbers below `count`.
class Draw {
public:
    explicit Draw(unsigned seed) : engine_(seed) {}
    unsigned operator()(unsigned count) { return static_cast<unsigned>(engine_() % count); }

private:
    std::mt19937 engine_;
};

/// `size` bytes drawn evenly from `letters` values; 256 cannot be compressed.
inline std::string randomBytes(std::size_t size, unsigned seed, unsigned letters = 256)
{
    Draw draw(seed);
    std::string text(size, '\0');
    for (char& c : text)
        c = static_cast<char>(draw(letters) + (letters < 256 ? ' ' : 0));
    return text;
}

/// Words of a made-up language, the frequent ones short, in lines.
inline std::string words(std::size_t size, unsigned seed)
{
    Draw draw(seed);
    std::vector<std::string> language;
    for (unsigned i = 0; i < 800; ++i) {
        std::string word;
        for (unsigned length = 2 + i / 100 + draw(3); length > 0; --length)
            word += static_cast<char>('a' + draw(26) * draw(26) / 26);
        language.push_back(word);
    }
    std::string text;
    while (text.size() < size) {
        const unsigned rank = draw(800);
        text += language[rank * draw(800) / 800];
        text += draw(12) == 0 ? '\n' : ' ';
    }
    text.resize(size);
    return text;
}

inline std::string repeated(std::string_view pattern, std::size_t size)
{
    std::string text;
    while (text.size() < size)
        text += pattern;
    text.resize(size);
    return text;
}

}  // namespace penmark::lzfse::test
