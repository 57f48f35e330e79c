// SPDX-License-Identifier: GPL-3.0-or-later
#include "Encoder.h"

#include "BlockBuilder.h"
#include "BlockEncoder.h"
#include "LzvnEncoder.h"
#include "MatchFinder.h"

#include <algorithm>
#include <limits>

namespace penmark::lzfse {

namespace {

constexpr std::size_t max_stored = std::numeric_limits<std::uint32_t>::max();

// Below this a block with triples, whose tables alone take some 150 bytes, is never the smaller one.
constexpr std::size_t least_with_triples = 400;

// Writes a stream block by block, each in the form that takes least. So that the stream never exceeds what the text
// takes when stored, a block is compressed only if that leaves room to store all that follows.
class StreamWriter : public BlockBuilder {
public:
    void begin(std::string_view raw, char* out)
    {
        raw_ = raw;
        done_ = 0;
        begin_ = out_ = out;
        stored_ = nullptr;
    }

    // The smallest form of the next `size` bytes of the text: `encoded`, or the bytes themselves.
    void write(std::string_view encoded, std::size_t size)
    {
        const auto written = static_cast<std::size_t>(out_ - begin_) + encoded.size();
        const bool last = done_ + size == raw_.size();
        const std::size_t storedSize = size + (stored_ != nullptr ? 0 : stored_header_size);
        if (encoded.size() < storedSize && written <= done_ + size + (last ? stored_header_size : 0)) {
            out_ = std::copy(encoded.begin(), encoded.end(), out_);
            done_ += size;
            stored_ = nullptr;
        } else {
            storeRaw(size);
        }
    }

    std::size_t finish()
    {
        if (raw_.empty())
            startStored();
        store(out_, end_of_stream);
        return static_cast<std::size_t>(out_ - begin_) + magic_size;
    }

private:
    void writeBlock(std::span<char> literals, std::span<Triple> triples, std::size_t rawSize) override
    {
        const std::size_t size =
            blocks_.encode(literals, triples, static_cast<std::uint32_t>(rawSize), encoded_.data());
        write({encoded_.data(), size}, rawSize);
    }

    void startStored()
    {
        stored_ = out_;
        store(out_, stored_block);
        store(out_ + 4, std::uint32_t{0});
        out_ += stored_header_size;
    }

    // Neighbours share one header.
    void storeRaw(std::size_t size)
    {
        while (size != 0) {
            if (stored_ == nullptr || load<std::uint32_t>(stored_ + 4) == max_stored)
                startStored();
            const auto before = load<std::uint32_t>(stored_ + 4);
            const std::size_t part = std::min(size, max_stored - before);
            store(stored_ + 4, static_cast<std::uint32_t>(before + part));
            out_ = std::copy_n(raw_.data() + done_, part, out_);
            done_ += part;
            size -= part;
        }
    }

    std::string_view raw_;
    std::size_t done_ = 0;  // bytes of raw_
    char* begin_ = nullptr;
    char* out_ = nullptr;
    char* stored_ = nullptr;  // the header of the last block if it is a stored one
    BlockEncoder blocks_;
    std::array<char, BlockEncoder::max_size> encoded_{};
};

}  // namespace

struct Encoder::State {
    explicit State(std::uint32_t firstPosition) : matches(firstPosition) {}

    MatchFinder matches;
    StreamWriter stream;
    std::array<char, max_lzvn_size> small{};
    std::array<char, maxEncodedSize(max_lzvn_text)> smallStream{};
};

Encoder::Encoder(std::uint32_t firstPosition) : state_(std::make_unique<State>(firstPosition)) {}
Encoder::~Encoder() = default;
Encoder::Encoder(Encoder&& other) noexcept = default;
Encoder& Encoder::operator=(Encoder&& other) noexcept = default;

std::size_t Encoder::encode(std::string_view raw, std::span<char> out)
{
    StreamWriter& stream = state_->stream;
    const auto encodeWithTriples = [&](char* to) {
        stream.begin(raw, to);
        for (std::string_view rest = raw; !rest.empty();) {
            const std::string_view part = rest.substr(0, MatchFinder::max_text);
            state_->matches.find(part, stream);
            rest.remove_prefix(part.size());
        }
        stream.closeBlock();
        return stream.finish();
    };
    if (raw.size() > max_lzvn_text)
        return encodeWithTriples(out.data());

    const std::size_t lzvnSize = encodeLzvn(raw, state_->small.data());
    stream.begin(raw, out.data());
    stream.write({state_->small.data(), lzvnSize}, raw.size());
    std::size_t size = stream.finish();
    if (raw.size() >= least_with_triples) {
        const std::size_t other = encodeWithTriples(state_->smallStream.data());
        if (other < size) {
            std::copy_n(state_->smallStream.data(), other, out.data());
            size = other;
        }
    }
    return size;
}

std::string Encoder::encode(std::string_view raw)
{
    std::string out(maxEncodedSize(raw.size()), '\0');
    out.resize(encode(raw, std::span(out)));
    return out;
}

}  // namespace penmark::lzfse
