// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "BlockDecoder.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace penmark::lzfse {

/// Decodes the opcodes of an LZVN block, which must use up `payload` and give exactly `rawSize` bytes. False: they do
/// not, are no valid opcodes, or do not fit.
bool decodeLzvn(std::string_view payload, std::size_t rawSize, Output& output);

}  // namespace penmark::lzfse
