// SPDX-License-Identifier: GPL-3.0-or-later
// Takes any bytes for a word and, behind a byte 0xff, a text. A word that a text holds must never be called absent,
// neither by the filter nor through the index.
#include "search/TextFilter.h"
#include "search/TextSearchIndex.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include <unistd.h>

namespace {

using namespace penmark;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

std::string lowered(std::string_view text)
{
    std::string result(text);
    for (char& c : result)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    return result;
}

bool isAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// An index in a folder that goes with the process.
struct TemporaryIndex {
    ~TemporaryIndex()
    {
        index.reset();
        std::filesystem::remove_all(folder);
    }

    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("penmark-fuzz-index-" + std::to_string(getpid()));
    std::unique_ptr<TextSearchIndex> index = std::make_unique<TextSearchIndex>(folder);
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t cut = std::min(bytes.find('\xff'), size);
    const std::string_view word = bytes.substr(0, cut);
    const std::string_view text = bytes.substr(std::min(cut + 1, size));
    const bool isThere = lowered(text).find(lowered(word)) != std::string::npos;

    TextFilter strict;
    TextFilter any;
    require(strict.addAscii(text, {}) == isAscii(text));
    any.addAsciiOf(text, {});
    require(!isAscii(text) || strict.bits() == any.bits());
    require(!isThere || any.mayHold(word));

    static const TemporaryIndex temporary;
    TextSearchIndex& index = *temporary.index;
    static int serial = 0;
    const std::string key = std::to_string(++serial);
    TextSearchRule rule;
    rule.query = word;
    require(index.lookUp(key, rule) == TextSearchIndex::Answer::unknown);
    index.record(key, text, {});
    const TextSearchIndex::Answer answer = index.lookUp(key, rule);
    require(!isThere || answer != TextSearchIndex::Answer::absent);
    require(isAscii(text) || answer == TextSearchIndex::Answer::unknown);
    return 0;
}
