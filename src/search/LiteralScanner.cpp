// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/LiteralScanner.h"

#include "base/SystemError.h"
#include "search/CaseFolding.h"
#include "search/TextSearchError.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>
#include <utility>

#if defined(__x86_64__)
#include <immintrin.h>
#define PENMARK_HAS_AVX2 1
#else
#define PENMARK_HAS_AVX2 0
#endif

namespace penmark {

namespace {

constexpr std::size_t stride = std::size_t{1} << 20;        // bytes between looks at the stop token
constexpr std::size_t comparisonsBetweenLooks = 1'000'000;  // about a millisecond

// How common a byte is in texts and programs: the later in this list, the rarer, and all others rarer still.
unsigned commonness(char byte)
{
    constexpr std::string_view order =
        " etaoinsrlhdcu\nmpfg.,_ybw-v()\"=;:/'k012xTSACIEPRMDNLBO*{}FGH#3jq5469>78<WUVKz[]YJXQZ";
    if (static_cast<signed char>(byte) < 0)
        return 60;  // beyond ASCII a text has few different first bytes
    const std::size_t at = order.find(byte);
    return at == std::string_view::npos ? 0 : static_cast<unsigned>(order.size() - at);
}

// The beginnings, `limit` bytes or shorter if the whole is, of all texts that fold to `folded`.
void collectBeginnings(std::u32string_view folded, std::size_t limit, const std::string& before,
                       std::vector<std::string>& beginnings)
{
    if (folded.empty() || before.size() >= limit) {
        beginnings.push_back(before.substr(0, limit));
        return;
    }
    for (const char32_t character : charactersThatBegin(folded)) {
        std::string longer = before;
        appendUtf8(longer, character);
        collectBeginnings(folded.substr(caseFolding(character).count), limit, longer, beginnings);
    }
}

char withoutCase(char byte)
{
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + 0x20) : byte;
}

#if PENMARK_HAS_AVX2
constexpr std::size_t vectorBytes = 32;

__attribute__((target("avx2"))) __m256i loadVector(const char* from)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

// Whole vectors of [from, limit), as far as `reach` bytes behind each of their places exist: the first with a place
// where both bytes stand, or where whole vectors end.
__attribute__((target("avx2"))) std::pair<std::size_t, std::uint32_t>
scanPair(const char* text, std::size_t from, std::size_t end, std::size_t first, char a, std::size_t second, char b)
{
    const __m256i wantedA = _mm256_set1_epi8(a);
    const __m256i wantedB = _mm256_set1_epi8(b);
    const char* const textA = text + first;
    const char* const textB = text + second;
    for (; end - from >= 2 * vectorBytes; from += 2 * vectorBytes) {
        const __m256i both0 = _mm256_and_si256(_mm256_cmpeq_epi8(loadVector(textA + from), wantedA),
                                               _mm256_cmpeq_epi8(loadVector(textB + from), wantedB));
        const __m256i both1 = _mm256_and_si256(_mm256_cmpeq_epi8(loadVector(textA + from + vectorBytes), wantedA),
                                               _mm256_cmpeq_epi8(loadVector(textB + from + vectorBytes), wantedB));
        const __m256i any = _mm256_or_si256(both0, both1);
        if (_mm256_testz_si256(any, any))
            continue;
        if (const auto places = static_cast<std::uint32_t>(_mm256_movemask_epi8(both0)))
            return {from, places};
        return {from + vectorBytes, static_cast<std::uint32_t>(_mm256_movemask_epi8(both1))};
    }
    return {from, 0};
}

__attribute__((target("avx2"))) __m256i loadHalves(const std::array<std::uint8_t, 16>& halves)
{
    return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(halves.data())));
}

__attribute__((target("avx2"))) inline __m256i groupsOf(__m256i bytes, __m256i lower, __m256i upper)
{
    const __m256i half = _mm256_set1_epi8(0x0f);
    return _mm256_and_si256(_mm256_shuffle_epi8(lower, _mm256_and_si256(bytes, half)),
                            _mm256_shuffle_epi8(upper, _mm256_and_si256(_mm256_srli_epi16(bytes, 4), half)));
}

