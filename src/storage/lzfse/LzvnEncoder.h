// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string_view>

namespace penmark::lzfse {

/// Texts of more bytes are never better off as an LZVN block.
constexpr std::size_t max_lzvn_text = 1'024;

/// No LZVN block of such a text is larger.
constexpr std::size_t max_lzvn_size = 2 * max_lzvn_text;

/// Writes `text`, at most max_lzvn_text bytes, as an LZVN block and returns its size; `out` must have max_lzvn_size.
std::size_t encodeLzvn(std::string_view text, char* out);

}  // namespace penmark::lzfse
