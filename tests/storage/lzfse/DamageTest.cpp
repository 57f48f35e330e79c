// SPDX-License-Identifier: GPL-3.0-or-later
#include "Texts.h"
#include "storage/lzfse/BlockEncoder.h"
#include "storage/lzfse/Decoder.h"
#include "storage/lzfse/Encoder.h"
#include "storage/lzfse/Memory.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace penmark::lzfse {
namespace {

// Decodes from memory that ends with the stream into a room with guards behind it. Returns whether it decoded.
bool decodeGuarded(Decoder& decoder, std::string_view stream, std::size_t room)
{
    constexpr std::size_t guard = 64;
    constexpr char mark = '\x5a';
    const auto exact = std::make_unique<char[]>(stream.size());
    std::copy(stream.begin(), stream.end(), exact.get());
    std::string out(room + guard, mark);
    const auto size = decoder.decode({exact.get(), stream.size()}, std::span(out).first(room));
    EXPECT_LE(size.value_or(0), room);
    EXPECT_EQ(out.substr(room), std::string(guard, mark));
    return size.has_value();
}

struct Sample {
    const char* name;
    std::string text;
    std::size_t mostAccepted;  // of 1000 single-bit errors, as the format has no checksum; 0 where nearly all are
};

std::vector<Sample> samples()
{
    const std::string prose = test::words(4'000, 1);
    return {{"stored", test::randomBytes(60, 2), 850},
            {"opcodes", prose.substr(0, 150) + prose.substr(40, 100) + prose.substr(20, 130), 900},
            {"triples", prose.substr(0, 2'000), 230},
            {"runs", std::string(3'000, 'a') + test::repeated("ab", 3'000) + test::repeated("abcdefg", 3'000), 120},
            {"several blocks", prose.substr(0, 1'500) + test::randomBytes(42'000, 3, 250), 0}};
}

TEST(Damage, CutStreamsAreRefused)
{
    Encoder encoder;
    Decoder decoder;
    for (const Sample& sample : samples()) {
        SCOPED_TRACE(sample.name);
        const std::string stream = encoder.encode(sample.text);
        ASSERT_TRUE(decodeGuarded(decoder, stream, sample.text.size()));
        const std::size_t step = stream.size() / 3'000 + 1;
        for (std::size_t size = 0; size < stream.size(); size += step)
            ASSERT_FALSE(decodeGuarded(decoder, stream.substr(0, size), sample.text.size())) << size;
        EXPECT_FALSE(decodeGuarded(decoder, stream + stream.back(), sample.text.size()));
        EXPECT_FALSE(decodeGuarded(decoder, stream + stream, sample.text.size() * 2));
    }
}

TEST(Damage, SingleBitErrorsStayInsideTheRoom)
{
    Encoder encoder;
    Decoder decoder;
    for (const Sample& sample : samples()) {
        SCOPED_TRACE(sample.name);
        std::string stream = encoder.encode(sample.text);
        const std::size_t step = stream.size() / 2'000 + 1;
        std::size_t accepted = 0;
        std::size_t tried = 0;
        for (std::size_t bit = 0; bit < stream.size() * 8; bit += step) {
            const auto flip = [&] { stream[bit / 8] = static_cast<char>(stream[bit / 8] ^ (1 << bit % 8)); };
            flip();
            accepted += decodeGuarded(decoder, stream, sample.text.size()) ? 1 : 0;
            ++tried;
            flip();
        }
        if (sample.mostAccepted != 0) {
            EXPECT_LE(accepted * 1'000, sample.mostAccepted * tried);
        }
        EXPECT_TRUE(decodeGuarded(decoder, stream, sample.text.size()));  // nothing of the failures stayed behind
    }
}

// Rooms that end anywhere: copies in wide steps may not write past them, nor may the text come out short.
TEST(Damage, RoomsOfOtherSizesAreNeverExceeded)
{
    Encoder encoder;
    Decoder decoder;
    for (const Sample& sample : samples()) {
        SCOPED_TRACE(sample.name);
        const std::string stream = encoder.encode(sample.text);
        const std::size_t size = sample.text.size();
        for (std::size_t less = 1; less <= std::min<std::size_t>(size, 300); ++less)
            ASSERT_FALSE(decodeGuarded(decoder, stream, size - less)) << less;
        for (std::size_t more = 0; more <= 80; ++more)
            ASSERT_TRUE(decodeGuarded(decoder, stream, size + more)) << more;
    }
}

// One block of these literals and triples, whether they fit together or not.
std::string streamOf(std::string literals, std::vector<Triple> triples, std::uint32_t rawSize)
{
    const std::size_t size = literals.size();
    literals.resize(size + 3);
    std::string stream(BlockEncoder::max_size, '\0');
    const auto encoder = std::make_unique<BlockEncoder>();
    stream.resize(encoder->encode(std::span(literals).first(size), triples, rawSize, stream.data()));
    return stream + "bvx$";
}

TEST(Damage, BlocksThatContradictThemselvesAreRefused)
{
    const struct {
        const char* name;
        std::string literals;
        std::vector<Triple> triples;
        std::uint32_t rawSize;
        bool valid;
    } cases[] = {
        {"sound", "abcdefgh", {{1, 8, 0}, {8, 0, 5}}, 13, true},
        {"sound, and repeats its distance", "abcdefgh", {{4, 8, 5}, {4, 0, 5}}, 18, true},
        {"distance of a triple without a match is not looked at", "abcdefgh", {{200, 4, 0}, {1, 4, 4}}, 12, true},
        {"one literal too few", "abcd", {{1, 5, 0}}, 5, false},
        {"three literals too few", "abcd", {{1, 7, 0}}, 7, false},
        {"four literals not used", "abcdefgh", {{1, 4, 4}}, 8, false},
        {"less text than said", "abcdefgh", {{8, 8, 5}}, 14, false},
        {"more text than said", "abcdefgh", {{8, 8, 5}}, 12, false},
        {"distance one too far", "abcdefgh", {{9, 8, 5}}, 13, false},
        {"no distance before", "abcdefgh", {{0, 8, 5}}, 13, false},
    };
    Decoder decoder;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string stream = streamOf(c.literals, c.triples, c.rawSize);
        for (const std::size_t more : {0U, 100U}) {  // with exact and with wide copies
            EXPECT_EQ(decodeGuarded(decoder, stream, c.rawSize + more), c.valid);
        }
    }

    // The bits of the last byte that are not used must be 0.
    std::string stream = streamOf("abcdefgh", {{1, 8, 0}, {8, 0, 5}, {3, 0, 4}}, 17);
    ASSERT_TRUE(decodeGuarded(decoder, stream, 17));
    ASSERT_NE(load<std::uint64_t>(stream.data() + 16) >> 60, 7U) << "no bits are left over in this one";
    stream[stream.size() - 5] = static_cast<char>(stream[stream.size() - 5] | 0x80);
    EXPECT_FALSE(decodeGuarded(decoder, stream, 17));
}

// Triples of nothing, which no encoder makes, where there is no room for a wide copy: at the start of a block, alone,
// and behind another block that fills the room.
TEST(Damage, TriplesOfNothingWriteNothing)
{
    Decoder decoder;
    const std::string before = "bvx-" + std::string("\x08\0\0\0", 4) + "12345678";
    for (const std::uint32_t distance : {1U, 4U, 8U, 20U}) {
        const std::vector<Triple> nothing(3, Triple{distance, 0, 0});
        std::vector<Triple> then = nothing;
        then.push_back({1, 8, 0});
        for (std::size_t more = 0; more <= 80; ++more) {
            SCOPED_TRACE(std::to_string(distance) + ", room for " + std::to_string(more) + " more");
            EXPECT_TRUE(decodeGuarded(decoder, streamOf("", nothing, 0), more));
            EXPECT_TRUE(decodeGuarded(decoder, streamOf("abcdefgh", then, 8), 8 + more));
            EXPECT_TRUE(decodeGuarded(decoder, before + streamOf("", nothing, 0), 8 + more));
            EXPECT_TRUE(decodeGuarded(decoder, before + streamOf("abcdefgh", then, 8), 16 + more));
            EXPECT_FALSE(decodeGuarded(decoder, before + streamOf("abcdefgh", then, 8), 15));
        }
    }
}

TEST(Damage, OpcodesWithoutAMeaningAreRefused)
{
    Decoder decoder;
    for (unsigned opcode = 0; opcode < 256; ++opcode) {
        SCOPED_TRACE(opcode);
        const unsigned high = opcode >> 4;
        const bool undefined = high == 0x7 || high == 0xd || opcode == 0x1e || opcode == 0x26 || opcode == 0x2e ||
                               opcode == 0x36 || opcode == 0x3e;
        // Eight literals and a match, then the opcode with as many bytes as any might take, and the end.
        bool decoded = false;
        for (std::size_t following = 0; following <= 20; ++following) {
            const std::string payload = std::string("\xe8qrstuvwx\x00\x05", 11) + static_cast<char>(opcode) +
                                        std::string(following, '\1') + '\x06' + std::string(7, '\0');
            for (std::uint32_t rawSize = 11; rawSize < 60; ++rawSize) {
                std::string stream = "bvxn" + std::string(8, '\0') + payload + "bvx$";
                store(stream.data() + 4, rawSize);
                store(stream.data() + 8, static_cast<std::uint32_t>(payload.size()));
                decoded = decodeGuarded(decoder, stream, rawSize) || decoded;
            }
        }
        if (undefined) {
            EXPECT_FALSE(decoded);
        } else if (opcode % 8 == 0 && high != 0xa && high != 0xb) {  // distance 1
            EXPECT_TRUE(decoded);
        }
    }
}

}  // namespace
}  // namespace penmark::lzfse
