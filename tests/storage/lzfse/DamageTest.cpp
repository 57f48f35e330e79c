// SPDX-License-Identifier: GPL-3.0-or-later
#include "Texts.h"
#include "storage/lzfse/Decoder.h"
#include "storage/lzfse/Encoder.h"

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
    std::size_t mostAccepted;  // of 1000 single-bit errors; the format has no checksum
};

std::vector<Sample> samples()
{
    const std::string prose = test::words(4'000, 1);
    return {{"stored", test::randomBytes(60, 2), 1'000},
            {"opcodes", prose.substr(0, 150) + prose.substr(40, 100) + prose.substr(20, 130), 900},
            {"triples", prose.substr(0, 2'000), 230},
            {"runs", std::string(3'000, 'a') + test::repeated("ab", 3'000) + test::repeated("abcdefg", 3'000), 120},
            {"several blocks", prose.substr(0, 1'500) + test::randomBytes(42'000, 3, 250), 1'000}};
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
        EXPECT_LE(accepted * 1'000, sample.mostAccepted * tried);
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

}  // namespace
}  // namespace penmark::lzfse
