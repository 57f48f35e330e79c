// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

/// The patterns of a folder's .gitignore and .ignore, on top of those of the folders around it. Immutable; any thread.
class IgnoreRules {
public:
    using Shared = std::shared_ptr<const IgnoreRules>;

    /// `outer` holds for the folder around this one, whose name is `folder`; null at the top. Null for no patterns
    /// anywhere.
    static Shared make(Shared outer, std::string folder, std::string_view patterns);

    /// Of something in this folder. What is in a folder that is ignored is ignored too; that is for the caller.
    bool isIgnored(std::string_view name, bool isFolder) const;

private:
    struct Pattern {
        std::vector<std::string> parts;  // between slashes; "**" stands for any number of them
        bool isNegated = false;
        bool isForFolders = false;
    };
    static std::optional<Pattern> parse(std::string_view line);
    std::optional<bool> find(std::string_view path, bool isFolder) const;

    Shared outer_;
    std::string folder_;
    std::vector<Pattern> patterns_;
};

}  // namespace penmark
