// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace penmark {

/// File names for documents that are written into one folder: valid on every file system as far as characters and
/// length go, and different even where case is ignored.
class ExportNames {
public:
    /// Keeps this name, of a file that is there already, from being given out.
    void reserve(std::string_view name);

    /// A name made from a document's title. What looks like an extension stays one; otherwise ".txt" is added.
    std::string forTitle(std::string_view title);

    /// A name made from the name of the file that a document is bound to, which needs no extension.
    std::string forFile(std::string_view name);

private:
    std::string unique(std::string_view stem, std::string_view extension);

    std::set<std::string> taken_;                // case folded
    std::map<std::string, std::size_t> number_;  // by stem and extension: the one given out last
};

}  // namespace penmark
