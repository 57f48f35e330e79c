// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextFilter.h"

#include "base/SystemError.h"

#include <bit>
#include <cstring>

namespace penmark {

namespace {

constexpr std::uint32_t bitCount = 8 * TextFilter::bytes;
constexpr std::size_t blockSize = 16'384;
constexpr std::uint32_t beyondAscii = 0x808080;

struct BitPair {
    std::uint32_t first;
    std::uint32_t second;
};

constexpr BitPair bitsOf(std::uint32_t trigram)
{
    const std::uint32_t mixed = trigram * 0x9E3779B1U;
    return {(mixed ^ (mixed >> 16U)) % bitCount, (trigram * 0x91B086FBU) >> 18U};
}

constexpr std::array<std::uint8_t, 256> lowerCase = [] {
    std::array<std::uint8_t, 256> table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte)
        table[byte] = static_cast<std::uint8_t>(byte >= 'A' && byte <= 'Z' ? byte | 0x20 : byte);
    return table;
}();

/// The trigram that ends with a byte, given the one that ends before it.
constexpr std::uint32_t next(std::uint32_t trigram, char byte)
{
    return (trigram << 8U | lowerCase[static_cast<std::uint8_t>(byte)]) & 0xffffffU;
}

bool isAscii(std::string_view text)
{
    std::uint64_t all = 0;
    std::size_t i = 0;
    for (; i + sizeof all <= text.size(); i += sizeof all) {
        std::uint64_t eight = 0;
        std::memcpy(&eight, text.data() + i, sizeof eight);
        all |= eight;
    }
    for (; i < text.size(); ++i)
        all |= static_cast<std::uint8_t>(text[i]);
    return (all & 0x8080808080808080U) == 0;
}

/// Sets the bits of a short text in the filter itself.
class BitSetter {
public:
    explicit BitSetter(std::array<std::uint8_t, TextFilter::bytes>& bits) : bits_(bits) {}
    void add(std::uint32_t trigram)
    {
        const auto [first, second] = bitsOf(trigram);
        set(first);
        set(second);
    }

private:
    void set(std::uint32_t bit)
    {
        std::uint8_t& byte = bits_[bit / 8];
        byte = static_cast<std::uint8_t>(byte | (1U << bit % 8));
    }
    std::array<std::uint8_t, TextFilter::bytes>& bits_;
};

/// Sets the bits of a long text in a byte each. That takes two stores and no load, so that one trigram need not wait
/// for another.
class ByteSetter {
public:
    explicit ByteSetter(std::array<std::uint8_t, TextFilter::bytes>& bits) : bits_(bits) {}
    void add(std::uint32_t trigram)
    {
        const auto [first, second] = bitsOf(trigram);
        std::uint8_t* const set = set_.data();  // unchecked: both are 14 bits
        set[first] = 1;
        set[second] = 1;
    }
    void finish()
    {
        for (std::size_t i = 0; i < bits_.size(); ++i) {
            // Each of eight bytes 0 or 1 moves to a bit of the highest byte, in their order.
            std::uint64_t eight = 0;
            std::memcpy(&eight, set_.data() + 8 * i, sizeof eight);
            if constexpr (std::endian::native == std::endian::big)
                eight = __builtin_bswap64(eight);
            bits_[i] = static_cast<std::uint8_t>(bits_[i] | (eight * 0x0102040810204080U) >> 56U);
        }
    }

private:
    std::array<std::uint8_t, TextFilter::bytes>& bits_;
    std::array<std::uint8_t, bitCount> set_{};
};

/// Hands every trigram of ASCII in the text to the setter. With `onlyAscii` it ends at the first byte that is none, and
/// returns false.
template <class Setter>
bool walk(std::string_view text, bool onlyAscii, const std::stop_token& stop, Setter& setter)
{
    std::uint32_t trigram = beyondAscii;  // so the first two bytes end none
    for (std::size_t start = 0; start < text.size(); start += blockSize) {
        if (stop.stop_requested())
            throw Cancelled();
        const std::string_view block = text.substr(start, blockSize);
        // Once none of the two bytes before is beyond ASCII, nothing needs to be looked at more closely.
        if ((trigram & beyondAscii) == 0 && isAscii(block)) {
            for (const char byte : block)
                setter.add(trigram = next(trigram, byte));
            continue;
        }
        for (const char byte : block) {
            trigram = next(trigram, byte);
            if ((trigram & beyondAscii) == 0)
                setter.add(trigram);
            else if (onlyAscii && (trigram & 0x80U) != 0)
                return false;
        }
    }
    return true;
}

bool addText(std::array<std::uint8_t, TextFilter::bytes>& bits, std::string_view text, bool onlyAscii,
             const std::stop_token& stop)
{
    // Below this, spreading the bits and gathering them takes longer than it saves.
    constexpr std::size_t shortText = 2'048;
    if (text.size() <= shortText) {
        BitSetter setter(bits);
        return walk(text, onlyAscii, stop, setter);
    }
    ByteSetter setter(bits);
    const bool isAscii = walk(text, onlyAscii, stop, setter);
    setter.finish();
    return isAscii;
}

}  // namespace

bool TextFilter::addAscii(std::string_view text, const std::stop_token& stop)
{
    return addText(bits_, text, true, stop);
}

void TextFilter::addAsciiOf(std::string_view text, const std::stop_token& stop)
{
    addText(bits_, text, false, stop);
}

bool TextFilter::mayHold(std::string_view word) const noexcept
{
    std::uint32_t trigram = beyondAscii;
    for (const char byte : word) {
        trigram = next(trigram, byte);
        if ((trigram & beyondAscii) != 0)
            continue;  // the first two bytes; and what is never added
        const auto [first, second] = bitsOf(trigram);
        for (const std::uint32_t bit : {first, second}) {
            if ((bits_[bit / 8] >> bit % 8 & 1U) == 0)
                return false;
        }
    }
    return true;
}

}  // namespace penmark
