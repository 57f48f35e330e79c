// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/ComparisonColors.h"

namespace penmark {

namespace {

constexpr ComparisonColors light{
    .text = Rgb(0x1F2328),
    .number = Rgb(0x565D67),
    .background = Rgb(0xFFFFFF),
    .removed = Rgb(0xFDECEA),
    .removedWord = Rgb(0xFBC4BE),
    .removedSign = Rgb(0xA01B1B),
    .added = Rgb(0xE6F6EA),
    .addedWord = Rgb(0xAEE6BC),
    .addedSign = Rgb(0x14602F),
    .run = Rgb(0xF0F3F7),
    .selection = Rgb(0xCFE2FF),
    .current = Rgb(0x2A66C0),
};

constexpr ComparisonColors dark{
    .text = Rgb(0xE3E6EA),
    .number = Rgb(0xA9B0BA),
    .background = Rgb(0x1D2024),
    .removed = Rgb(0x3A2427),
    .removedWord = Rgb(0x742F34),
    .removedSign = Rgb(0xFFB0A8),
    .added = Rgb(0x1D3325),
    .addedWord = Rgb(0x245F39),
    .addedSign = Rgb(0x8FDDA5),
    .run = Rgb(0x272C33),
    .selection = Rgb(0x2A4468),
    .current = Rgb(0x8FC2FF),
};

}  // namespace

const ComparisonColors& ComparisonColors::of(const ColorScheme& colors)
{
    return contrast(colors.background, Rgb(0xFFFFFF)) < contrast(colors.background, Rgb(0x000000)) ? light : dark;
}

}  // namespace penmark
