// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/FolderScanner.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace penmark {

namespace {

constexpr char lowered(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
}

void lowerInto(std::string_view text, std::string& to)
{
    to.resize(text.size());
    std::transform(text.begin(), text.end(), to.begin(), lowered);
}

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\n\v\f\r";
    const std::size_t start = text.find_first_not_of(blanks);
    return start == std::string_view::npos ? std::string_view()
                                           : text.substr(start, text.find_last_not_of(blanks) + 1 - start);
}

/// The endings of names that the file types stand for, as in ".md"; lower-cased.
std::vector<std::string> endingsOf(const std::vector<std::string>& fileTypes)
{
    std::vector<std::string> endings;
    for (const std::string& type : fileTypes) {
        std::string_view word = trimmed(type);
        if (word.starts_with("*."))
            word.remove_prefix(1);
        if (word.starts_with('.'))
            word.remove_prefix(1);
        if (word.empty())
            continue;
        std::string ending;
        lowerInto(word, ending);
        endings.push_back("." + ending);
    }
    return endings;
}

/// The length of the UTF-8 character at the beginning of a text that is not empty.
std::size_t characterLength(std::string_view text)
{
    std::size_t length = 1;
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xc0) == 0x80)
        ++length;
    return length;
}

/// Whether a pattern is all of a text; "*" stands for anything, "?" for one character.
bool matchesPattern(std::string_view text, std::string_view pattern)
{
    std::size_t at = 0;
    std::size_t in = 0;
    std::size_t star = std::string_view::npos;  // the last one passed, and where the text goes on behind it
    std::size_t behindStar = 0;
    while (at < text.size()) {
        if (in < pattern.size() && pattern[in] == '*') {
            star = in++;
            behindStar = at;
        } else if (in < pattern.size() && (pattern[in] == '?' || pattern[in] == text[at])) {
            at += pattern[in] == '?' ? characterLength(text.substr(at)) : 1;
            ++in;
        } else if (star != std::string_view::npos) {
            in = star + 1;
            behindStar += characterLength(text.substr(behindStar));
            at = behindStar;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', in) == std::string_view::npos;
}

/// A filter of paths made ready; asked with paths that are lower-cased.
class PathFilter {
public:
    explicit PathFilter(const std::string& filter)
    {
        lowerInto(trimmed(filter), filter_);
        isPattern_ = filter_.find_first_of("*?") != std::string::npos;
    }

    bool matches(std::string_view path) const
    {
        if (!isPattern_)
            return path.find(filter_) != std::string_view::npos ||
                   (filter_.starts_with('/') && path.starts_with(std::string_view(filter_).substr(1)));
        if (filter_.starts_with('/'))
            return matchesPattern(path, std::string_view(filter_).substr(1));
        for (;;) {
            if (matchesPattern(path, filter_))
                return true;
            const std::size_t slash = path.find('/');
            if (slash == std::string_view::npos)
                return false;
            path.remove_prefix(slash + 1);
        }
    }

private:
    std::string filter_;
    bool isPattern_ = false;
};

}  // namespace

TextSearchSources filterFiles(const TextSearchSources& files, const std::vector<std::string>& fileTypes,
                              const std::string& pathFilter)
{
    const std::vector<std::string> endings = endingsOf(fileTypes);
    const PathFilter filter(pathFilter);
    TextSearchSources passed;
    passed.setFolder(files.folder());
    std::string path;
    for (std::size_t i = 0; i < files.size(); ++i) {
        lowerInto(files.relativePath(i), path);
        const auto endsPath = [&path](const std::string& ending) { return path.ends_with(ending); };
        if ((endings.empty() || std::any_of(endings.begin(), endings.end(), endsPath)) && filter.matches(path))
            passed.addFile(files.relativePath(i));
    }
    return passed;
}

}  // namespace penmark
