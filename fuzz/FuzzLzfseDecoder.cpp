// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/lzfse/Decoder.h"
#include "storage/lzfse/Encoder.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

using namespace penmark::lzfse;

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void requireRoundTrip(std::string_view raw)
{
    static Encoder encoder;
    static Decoder decoder;
    const std::string stream = encoder.encode(raw);
    require(stream.size() <= maxEncodedSize(raw.size()));
    std::string decoded;
    require(decoder.decode(stream, raw.size(), decoded));
    require(decoded == raw);
}

}  // namespace

// The first two bytes give the limit, the rest is a stream; the whole is also a text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    requireRoundTrip(input);
    if (size < 2)
        return 0;

    static Decoder decoder;
    const std::string_view stream = input.substr(2);
    const std::size_t limit = (data[0] + std::size_t{256} * data[1]) * 4;
    std::string decoded;
    const bool valid = decoder.decode(stream, limit, decoded);
    require(decoded.size() <= limit);

    // Into a room of exactly the limit, whose end the sanitizer watches.
    const auto room = std::make_unique<char[]>(limit);
    const auto decodedSize = decoder.decode(stream, {room.get(), limit});
    require(decodedSize.has_value() == valid);
    if (valid) {
        require(std::string_view(room.get(), *decodedSize) == decoded);
        requireRoundTrip(decoded);
    }
    return 0;
}
