// SPDX-License-Identifier: GPL-3.0-or-later
#include "Texts.h"
#include "storage/lzfse/Decoder.h"
#include "storage/lzfse/Encoder.h"
#include "storage/lzfse/Format.h"
#include "storage/lzfse/Memory.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace penmark::lzfse {
namespace {

using test::randomBytes;
using test::repeated;
using test::words;

// The kinds of the blocks of a stream, by the last letter of their names, without the end marker.
std::string blockKinds(std::string_view stream)
{
    std::string kinds;
    const auto number = [&](std::size_t at) { return load<std::uint32_t>(stream.data() + at); };
    while (number(0) != end_of_stream) {
        kinds += stream[3];
        std::size_t size = 0;
        if (number(0) == stored_block)
            size = stored_header_size + number(4);
        else if (number(0) == lzvn_block)
            size = lzvn_header_size + number(8);
        else {
            EXPECT_LE(load<std::uint64_t>(stream.data() + 8) & 0xfffff, 40'000U);
            EXPECT_LE(load<std::uint64_t>(stream.data() + 8) >> 40 & 0xfffff, 10'000U);
            size = number(24) + (load<std::uint64_t>(stream.data() + 8) >> 20 & 0xfffff) +
                   (load<std::uint64_t>(stream.data() + 16) >> 40 & 0xfffff);
        }
        stream.remove_prefix(size);
    }
    EXPECT_EQ(stream.size(), magic_size);
    return kinds;
}

class RoundTrip : public testing::Test {
protected:
    // Encodes into, and decodes out of and into, memory that ends where it must. Returns the stream.
    std::string check(const std::string& text)
    {
        const std::size_t room = maxEncodedSize(text.size());
        EXPECT_EQ(room, text.size() + 12);
        const auto encoded = std::make_unique<char[]>(room);
        const std::size_t size = encoder_.encode(text, {encoded.get(), room});
        EXPECT_LE(size, room);
        const auto stream = std::make_unique<char[]>(size);
        std::copy_n(encoded.get(), size, stream.get());

        const auto decoded = std::make_unique<char[]>(text.size());
        const std::span exactRoom(decoded.get(), text.size());
        EXPECT_EQ(decoder_.decode({stream.get(), size}, exactRoom), text.size());
        EXPECT_TRUE(std::string_view(decoded.get(), text.size()) == text);
        EXPECT_TRUE(decoder_.decode({stream.get(), size}, text.size() + 1'000, out_));
        EXPECT_TRUE(out_ == text);
        if (!text.empty()) {
            EXPECT_FALSE(decoder_.decode({stream.get(), size}, exactRoom.first(text.size() - 1)));
        }
        return {stream.get(), size};
    }

    Encoder encoder_;
    Decoder decoder_;
    std::string out_;
};

TEST_F(RoundTrip, KeepsTextsOfEverySmallSize)
{
    const std::string prose = words(1'100, 1);
    for (std::size_t size = 0; size <= prose.size(); ++size) {
        SCOPED_TRACE(size);
        check(prose.substr(0, size));
        check(std::string(size, 'x'));
        check(repeated("abc", size));
        check(randomBytes(size, static_cast<unsigned>(size), 3));
    }
}

TEST_F(RoundTrip, KeepsTextsAtTheLimitsOfTheFormat)
{
    const std::string prose = words(700'000, 2);
    const std::string noise = randomBytes(400'000, 3);
    for (const std::size_t size : {65'535U, 65'536U, 65'537U, 131'072U, 700'000U}) {
        SCOPED_TRACE(size);
        check(prose.substr(0, size));
        check(std::string(size, '\0'));
    }
    for (std::size_t period = 1; period <= 40; ++period) {
        SCOPED_TRACE(period);
        check(repeated(noise.substr(0, period), 3'000 + period));
    }
    // Matches around the longest, and twice the longest, that one triple holds.
    for (std::size_t length : {2'358U, 2'359U, 2'360U, 2'363U, 4'717U, 4'718U, 4'719U}) {
        SCOPED_TRACE(length);
        const std::string part = noise.substr(0, 5'000);
        check(part + part.substr(0, length) + noise.substr(6'000, 50));
        check(part.substr(0, 100) + std::string(length, 'a') + prose.substr(0, 5'000));
    }
    // Runs of literals around the longest of one triple, between matches.
    for (std::size_t run : {15U, 16U, 17U, 314U, 315U, 316U, 629U, 630U, 631U, 2'000U}) {
        SCOPED_TRACE(run);
        std::string text;
        for (std::size_t i = 0; i < 40; ++i)
            text += prose.substr(100, 300) + randomBytes(run, static_cast<unsigned>(i), 100);
        check(text);
    }
    // More literals, and more triples, than one block holds.
    EXPECT_EQ(blockKinds(check(randomBytes(39'999, 4, 60))), "2");
    EXPECT_EQ(blockKinds(check(randomBytes(100'000, 4, 60))), "222");
    std::string shortMatches;
    for (unsigned i = 0; shortMatches.size() < 200'000; ++i)
        shortMatches += prose.substr(i * 7'919 % 5'000, 6) + static_cast<char>('0' + i * i % 64);
    EXPECT_GE(blockKinds(check(shortMatches)).size(), 2U);
}

// The search judges three positions by one limit, so it stays up to three bytes short of the format's.
TEST_F(RoundTrip, RefersBackAsFarAsTheFormatAllows)
{
    const std::string part = randomBytes(300, 5);
    const auto sizeAtDistance = [&](std::size_t distance) {
        return check(part + std::string(distance - part.size(), '\0') + part).size();
    };
    EXPECT_LT(sizeAtDistance(max_distance - 3) + 150, sizeAtDistance(max_distance + 1));
}

TEST_F(RoundTrip, TakesTheSmallestForm)
{
    const std::string prose = words(400'000, 6);
    const std::string noise = randomBytes(400'000, 7);
    EXPECT_EQ(blockKinds(check("")), "-");
    EXPECT_EQ(blockKinds(check("Penmark")), "-");
    EXPECT_EQ(blockKinds(check(repeated("Penmark", 100))), "n");
    EXPECT_EQ(blockKinds(check(prose.substr(0, 2'000))), "2");
    EXPECT_EQ(blockKinds(check(prose.substr(0, 65'536))), "2");
    for (const std::size_t size : {100U, 500U, 1'000U, 1'025U, 5'000U, 65'536U, 400'000U}) {
        SCOPED_TRACE(size);
        const std::string stream = check(noise.substr(0, size));
        EXPECT_EQ(blockKinds(stream), "-");
        EXPECT_EQ(stream.size(), size + 12);
    }

    // Noise between texts is stored in blocks of its own, and matches reach into it.
    const std::string mixed = prose.substr(0, 150'000) + noise.substr(0, 150'000) + prose.substr(150'000, 150'000) +
                              noise.substr(100'000, 50'000);
    const std::string stream = check(mixed);
    EXPECT_NE(blockKinds(stream).find("2-2"), std::string::npos) << blockKinds(stream);
    EXPECT_LT(stream.size(), 150'000 + 2 * check(prose.substr(0, 150'000)).size() + 10'000);

    // What a dictionary coder can be expected to do with text like this.
    EXPECT_LT(check(prose.substr(0, 65'536)).size(), 26'000U);
    EXPECT_LT(check(std::string(65'536, 'a')).size(), 250U);
}

// A full block that saves next to nothing, then one that must be stored: together they may not exceed the stored form.
TEST_F(RoundTrip, NeverExceedsTheStoredForm)
{
    for (unsigned letters = 236; letters <= 246; ++letters) {
        for (unsigned seed = 0; seed < 20; ++seed) {
            SCOPED_TRACE(letters * 100 + seed);
            check(randomBytes(40'000, seed, letters) + randomBytes(5'000, seed + 1'000));
        }
    }
}

// Neither what was encoded before nor the wrap of the positions may show.
TEST_F(RoundTrip, DoesNotDependOnWhatWasEncodedBefore)
{
    const std::string prose = words(200'000, 8);
    Encoder nearTheEnd(0xffff'ffff - 1'000'000);
    for (std::size_t i = 0; i < 3'000; ++i) {
        const std::string text = prose.substr(i * 7'919 % 100'000, i * 104'729 % (i % 50 == 0 ? 65'537 : 3'000));
        const std::string stream = encoder_.encode(text);
        ASSERT_TRUE(nearTheEnd.encode(text) == stream) << i;
        if (i % 50 == 0) {
            ASSERT_TRUE(Encoder().encode(text) == stream) << i;
        }
        ASSERT_TRUE(decoder_.decode(stream, text.size(), out_)) << i;
        ASSERT_TRUE(out_ == text) << i;
    }
    for (const std::uint32_t room : {0U, 1U, 65'535U, 65'536U, 65'537U}) {
        Encoder encoder(0xffff'ffff - room);
        const std::string text = prose.substr(0, 65'536);
        EXPECT_TRUE(encoder.encode(text) == encoder_.encode(text)) << room;
        EXPECT_TRUE(encoder.encode(text) == encoder_.encode(text)) << room;
    }
    Encoder moved = std::move(encoder_);
    Decoder movedDecoder = std::move(decoder_);
    EXPECT_TRUE(movedDecoder.decode(moved.encode(prose), prose.size(), out_));
    EXPECT_TRUE(out_ == prose);
}

}  // namespace
}  // namespace penmark::lzfse
