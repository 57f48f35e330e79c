// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Sha256.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace penmark {

namespace {

// Looking the algorithm up takes longer than hashing 64 bytes, so it is done once for the process.
const EVP_MD* algorithm()
{
    static EVP_MD* const fetched = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    return fetched;
}

}  // namespace

struct Sha256::Context {
    Context() : handle(EVP_MD_CTX_new()) { begin(); }
    ~Context() { EVP_MD_CTX_free(handle); }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    void begin() const
    {
        if (EVP_DigestInit_ex2(handle, algorithm(), nullptr) != 1)
            throw std::runtime_error("SHA-256 is not available");
    }

    EVP_MD_CTX* handle;
};

Sha256::Sha256() : context_(std::make_unique<Context>()) {}
Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;

void Sha256::add(std::string_view bytes)
{
    EVP_DigestUpdate(context_->handle, bytes.data(), bytes.size());
}

std::string Sha256::finish()
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::array<unsigned char, 32> digest{};
    EVP_DigestFinal_ex(context_->handle, digest.data(), nullptr);
    context_->begin();
    std::string text(2 * digest.size(), '0');
    for (std::size_t i = 0; i < digest.size(); ++i) {
        text[2 * i] = digits[digest[i] >> 4];
        text[2 * i + 1] = digits[digest[i] & 0x0f];
    }
    return text;
}

std::string sha256(std::string_view bytes)
{
    thread_local Sha256 hasher;
    hasher.add(bytes);
    return hasher.finish();
}

void endHashingOfThread() noexcept
{
    OPENSSL_thread_stop();
}

bool isSha256(std::string_view text) noexcept
{
    return text.size() == 64 && std::all_of(text.begin(), text.end(),
                                            [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
}

}  // namespace penmark
