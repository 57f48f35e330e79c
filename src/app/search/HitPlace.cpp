// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/HitPlace.h"

#include <algorithm>
#include <functional>
#include <string>

namespace penmark {

namespace {

bool isKnownWholly(const TextSearchHit& hit)
{
    return hit.mark.size() == hit.match.bytes.size();
}

std::string foundText(const TextSearchHit& hit)
{
    return hit.text.substr(hit.mark.start.value, hit.mark.size());
}

}  // namespace

std::optional<Utf8Range> samePlace(const TextSearchHit& hit, const TextSnapshot& text)
{
    if (hit.match.range.end > text.utf16End())
        return std::nullopt;
    const Utf8Range old = text.toUtf8(hit.match.range);
    if (old.size() != hit.match.bytes.size())
        return std::nullopt;
    const std::string now = text.text(old);
    const bool isSame = isKnownWholly(hit) ? now == foundText(hit) : std::hash<std::string>()(now) == hit.matchHash;
    return isSame ? std::optional(old) : std::nullopt;
}

std::optional<Utf8Range> nearestPlace(const TextSearchHit& hit, const TextSnapshot& text, const std::stop_token& stop)
{
    const std::string found = foundText(hit);
    if (!isKnownWholly(hit) || found.empty())
        return std::nullopt;
    std::string all;
    all.reserve(text.end().value);
    const bool isRead = text.forEachPiece({Utf8Offset(0), text.end()}, [&](std::string_view piece) {
        all += piece;
        return !stop.stop_requested();
    });
    if (!isRead || stop.stop_requested())
        return std::nullopt;

    const std::size_t from = std::min(hit.match.bytes.start.value, all.size());
    const std::size_t behind = all.find(found, from);
    // What is further away than that need not be looked through.
    const std::size_t reach = behind == std::string::npos ? from : std::min(from, behind - from);
    const std::size_t last = std::string_view(all).substr(from - reach, reach + found.size()).rfind(found, reach);
    const std::size_t start = last == std::string::npos ? behind : from - reach + last;
    if (start == std::string::npos)
        return std::nullopt;
    return Utf8Range{Utf8Offset(start), Utf8Offset(start) + found.size()};
}

}  // namespace penmark
