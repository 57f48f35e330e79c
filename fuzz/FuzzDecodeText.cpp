// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Utf8.h"
#include "storage/RecoveryEncoding.h"
#include "storage/RecoveryError.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

/// A file that opens as text must be valid text and be saved as the bytes that it had. One that is refused must have an
/// offending byte, and an offset of that byte inside the file. The same as each encoding that somebody may choose;
/// there a text that is encoded again must be that text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace penmark;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto offending = findUnsupportedByte(bytes);
    try {
        const DecodedText decoded = decodeText(bytes);
        if (offending || !isValidUtf8(decoded.text) || encodeText(decoded.text, decoded.encoding) != bytes)
            std::abort();
    } catch (const RecoveryError&) {
        if (!offending || offending->offset >= size || offending->line == 0)
            std::abort();
    }
    for (const auto& [encoding, word] : storedWords(RecoveryEncoding{})) {
        const bool isRefused = findUnsupportedByte(bytes, encoding).has_value();
        try {
            const std::string text = decodeText(bytes, encoding);
            if (isRefused || !isValidUtf8(text) || decodeText(encodeText(text, encoding), encoding) != text)
                std::abort();
        } catch (const RecoveryError&) {
            if (!isRefused)
                std::abort();
        }
    }
    return 0;
}
