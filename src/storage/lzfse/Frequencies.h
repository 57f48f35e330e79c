// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Format.h"

#include <cstddef>
#include <span>
#include <string_view>

namespace penmark::lzfse {

/// Writes the table in its variable-length code and returns its size; `out` must have max_frequency_bytes + 8 bytes.
std::size_t packFrequencies(const Frequencies& frequencies, char* out);

/// Reads the table that fills `packed` exactly. False: it is cut off, too long, or its last bits are not 0.
bool unpackFrequencies(std::string_view packed, Frequencies& frequencies);

/// Scales `counts` so that they add up to `states` and everything that occurs keeps at least 1, at the least cost in
/// bits. If nothing occurs, the first symbol gets all states: some decoders refuse an empty table even if unused.
void normalize(std::span<const std::uint32_t> counts, std::size_t states, std::uint16_t* frequencies);

}  // namespace penmark::lzfse
