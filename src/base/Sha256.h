// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace penmark {

/// SHA-256 of bytes that come in pieces; the digest names chunks, texts and files. One thread at a time.
class Sha256 {
public:
    Sha256();
    ~Sha256();
    Sha256(Sha256&&) noexcept;
    Sha256& operator=(Sha256&&) noexcept;

    void add(std::string_view bytes);

    /// 64 lower-case hexadecimal digits; the object then starts anew.
    std::string finish();

private:
    struct Context;
    std::unique_ptr<Context> context_;
};

/// The digest of the bytes as 64 lower-case hexadecimal digits. Any thread; about 1.5 GB/s.
std::string sha256(std::string_view bytes);

/// Gives back what hashing keeps for the calling thread. For threads that nobody waits for: the process may end before
/// they have ended, and it would count as lost.
void endHashingOfThread() noexcept;

/// Whether the text has the form of a digest.
bool isSha256(std::string_view text) noexcept;

}  // namespace penmark
