// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Record.h"

#include <cstdint>
#include <optional>
#include <string>

namespace penmark {

/// Something that a command line asks to be shown.
struct OpenTarget {
    std::string path;                    ///< absolute, valid UTF-8, of a file or a folder; it need not exist
    bool standardInput = false;          ///< what was piped in, instead of a path
    std::optional<std::int64_t> line;    ///< from 1
    std::optional<std::int64_t> column;  ///< from 1, in characters; only with a line

    static constexpr auto fields()
    {
        using T = OpenTarget;
        return std::tuple{field("path", &T::path), field("standardInput", &T::standardInput), field("line", &T::line),
                          field("column", &T::column)};
    }

    friend bool operator==(const OpenTarget&, const OpenTarget&) = default;
};

}  // namespace penmark
