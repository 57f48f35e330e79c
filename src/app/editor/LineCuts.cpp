// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/LineCuts.h"

#include "text/Characters.h"
#include "text/TextEdit.h"
#include "text/TextSnapshot.h"

#include <algorithm>
#include <string>

namespace penmark {

namespace {
constexpr std::size_t rememberedCuts = 4'096;
}

// Behind a blank if there is one near, as a row would end.
Utf8Offset LineCuts::gridCut(const TextSnapshot& text, const TextLine& line, std::size_t index)
{
    constexpr std::size_t near = 80;
    // What is seen as one character may go on without end; a long one is cut.
    constexpr std::size_t longest = pieceBytes / 4;
    const Utf8Offset at = text.characterStart(line.start + index * pieceBytes);
    const Utf8Offset first = text.characterStart(at - longest);
    const TextSnapshot around = text.slice({first, std::min(at + longest, line.end)});
    const Utf8Offset start = graphemeStart(around, Utf8Offset(at - first));
    const Utf8Offset cut = start == Utf8Offset() ? at : first + start.value;
    const Utf8Offset from = text.characterStart(cut - std::min(near, cut - line.start));
    const std::size_t blank = text.text({from, cut}).rfind(' ');
    const Utf8Offset behind = from + (blank + 1);
    return blank != std::string::npos && graphemeStart(text, behind) == behind ? behind : cut;
}

// Between two remembered cuts those of the grid count that keep half a piece away from either.
Utf8Offset LineCuts::after(const TextSnapshot& text, const TextLine& line, Utf8Offset cut) const
{
    const auto remembered = std::upper_bound(cuts_.begin(), cuts_.end(), cut);
    const Utf8Offset limit = remembered == cuts_.end() ? line.end : std::min(*remembered, line.end);
    const std::size_t index = (cut - line.start + pieceBytes / 2 + pieceBytes - 1) / pieceBytes;
    if (line.start + index * pieceBytes + pieceBytes / 2 > limit)
        return limit;
    const Utf8Offset found = gridCut(text, line, index);
    return found > cut ? found : limit;
}

Utf8Offset LineCuts::before(const TextSnapshot& text, const TextLine& line, Utf8Offset cut) const
{
    const auto remembered = std::lower_bound(cuts_.begin(), cuts_.end(), cut);
    const Utf8Offset limit = remembered == cuts_.begin() ? line.start : std::max(*std::prev(remembered), line.start);
    if (cut - line.start < pieceBytes / 2)
        return limit;
    const std::size_t index = (cut - line.start - pieceBytes / 2) / pieceBytes;
    if (line.start + index * pieceBytes < limit + pieceBytes / 2)
        return limit;
    const Utf8Offset found = gridCut(text, line, index);
    return found > limit ? found : limit;
}

void LineCuts::remember(Utf8Offset cut)
{
    const auto at = std::lower_bound(cuts_.begin(), cuts_.end(), cut);
    if (at != cuts_.end() && *at == cut)
        return;
    // Far more than fit into the cache: those far from here are forgotten.
    if (cuts_.size() >= rememberedCuts) {
        const auto middle = static_cast<std::size_t>(at - cuts_.begin());
        if (middle < rememberedCuts / 2)
            cuts_.resize(rememberedCuts * 3 / 4);
        else
            cuts_.erase(cuts_.begin(), cuts_.begin() + static_cast<std::ptrdiff_t>(rememberedCuts / 4));
        remember(cut);
        return;
    }
    cuts_.insert(at, cut);
}

Utf8Range LineCuts::pieceAt(const TextSnapshot& text, const TextLine& line, Utf8Offset offset) const
{
    offset = std::clamp(offset, line.start, line.end);
    const auto remembered = std::upper_bound(cuts_.begin(), cuts_.end(), offset);
    Utf8Offset start = remembered == cuts_.begin() ? line.start : std::max(*std::prev(remembered), line.start);
    if (offset - start > 4 * pieceBytes)
        start = gridCut(text, line, (offset - line.start) / pieceBytes - 1);
    Utf8Offset end = after(text, line, start);
    while (end <= offset && end < line.end) {
        start = end;
        end = after(text, line, start);
    }
    return {start, end};
}

void LineCuts::update(const TextEdit& edit)
{
    std::erase_if(cuts_, [&](Utf8Offset cut) { return edit.touches({cut, cut}); });
    edit.map(cuts_, Stickiness::after);
}

}  // namespace penmark
