// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <span>

namespace penmark {

/// The entries of every menu of a window, as fillMenu() takes them; a menu each.
std::span<const std::span<const char* const>> documentMenus();

}  // namespace penmark
