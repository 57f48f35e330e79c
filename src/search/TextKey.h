// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace penmark {

/// The name of a text among the filters: the SHA-256 of its content, or of the state of the file it is in. A value;
/// half the size of its written form, and compared without following a pointer.
class TextKey {
public:
    /// Of nothing.
    constexpr TextKey() = default;
    /// Reads 64 lower-case hexadecimal digits; anything else is the key of nothing.
    explicit TextKey(std::string_view text);

    bool empty() const { return *this == TextKey(); }
    /// The digits.
    std::string text() const;

    friend bool operator==(const TextKey&, const TextKey&) = default;

    struct Hash {
        // Digests are as good as random.
        std::size_t operator()(const TextKey& key) const noexcept { return key.words_[0]; }
    };

private:
    std::array<std::uint64_t, 4> words_{};
};

}  // namespace penmark