// The same for fingerprints of `Count` bytes.
template <std::size_t Count, class Halves>
__attribute__((target("avx2"))) std::pair<std::size_t, std::uint32_t>
scanFingerprints(const char* text, std::size_t from, std::size_t end, const Halves& lower, const Halves& upper)
{
    const __m256i lower0 = loadHalves(lower[0]);
    const __m256i upper0 = loadHalves(upper[0]);
    const __m256i lower1 = loadHalves(lower[1]);
    const __m256i upper1 = loadHalves(upper[1]);
    const __m256i lower2 = loadHalves(lower[2]);
    const __m256i upper2 = loadHalves(upper[2]);
    for (; end - from >= vectorBytes; from += vectorBytes) {
        __m256i groups = groupsOf(loadVector(text + from), lower0, upper0);
        if constexpr (Count > 1)
            groups = _mm256_and_si256(groups, groupsOf(loadVector(text + from + 1), lower1, upper1));
        if constexpr (Count > 2)
            groups = _mm256_and_si256(groups, groupsOf(loadVector(text + from + 2), lower2, upper2));
        if (_mm256_testz_si256(groups, groups))
            continue;
        const __m256i none = _mm256_cmpeq_epi8(groups, _mm256_setzero_si256());
        return {from, ~static_cast<std::uint32_t>(_mm256_movemask_epi8(none))};
    }
    return {from, 0};
}
#endif

}  // namespace

bool LiteralScanner::hasVectors()
{
#if PENMARK_HAS_AVX2
    return __builtin_cpu_supports("avx2") != 0;
#else
    return false;
#endif
}

LiteralScanner::LiteralScanner(std::vector<std::string> literals, bool caseSensitive, bool usesVectors)
    : literals_(std::move(literals)), caseSensitive_(caseSensitive), usesVectors_(usesVectors)
{
    if (!caseSensitive_) {
        for (const std::string& literal : literals_)
            folded_.push_back(foldCase(literal));
    }
    for (const std::string& literal : literals_)
        longest_ = std::max(longest_, literal.size());
    if (literals_.size() == 1 && caseSensitive_)
        choosePair();
    else
        makeFingerprints();
}

void LiteralScanner::choosePair()
{
    isPair_ = true;
    const std::string& literal = literals_.front();
    reach_ = literal.size();
    for (std::size_t i = 1; i < literal.size(); ++i) {
        if (commonness(literal[i]) < commonness(literal[first_]))
            first_ = i;
    }
    // Another byte at another place; the same byte twice says less.
    second_ = first_ == 0 ? literal.size() - 1 : 0;
    for (std::size_t i = 0; i < literal.size(); ++i) {
        if (i != first_ && literal[i] != literal[first_] &&
            (literal[second_] == literal[first_] || commonness(literal[i]) < commonness(literal[second_])))
            second_ = i;
    }
}

void LiteralScanner::makeFingerprints()
{
    std::vector<std::string> beginnings;
    if (caseSensitive_) {
        for (const std::string& literal : literals_)
            beginnings.push_back(literal.substr(0, fingerprintBytes));
    } else {
        for (const std::u32string& folded : folded_)
            collectBeginnings(folded, fingerprintBytes, {}, beginnings);
    }
    reach_ = fingerprintBytes;
    for (const std::string& beginning : beginnings)
        reach_ = std::min(reach_, beginning.size());
    // Those that differ in ASCII case alone make one group without saying less; neighbours in order share one.
    std::map<std::string, std::vector<std::string>> alike;
    for (const std::string& beginning : beginnings) {
        std::string key = beginning.substr(0, reach_);
        std::transform(key.begin(), key.end(), key.begin(), withoutCase);
        alike[key].push_back(beginning.substr(0, reach_));
    }
    std::size_t index = 0;
    for (const auto& [key, members] : alike) {
        const auto group = static_cast<std::uint8_t>(1U << (index++ * 8 / alike.size()));
        for (const std::string& member : members) {
            for (std::size_t i = 0; i < reach_; ++i) {
                const auto byte = static_cast<unsigned char>(member[i]);
                lower_[i][byte & 0x0fU] |= group;
                upper_[i][byte >> 4U] |= group;
            }
        }
    }
}

