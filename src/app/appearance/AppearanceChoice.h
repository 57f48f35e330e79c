// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <string_view>
#include <utility>

namespace penmark {

enum class AppearanceChoice {
    system,  ///< as the desktop has it
    light,
    dark,
};

constexpr auto storedWords(AppearanceChoice)
{
    using E = AppearanceChoice;
    using Word = std::pair<E, std::string_view>;
    return std::array{Word{E::system, "system"}, Word{E::light, "light"}, Word{E::dark, "dark"}};
}

}  // namespace penmark
