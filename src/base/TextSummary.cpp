// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/TextSummary.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace penmark {

namespace {

using Vector = std::int8_t __attribute__((vector_size(16)));  // both compilers turn it into the machine's own
constexpr std::size_t width = sizeof(Vector);
constexpr std::size_t countLimit = 255;  // of a byte lane

Vector load(const char* from)
{
    Vector vector;
    std::memcpy(&vector, from, width);
    return vector;
}

std::size_t sumOfLanes(Vector lanes)
{
    std::uint8_t values[width];
    std::memcpy(values, &lanes, width);
    std::size_t sum = 0;
    for (std::uint8_t value : values)
        sum += value;
    return sum;
}

// As signed bytes, continuations are below -64 and the first bytes of characters beyond U+FFFF are -16 to -1.
bool startsCharacter(char byte)
{
    return static_cast<std::int8_t>(byte) >= -64;
}
bool startsSurrogatePair(char byte)
{
    return static_cast<std::uint8_t>(byte) >= 0xF0;
}

std::size_t countPairs(std::string_view text)
{
    std::size_t pairs = 0;
    std::size_t at = 0;
    while (text.size() - at > width) {
        Vector counts{};
        for (std::size_t round = 0; round < countLimit && text.size() - at > width; ++round, at += width)
            counts -= (load(text.data() + at) == '\r') & (load(text.data() + at + 1) == '\n');
        pairs += sumOfLanes(counts);
    }
    for (; at + 1 < text.size(); ++at)
        pairs += text[at] == '\r' && text[at + 1] == '\n';
    return pairs;
}

}  // namespace

TextSummary& TextSummary::operator+=(const TextSummary& next)
{
    if (!next.bytes)
        return *this;
    if (!bytes)
        return *this = next;
    pairs += next.pairs + (endsWithCarriageReturn && next.startsWithLineFeed ? 1 : 0);
    bytes += next.bytes;
    utf16Units += next.utf16Units;
    lineFeeds += next.lineFeeds;
    carriageReturns += next.carriageReturns;
    endsWithCarriageReturn = next.endsWithCarriageReturn;
    return *this;
}

TextSummary summarize(std::string_view utf8) noexcept
{
    TextSummary summary;
    summary.bytes = utf8.size();
    if (utf8.empty())
        return summary;
    std::size_t at = 0;
    while (utf8.size() - at >= width) {
        Vector starts{};
        Vector pairs{};
        Vector lineFeeds{};
        Vector carriageReturns{};
        for (std::size_t round = 0; round < countLimit && utf8.size() - at >= width; ++round, at += width) {
            const Vector bytes = load(utf8.data() + at);
            starts -= bytes >= -64;
            pairs -= (bytes >= -16) & (bytes < 0);
            lineFeeds -= bytes == '\n';
            carriageReturns -= bytes == '\r';
        }
        summary.utf16Units += sumOfLanes(starts) + sumOfLanes(pairs);
        summary.lineFeeds += sumOfLanes(lineFeeds);
        summary.carriageReturns += sumOfLanes(carriageReturns);
    }
    for (; at < utf8.size(); ++at) {
        summary.utf16Units += static_cast<std::size_t>(startsCharacter(utf8[at]) + startsSurrogatePair(utf8[at]));
        summary.lineFeeds += utf8[at] == '\n';
        summary.carriageReturns += utf8[at] == '\r';
    }
    if (summary.carriageReturns && summary.lineFeeds)
        summary.pairs = countPairs(utf8);
    summary.startsWithLineFeed = utf8.front() == '\n';
    summary.endsWithCarriageReturn = utf8.back() == '\r';
    return summary;
}

std::size_t countByte(std::string_view text, char byte) noexcept
{
    std::size_t found = 0;
    std::size_t at = 0;
    while (text.size() - at >= width) {
        Vector counts{};
        for (std::size_t round = 0; round < countLimit && text.size() - at >= width; ++round, at += width)
            counts -= load(text.data() + at) == byte;
        found += sumOfLanes(counts);
    }
    for (; at < text.size(); ++at)
        found += text[at] == byte;
    return found;
}

std::size_t utf16Length(std::string_view utf8) noexcept
{
    std::size_t units = 0;
    std::size_t at = 0;
    while (utf8.size() - at >= width) {
        Vector starts{};
        Vector pairs{};
        for (std::size_t round = 0; round < countLimit && utf8.size() - at >= width; ++round, at += width) {
            const Vector bytes = load(utf8.data() + at);
            starts -= bytes >= -64;
            pairs -= (bytes >= -16) & (bytes < 0);
        }
        units += sumOfLanes(starts) + sumOfLanes(pairs);
    }
    for (; at < utf8.size(); ++at)
        units += static_cast<std::size_t>(startsCharacter(utf8[at]) + startsSurrogatePair(utf8[at]));
    return units;
}

std::size_t byteOfUtf16Unit(std::string_view utf8, std::size_t unit) noexcept
{
    constexpr std::size_t stride = 256;
    std::size_t at = 0;
    while (utf8.size() - at > stride) {
        const std::size_t units = utf16Length(utf8.substr(at, stride));
        if (units > unit)
            break;
        unit -= units;
        at += stride;
    }
    // A stride may have ended inside a character, whose first byte was counted before: its rest counts nothing.
    for (; at < utf8.size(); ++at) {
        if (!startsCharacter(utf8[at]))
            continue;
        const std::size_t units = startsSurrogatePair(utf8[at]) ? 2 : 1;
        if (unit < units)
            return at;
        unit -= units;
    }
    return utf8.size();
}

}  // namespace penmark