std::uint8_t LiteralScanner::groupsAt(const char* place) const
{
    unsigned groups = 0xff;
    for (std::size_t i = 0; i < reach_; ++i) {
        const auto byte = static_cast<unsigned char>(place[i]);
        groups &= static_cast<unsigned>(lower_[i][byte & 0x0fU]) & upper_[i][byte >> 4U];
    }
    return static_cast<std::uint8_t>(groups);
}

LiteralScanner::Candidates LiteralScanner::nextByPair(std::string_view text, std::size_t from, std::size_t limit) const
{
    const std::string& literal = literals_.front();
#if PENMARK_HAS_AVX2
    if (usesVectors_) {
        const auto [base, places] =
            scanPair(text.data(), from, limit, first_, literal[first_], second_, literal[second_]);
        if (places)
            return {base, places};
        from = base;
    }
#endif
    while (from < limit) {
        const void* const found = std::memchr(text.data() + from + first_, literal[first_], limit - from);
        if (!found)
            break;
        from = static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) - first_;
        if (text[from + second_] == literal[second_])
            return {from, 1};
        ++from;
    }
    return {limit, 0};
}

LiteralScanner::Candidates LiteralScanner::nextByFingerprint(std::string_view text, std::size_t from,
                                                             std::size_t limit) const
{
#if PENMARK_HAS_AVX2
    if (usesVectors_) {
        const auto [base, places] = reach_ == 1   ? scanFingerprints<1>(text.data(), from, limit, lower_, upper_)
                                    : reach_ == 2 ? scanFingerprints<2>(text.data(), from, limit, lower_, upper_)
                                                  : scanFingerprints<3>(text.data(), from, limit, lower_, upper_);
        if (places)
            return {base, places};
        from = base;
    }
#endif
    for (; from < limit; ++from) {
        if (groupsAt(text.data() + from))
            return {from, 1};
    }
    return {limit, 0};
}

LiteralScanner::Candidates LiteralScanner::nextCandidates(std::string_view text, std::size_t from,
                                                          std::size_t limit) const
{
    return isPair_ ? nextByPair(text, from, limit) : nextByFingerprint(text, from, limit);
}

std::size_t LiteralScanner::endAt(std::string_view text, std::size_t at) const
{
    if (caseSensitive_) {
        for (const std::string& literal : literals_) {
            if (text.substr(at).starts_with(literal))
                return at + literal.size();
        }
        return noMatch;
    }
    // A fingerprint may mistake the middle of a character for a beginning.
    if ((static_cast<unsigned char>(text[at]) & 0xc0U) == 0x80)
        return noMatch;
    const char first = withoutCase(text[at]);
    const bool isAscii = static_cast<signed char>(first) >= 0;
    for (const std::u32string& folded : folded_) {
        if (isAscii && folded.front() != static_cast<unsigned char>(first))
            continue;
        if (const std::size_t end = foldedEnd(text, at, folded); end != noMatch)
            return end;
    }
    return noMatch;
}

std::optional<LiteralScanner::Found> LiteralScanner::find(std::string_view text, std::size_t from,
                                                          const std::stop_token& stop,
                                                          std::chrono::steady_clock::time_point deadline) const
{
    if (text.size() < reach_)
        return std::nullopt;
    std::size_t comparisons = 0;  // at most, since the last look
    const auto look = [&] {
        comparisons = 0;
        if (stop.stop_requested())
            throw Cancelled();
        if (deadline != std::chrono::steady_clock::time_point::max() && std::chrono::steady_clock::now() >= deadline)
            throw TextSearchError::timeBudget();
    };
    const std::size_t last = text.size() - reach_ + 1;  // behind the last place with enough bytes
    while (from < last) {
        const std::size_t limit = last - from > stride ? from + stride : last;
        while (from < limit) {
            const Candidates candidates = nextCandidates(text, from, limit);
            for (std::uint32_t places = candidates.places; places; places &= places - 1) {
                const std::size_t at = candidates.base + static_cast<std::size_t>(std::countr_zero(places));
                if (const std::size_t end = endAt(text, at); end != noMatch)
                    return Found{at, end};
                if ((comparisons += longest_) >= comparisonsBetweenLooks)
                    look();
            }
            const std::size_t width = static_cast<std::size_t>(std::bit_width(candidates.places));
            from = candidates.base + width;
        }
        look();
    }
    return std::nullopt;
}

}  // namespace penmark
