// SPDX-License-Identifier: GPL-3.0-or-later
#include "LzvnDecoder.h"

#include "Matches.h"
#include "Memory.h"

#include <algorithm>

namespace penmark::lzfse {

namespace {

enum class Kind : std::uint8_t {
    smallDistance,
    mediumDistance,
    largeDistance,
    sameDistance,
    match,
    longMatch,
    literals,
    longLiterals,
    nothing,
    end,
    undefined
};

constexpr std::uint32_t end_opcode = 0x06;

constexpr Kind kindOf(std::uint32_t opcode)
{
    if (opcode == end_opcode)
        return Kind::end;
    if (opcode == 0x0e || opcode == 0x16)
        return Kind::nothing;
    if ((opcode < 0x40 && (opcode & 7) == 6) || (opcode >> 4) == 0x7 || (opcode >> 4) == 0xd)
        return Kind::undefined;
    if (opcode >> 5 == 0xa0 >> 5)
        return Kind::mediumDistance;
    if (opcode >= 0xf0)
        return opcode == 0xf0 ? Kind::longMatch : Kind::match;
    if (opcode >= 0xe0)
        return opcode == 0xe0 ? Kind::longLiterals : Kind::literals;
    if ((opcode & 7) == 6)
        return Kind::sameDistance;
    return (opcode & 7) == 7 ? Kind::largeDistance : Kind::smallDistance;
}

struct Opcode {
    Kind kind;
    std::uint8_t size;  // without its literals
    std::uint8_t run;   // as far as the first byte says
    std::uint8_t match;
};

constexpr Opcode describe(std::uint32_t byte)
{
    const Kind kind = kindOf(byte);
    const auto run = static_cast<std::uint8_t>(byte >> 6);
    const auto match = static_cast<std::uint8_t>((byte >> 3 & 7) + 3);
    const auto low = static_cast<std::uint8_t>(byte & 15);
    switch (kind) {
    case Kind::smallDistance:
        return {kind, 2, run, match};
    case Kind::mediumDistance:
        return {kind, 3, static_cast<std::uint8_t>(byte >> 3 & 3), 0};
    case Kind::largeDistance:
        return {kind, 3, run, match};
    case Kind::sameDistance:
        return {kind, 1, run, match};
    case Kind::match:
        return {kind, 1, 0, low};
    case Kind::longMatch:
        return {kind, 2, 0, 0};
    case Kind::literals:
        return {kind, 1, low, 0};
    case Kind::longLiterals:
        return {kind, 2, 0, 0};
    case Kind::nothing:
        return {kind, 1, 0, 0};
    case Kind::end:
    case Kind::undefined:
        break;
    }
    return {kind, 0, 0, 0};
}

constexpr auto opcodes = [] {
    std::array<Opcode, 256> table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte)
        table[byte] = describe(byte);
    return table;
}();

}  // namespace

bool decodeLzvn(std::string_view payload, std::size_t rawSize, Output& output)
{
    if (rawSize > static_cast<std::size_t>(output.end - output.at))
        return false;
    const char* in = payload.data();
    const char* const inEnd = in + payload.size();
    char* at = output.at;
    char* const end = at + rawSize;
    std::size_t distance = 0;

    // The end opcode is eight bytes long, so any opcode can be looked at in a word of that size.
    while (inEnd - in >= static_cast<std::ptrdiff_t>(lzvn_end_size)) {
        const auto word = load<std::uint64_t>(in);
        const Opcode opcode = opcodes[word & 0xff];
        std::size_t run = opcode.run;
        std::size_t match = opcode.match;
        switch (opcode.kind) {
        case Kind::smallDistance:
            distance = (word & 7) << 8 | (word >> 8 & 0xff);
            break;
        case Kind::mediumDistance:
            match = ((word & 7) << 2 | (word >> 8 & 3)) + 3;
            distance = word >> 10 & 0x3fff;
            break;
        case Kind::largeDistance:
            distance = word >> 8 & 0xffff;
            break;
        case Kind::longMatch:
            match = (word >> 8 & 0xff) + 16;
            break;
        case Kind::longLiterals:
            run = (word >> 8 & 0xff) + 16;
            break;
        case Kind::sameDistance:
        case Kind::match:
        case Kind::literals:
        case Kind::nothing:
            break;
        case Kind::end:
            output.at = at;
            return word == end_opcode && in + lzvn_end_size == inEnd && at == end;
        case Kind::undefined:
            return false;
        }

        in += opcode.size;
        if (run + match > static_cast<std::size_t>(end - at) || run > static_cast<std::size_t>(inEnd - in))
            return false;
        const bool wide = output.end - at >= static_cast<std::ptrdiff_t>(run + match) + wide_margin;
        if (wide && inEnd - in >= 16 && run <= 16)
            copy16(at, in);
        else
            std::copy_n(in, run, at);
        in += run;
        at += run;
        if (match == 0)
            continue;
        if (distance == 0 || distance > static_cast<std::size_t>(at - output.begin))
            return false;
        if (wide)
            copyMatchWide(at, static_cast<std::uint32_t>(distance), static_cast<std::uint32_t>(match));
        else
            copyMatchExactly(at, static_cast<std::uint32_t>(distance), static_cast<std::uint32_t>(match));
        at += match;
    }
    return false;
}

}  // namespace penmark::lzfse
