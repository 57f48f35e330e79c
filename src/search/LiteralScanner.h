// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

/// Finds texts in a text, in vector-sized steps: several GB/s.
///
/// A single one is looked for by its two rarest bytes. Several ones, or one whose case does not count, by fingerprints:
/// which of eight groups of byte sequences a place may begin, told by the halves of its first bytes. Both then look
/// closely. Immutable; any thread.
class LiteralScanner {
public:
    /// Whether this processor has the vectors that are used; byte by byte is several times slower.
    static bool hasVectors();

    /// Valid UTF-8, none of them empty. Without `caseSensitive` they are compared by full case folding.
    LiteralScanner(std::vector<std::string> literals, bool caseSensitive, bool usesVectors = hasVectors());

    struct Found {
        std::size_t start = 0;  ///< bytes
        std::size_t end = 0;
    };

    /// The leftmost place at or behind `from` where one of the literals stands, and the first one that stands there.
    /// Throws Cancelled within some milliseconds when asked to stop, and TextSearchError `timeBudget` when it is late.
    std::optional<Found>
    find(std::string_view text, std::size_t from, const std::stop_token& stop,
         std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max()) const;

    /// Where the first literal that stands at this place ends; `noMatch` if there is none.
    std::size_t endAt(std::string_view text, std::size_t at) const;

private:
    static constexpr std::size_t fingerprintBytes = 3;

    /// Places where a literal may stand: bit i is the place `base` + i.
    struct Candidates {
        std::size_t base = 0;
        std::uint32_t places = 0;
    };
    // The next candidates in [from, limit), or `base` at `limit`. At least `reach_` bytes of text follow each.
    Candidates nextCandidates(std::string_view text, std::size_t from, std::size_t limit) const;
    Candidates nextByPair(std::string_view text, std::size_t from, std::size_t limit) const;
    Candidates nextByFingerprint(std::string_view text, std::size_t from, std::size_t limit) const;
    std::uint8_t groupsAt(const char* place) const;

    void choosePair();
    void makeFingerprints();

    std::vector<std::string> literals_;
    std::vector<std::u32string> folded_;  // of them, if case does not count
    bool caseSensitive_;
    [[maybe_unused]] bool usesVectors_;  // where there are any
    bool isPair_ = false;
    std::size_t first_ = 0;  // offsets of the pair's bytes in the literal
    std::size_t second_ = 0;
    std::size_t reach_ = 1;    // bytes that a candidate needs
    std::size_t longest_ = 0;  // characters or bytes that a close look at one may compare

    // For each byte of a fingerprint, the groups that hold a byte with this lower or upper half.
    std::array<std::array<std::uint8_t, 16>, fingerprintBytes> lower_{};
    std::array<std::array<std::uint8_t, 16>, fingerprintBytes> upper_{};
};

}  // namespace penmark
