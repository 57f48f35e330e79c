// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/IgnoreRules.h"

#include <algorithm>
#include <utility>

namespace penmark {
namespace {

/// Compares one character with the set that begins at `pattern[at]`, and moves behind it. A set without an end is a
/// bracket.
bool matchSet(std::string_view pattern, std::size_t& at, char character)
{
    std::size_t next = at + 1;
    const bool isNegated = next < pattern.size() && (pattern[next] == '!' || pattern[next] == '^');
    next += isNegated;
    bool isIn = false;
    for (bool isFirst = true; next < pattern.size() && (isFirst || pattern[next] != ']'); isFirst = false) {
        if (pattern[next] == '\\' && next + 1 < pattern.size())
            ++next;
        const auto low = static_cast<unsigned char>(pattern[next]);
        unsigned char high = low;
        if (next + 2 < pattern.size() && pattern[next + 1] == '-' && pattern[next + 2] != ']') {
            high = static_cast<unsigned char>(pattern[next + 2]);
            next += 2;
        }
        const auto value = static_cast<unsigned char>(character);
        isIn = isIn || (low <= value && value <= high);
        ++next;
    }
    if (next >= pattern.size()) {
        ++at;
        return character == '[';
    }
    at = next + 1;
    return isIn != isNegated;
}

/// One name against one part of a pattern. Going back to the last star is enough, as a star takes anything.
bool matchName(std::string_view pattern, std::string_view name)
{
    std::size_t at = 0;
    std::size_t character = 0;
    std::size_t star = std::string_view::npos;
    std::size_t starred = 0;
    while (character < name.size()) {
        std::size_t next = at;
        bool isMatch = false;
        if (at < pattern.size() && pattern[at] == '*') {
            star = at++;
            starred = character;
            continue;
        }
        if (at < pattern.size()) {
            if (pattern[at] == '[') {
                isMatch = matchSet(pattern, next, name[character]);
            } else {
                next += pattern[at] == '\\' && at + 1 < pattern.size();
                isMatch = (pattern[at] == '?') || pattern[next] == name[character];
                ++next;
            }
        }
        if (isMatch) {
            at = next;
            ++character;
        } else if (star != std::string_view::npos) {
            at = star + 1;
            character = ++starred;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', at) == std::string_view::npos;
}

std::vector<std::string_view> split(std::string_view path)
{
    std::vector<std::string_view> parts;
    for (std::size_t begin = 0; begin <= path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        parts.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

/// The same walk as within a name, with "**" for the star.
bool matchPath(const std::vector<std::string>& pattern, const std::vector<std::string_view>& path)
{
    std::size_t at = 0;
    std::size_t part = 0;
    std::size_t star = std::string::npos;
    std::size_t starred = 0;
    while (part < path.size()) {
        if (at < pattern.size() && pattern[at] == "**") {
            // At the end it stands for something inside, not for the folder itself.
            if (at + 1 == pattern.size())
                return true;
            star = at++;
            starred = part;
        } else if (at < pattern.size() && matchName(pattern[at], path[part])) {
            ++at;
            ++part;
        } else if (star != std::string::npos) {
            at = star + 1;
            part = ++starred;
        } else {
            return false;
        }
    }
    return at == pattern.size();
}

}  // namespace

std::optional<IgnoreRules::Pattern> IgnoreRules::parse(std::string_view line)
{
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    while (!line.empty() && line.back() == ' ' && (line.size() < 2 || line[line.size() - 2] != '\\'))
        line.remove_suffix(1);
    if (line.empty() || line.front() == '#')
        return std::nullopt;
    Pattern pattern;
    pattern.isNegated = line.front() == '!';
    line.remove_prefix(pattern.isNegated);
    pattern.isForFolders = !line.empty() && line.back() == '/';
    line.remove_suffix(pattern.isForFolders);
    if (line.empty())
        return std::nullopt;
    const bool isAnchored = line.find('/') != std::string_view::npos;
    line.remove_prefix(line.front() == '/');
    if (!isAnchored)
        pattern.parts.emplace_back("**");
    for (const std::string_view part : split(line))
        pattern.parts.emplace_back(part);
    return pattern;
}

IgnoreRules::Shared IgnoreRules::make(Shared outer, std::string folder, std::string_view patterns)
{
    auto rules = std::make_shared<IgnoreRules>();
    for (std::size_t begin = 0; begin < patterns.size();) {
        const std::size_t end = std::min(patterns.find('\n', begin), patterns.size());
        if (auto pattern = parse(patterns.substr(begin, end - begin)))
            rules->patterns_.push_back(std::move(*pattern));
        begin = end + 1;
    }
    if (!outer && rules->patterns_.empty())
        return nullptr;
    rules->outer_ = std::move(outer);
    rules->folder_ = std::move(folder);
    return rules;
}

/// The last pattern that matches decides.
std::optional<bool> IgnoreRules::find(std::string_view path, bool isFolder) const
{
    const std::vector<std::string_view> parts = split(path);
    for (auto pattern = patterns_.rbegin(); pattern != patterns_.rend(); ++pattern)
        if ((isFolder || !pattern->isForFolders) && matchPath(pattern->parts, parts))
            return !pattern->isNegated;
    return std::nullopt;
}

bool IgnoreRules::isIgnored(std::string_view name, bool isFolder) const
{
    std::string path(name);
    for (const IgnoreRules* rules = this; rules; rules = rules->outer_.get()) {
        if (const auto found = rules->find(path, isFolder))
            return *found;
        path = rules->folder_ + '/' + path;
    }
    return false;
}

}  // namespace penmark
