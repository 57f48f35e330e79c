// SPDX-License-Identifier: GPL-3.0-or-later
#include "BlockBuilder.h"

#include <algorithm>

namespace penmark::lzfse {

void BlockBuilder::addInParts(const char* text, std::size_t run, std::uint32_t distance, std::size_t match)
{
    while (run != 0 || match != 0) {
        const std::size_t part = std::min({run, std::size_t{max_literal_run}, max_literals - literals_});
        const std::size_t matchPart = part == run ? std::min<std::size_t>(match, max_match) : 0;
        if (triples_ == max_triples || part + matchPart == 0) {
            closeBlock();
            continue;
        }
        std::copy_n(text, part, &literalBytes_[literals_]);
        // Without a match any distance will do; the one before costs least.
        const std::uint32_t before = triples_ == 0 ? 1 : tripleList_[triples_ - 1].distance;
        push(static_cast<std::uint32_t>(part), matchPart == 0 ? before : distance,
             static_cast<std::uint32_t>(matchPart));
        text += part;
        run -= part;
        match -= matchPart;
    }
}

void BlockBuilder::closeBlock()
{
    if (triples_ != 0)
        writeBlock({literalBytes_.data(), literals_}, {tripleList_.data(), triples_}, rawSize_);
    literals_ = triples_ = rawSize_ = 0;
}

}  // namespace penmark::lzfse
