// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextMatcher.h"

#include "base/SystemError.h"
#include "base/TextSummary.h"
#include "search/CaseFolding.h"
#include "search/LiteralScanner.h"
#include "search/RegexLiterals.h"
#include "search/RegexRun.h"
#include "search/RegexTemplate.h"
#include "search/TypoWords.h"
#include "search/Utf16Text.h"
#include "search/WordBorders.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <optional>
#include <utility>

#include <unicode/uchar.h>

namespace penmark {

namespace {

using SteadyClock = std::chrono::steady_clock;

std::string_view trimmed(std::string_view text)
{
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t behind = start;
        if (!u_isUWhiteSpace(static_cast<UChar32>(nextCharacter(text, behind))))
            break;
        start = behind;
    }
    std::size_t end = text.size();
    while (end > start) {
        const char32_t c = characterBefore(text, end);
        if (!u_isUWhiteSpace(static_cast<UChar32>(c)))
            break;
        end -= c < 0x80 ? 1 : c < 0x800 ? 2 : 3;  // no blank lies beyond U+FFFF
    }
    return text.substr(start, end - start);
}

std::string lowerAscii(std::string_view text)
{
    std::string lower(trimmed(text));
    for (char& c : lower) {
        if (static_cast<signed char>(c) < 0)
            return {};
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c;
    }
    return lower;
}

/// The texts as filters know them; none unless they know all of them.
std::vector<std::string> wordsOf(std::span<const std::string> texts)
{
    constexpr std::size_t shortest = 3;
    std::vector<std::string> words;
    for (const std::string& text : texts) {
        words.push_back(lowerAscii(text));
        if (words.back().size() < shortest)
            return {};
    }
    return words;
}

/// Takes matches of one text down, up to a number.
class Sink {
public:
    Sink(std::string_view text, std::size_t most, const std::stop_token& stop, std::vector<TextMatch>& matches)
        : most_(std::max<std::size_t>(most, 1)), walk_(text, stop), stop_(stop), matches_(matches),
          before_(matches.size())
    {}

    std::size_t room() const { return most_ - (matches_.size() - before_); }
    std::size_t before() const { return before_; }
    const std::vector<TextMatch>& matches() const { return matches_; }

    /// Returns whether there is room for another. Throws Cancelled.
    bool add(std::size_t start, std::size_t end, TextMatchKind kind)
    {
        if (room() == 0)
            return false;
        TextMatch& match = matches_.emplace_back();
        match.range.start.value = walk_.unitAt(start);
        match.range.end.value = walk_.unitAt(end);
        match.bytes.start.value = start;
        match.bytes.end.value = end;
        match.kind = kind;
        return goesOn();
    }
    bool add(const TextMatch& match)
    {
        if (room() == 0)
            return false;
        matches_.push_back(match);
        return goesOn();
    }

private:
    bool goesOn() const
    {
        if (matches_.size() % 1'024 == 0 && stop_.stop_requested())
            throw Cancelled();
        return room() > 0;
    }

    std::size_t most_;
    Utf16Walk walk_;
    const std::stop_token& stop_;
    std::vector<TextMatch>& matches_;
    std::size_t before_;
};

// The line around a stretch, without its end.
std::pair<std::size_t, std::size_t> lineAround(std::string_view text, std::size_t start, std::size_t end)
{
    const std::size_t before = start == 0 ? std::string_view::npos : text.rfind('\n', start - 1);
    const std::size_t after = text.find('\n', end);
    return {before == std::string_view::npos ? 0 : before + 1, std::min(after, text.size())};
}

std::size_t unitsBefore(std::string_view text, Utf8Offset place)
{
    return utf16Length(text.substr(0, place.value));
}

// As u16string_view::find, many times faster.
std::size_t findUnits(std::u16string_view text, std::u16string_view wanted, std::size_t from)
{
    const auto* const bytes = reinterpret_cast<const char*>(text.data());
    const std::size_t size = text.size() * sizeof(char16_t);
    for (std::size_t at = from * sizeof(char16_t); at < size; ++at) {
        const void* const found = ::memmem(bytes + at, size - at, wanted.data(), wanted.size() * sizeof(char16_t));
        if (!found)
            break;
        at = static_cast<std::size_t>(static_cast<const char*>(found) - bytes);
        if (at % sizeof(char16_t) == 0)
            return at / sizeof(char16_t);
    }
    return std::u16string_view::npos;
}

}  // namespace

struct TextMatcher::Parts {
    explicit Parts(TextSearchRule theRule) : rule(std::move(theRule)) {}

    TextSearchRule rule;
    std::uint64_t number = 0;  // no other matcher has it
    std::vector<std::string> requiredAscii;

    std::optional<LiteralScanner> literals;  // the query, or what an expression requires
    RegexHandle regex;
    bool areLiteralsAll = false;  // the literals stand for the whole expression
    bool staysInLine = false;
    std::u16string normalizedQuery;
    std::u32string foldedQuery;
    std::optional<TypoWords> typos;

    void prepareRegex();

    bool isAccepted(std::string_view text, std::size_t start, std::size_t end) const
    {
        return !rule.wholeWord || isWholeWord(text, start, end);
    }
    bool isExact(std::string_view text, std::size_t start, std::size_t end) const
    {
        return rule.caseSensitive ? text.substr(start, end - start) == rule.query
                                  : foldedEnd(text.substr(0, end), start, foldedQuery) == end;
    }
    URegularExpression* regexOf(Scratch& scratch) const;

    void findLiterals(std::string_view text, Utf8Range within, Sink& sink, const std::stop_token& stop,
                      SteadyClock::time_point deadline = SteadyClock::time_point::max()) const;
    void findByRegex(std::string_view text, Utf8Range within, Sink& sink, const std::stop_token& stop, Scratch& scratch,
                     SteadyClock::time_point deadline) const;
    void findInLines(std::string_view text, Utf8Range within, LiteralScanner::Found required, Sink& sink,
                     const std::stop_token& stop, Scratch& scratch, RegexRun& run,
                     SteadyClock::time_point deadline) const;
    void findNormalized(std::string_view text, Utf8Range within, Sink& sink, const std::stop_token& stop,
                        Scratch& scratch) const;
    void findTypos(std::string_view text, Utf8Range within, Sink& sink, const std::stop_token& stop,
                   SteadyClock::time_point deadline) const;
};

struct TextMatcher::Scratch::Parts {
    std::uint64_t matcher = 0;  // whose expression this is
    RegexHandle regex;
    Utf16Text text;
};

TextMatcher::Scratch::Scratch() : parts_(std::make_unique<Parts>()) {}
TextMatcher::Scratch::~Scratch() = default;
TextMatcher::Scratch::Scratch(Scratch&&) noexcept = default;
TextMatcher::Scratch& TextMatcher::Scratch::operator=(Scratch&&) noexcept = default;

TextMatcher::~TextMatcher() = default;
TextMatcher::TextMatcher(TextMatcher&&) noexcept = default;
TextMatcher& TextMatcher::operator=(TextMatcher&&) noexcept = default;

TextMatcher::TextMatcher(TextSearchRule rule)
{
    static std::atomic<std::uint64_t> numbers{0};
    if (trimmed(rule.query).empty())
        throw TextSearchError("Enter text to search for.");
    if (utf16Length(rule.query) > queryLimit)
        throw TextSearchError("Keep a query below 4,096 characters.");
    auto parts = std::make_unique<Parts>(std::move(rule));
    const TextSearchRule& own = parts->rule;
    parts->number = ++numbers;
    switch (own.mode) {
    case TextMatchMode::literal:
        parts->literals.emplace(std::vector{own.query}, own.caseSensitive);
        parts->requiredAscii = wordsOf({&own.query, 1});
        break;
    case TextMatchMode::regex:
        parts->prepareRegex();
        break;
    case TextMatchMode::normalized:
        parts->normalizedQuery = NormalizedText::of(toUtf16(own.query), own.caseSensitive).text;
        parts->foldedQuery = foldCase(own.query);
        break;
    case TextMatchMode::typoTolerant: {
        const std::string query(trimmed(own.query));
        parts->literals.emplace(std::vector{query}, own.caseSensitive);
        parts->typos.emplace(query, own.caseSensitive);
        break;
    }
    }
    parts_ = std::move(parts);
}

void TextMatcher::Parts::prepareRegex()
{
    regex = compileRegex(rule.query, rule.caseSensitive);
    RegexLiterals read = RegexLiterals::of(rule.query);
    if (read.required.empty())
        return;
    requiredAscii = wordsOf(read.required);
    literals.emplace(std::move(read.required), rule.caseSensitive);
    areLiteralsAll = read.isWhole;
    staysInLine = read.staysInLine;
}

const TextSearchRule& TextMatcher::rule() const
{
    return parts_->rule;
}

const std::vector<std::string>& TextMatcher::requiredAscii() const
{
    return parts_->requiredAscii;
}

void TextMatcher::find(std::string_view text, std::size_t most, const std::stop_token& stop, Scratch& scratch,
                       std::vector<TextMatch>& matches, std::chrono::nanoseconds budget, Utf8Range within) const
{
    if (stop.stop_requested())
        throw Cancelled();
    const SteadyClock::time_point deadline = SteadyClock::now() + budget;
    within.end = std::min(within.end, Utf8Offset(text.size()));
    within.start = std::min(within.start, within.end);
    Sink sink(text, most, stop, matches);
    switch (parts_->rule.mode) {
    case TextMatchMode::literal:
        return parts_->findLiterals(text, within, sink, stop);
    case TextMatchMode::regex:
        if (parts_->areLiteralsAll)
            return parts_->findLiterals(text, within, sink, stop, deadline);
        return parts_->findByRegex(text, within, sink, stop, scratch, deadline);
    case TextMatchMode::normalized:
        return parts_->findNormalized(text, within, sink, stop, scratch);
    case TextMatchMode::typoTolerant:
        parts_->findLiterals(text, within, sink, stop);
        if (sink.room() > 0)
            parts_->findTypos(text, within, sink, stop, deadline);
        return;
    }
}

void TextMatcher::Parts::findLiterals(std::string_view text, Utf8Range within, Sink& sink, const std::stop_token& stop,
                                      SteadyClock::time_point deadline) const
{
    const std::string_view reached = text.substr(0, within.end.value);
    std::size_t from = within.start.value;
    std::size_t refused = 0;
    while (const auto found = literals->find(reached, from, stop, deadline)) {
        if (isAccepted(text, found->start, found->end)) {
            if (!sink.add(found->start, found->end, TextMatchKind::exact))
                return;
            from = found->end;
        } else {
            // What an expression matched is past, as anywhere else; a text may begin again inside of itself.
            from = regex ? found->end : found->start + 1;
            if (++refused % 1'024 == 0 && stop.stop_requested())
                throw Cancelled();
        }
    }
}

URegularExpression* TextMatcher::Parts::regexOf(Scratch& scratch) const
{
    Scratch::Parts& parts = *scratch.parts_;
    if (parts.matcher != number) {
        parts.regex = cloneRegex(regex.get());
        parts.matcher = number;
    }
    return parts.regex.get();
}

void TextMatcher::Parts::findByRegex(std::string_view text, Utf8Range within, Sink& sink, const std::stop_token& stop,
                                     Scratch& scratch, SteadyClock::time_point deadline) const
{
    std::optional<LiteralScanner::Found> required;
    const std::size_t lookFrom = staysInLine ? lineAround(text, within.start.value, within.start.value).first : 0;
    if (literals && !(required = literals->find(text, lookFrom, stop, deadline)))
        return;
    RegexRun run(regexOf(scratch), deadline, stop);
    if (required && staysInLine)
        return findInLines(text, within, *required, sink, stop, scratch, run, deadline);
    Utf16Text& units = scratch.parts_->text;
    units.assign(text, stop);
    run.setText(units.view());
    const bool isAscii = units.view().size() == text.size();
    const std::size_t from = isAscii ? within.start.value : unitsBefore(text, within.start);
    const std::size_t limit =
        isAscii ? within.end.value : from + utf16Length(text.substr(within.start.value, within.size()));
    Utf16Walk walk(text, stop);
    run.forEachMatch(from, limit, [&](std::size_t startUnit, std::size_t endUnit) {
        const std::size_t start = isAscii ? startUnit : walk.byteAt(startUnit);
        const std::size_t end = isAscii ? endUnit : walk.byteAt(endUnit);
        if (!isAccepted(text, start, end))
            return true;
        return sink.add({{Utf16Offset(startUnit), Utf16Offset(endUnit)},
                         {Utf8Offset(start), Utf8Offset(end)},
                         TextMatchKind::exact});
    });
}

// Only lines that hold what the expression requires are looked at, each as a text of its own.
void TextMatcher::Parts::findInLines(std::string_view text, Utf8Range within, LiteralScanner::Found required,
                                     Sink& sink, const std::stop_token& stop, Scratch& scratch, RegexRun& run,
                                     SteadyClock::time_point deadline) const
{
    Utf16Text& units = scratch.parts_->text;
    std::uint32_t lines = 0;
    for (std::optional<LiteralScanner::Found> found = required; found;) {
        if (++lines % 16 == 0)
            run.checkTime();
        const auto [lineStart, lineEnd] = lineAround(text, found->start, found->end);
        if (lineStart > within.end.value)
            return;
        const std::string_view line = text.substr(lineStart, lineEnd - lineStart);
        const std::size_t from = std::max(within.start.value, lineStart) - lineStart;
        const std::size_t limit = std::min(within.end.value, lineEnd) - lineStart;
        units.assign(line, stop);
        run.setText(units.view());
        const bool isAscii = units.view().size() == line.size();
        Utf16Walk walk(line, stop);
        bool hasRoom = true;
        const auto use = [&, start = lineStart](std::size_t startUnit, std::size_t endUnit) {
            const std::size_t first = start + (isAscii ? startUnit : walk.byteAt(startUnit));
            const std::size_t last = start + (isAscii ? endUnit : walk.byteAt(endUnit));
            if (isAccepted(text, first, last))
                hasRoom = sink.add(first, last, TextMatchKind::exact);
            return hasRoom;
        };
        run.forEachMatch(isAscii ? from : unitsBefore(line, Utf8Offset(from)),
                         isAscii ? limit : unitsBefore(line, Utf8Offset(limit)), use);
        if (!hasRoom)
            return;
        found = literals->find(text, lineEnd, stop, deadline);
    }
}

void TextMatcher::Parts::findNormalized(std::string_view text, Utf8Range within, Sink& sink,
                                        const std::stop_token& stop, Scratch& scratch) const
{
    if (utf16Length(text) > normalizedLimit)
        throw TextSearchError("Normalized matching is limited to 2 MiB per file. Use literal or regex search for "
                              "larger files.");
    Utf16Text& units = scratch.parts_->text;
    units.assign(text, stop);
    const NormalizedText normalized = NormalizedText::of(units.view(), rule.caseSensitive, stop);
    const std::u16string_view folded = normalized.text;
    std::vector<TextMatch> others;
    // Places that are refused overlap, so that a start lies before the end of the one before.
    Utf16Walk starts(text, stop);
    Utf16Walk ends(text, stop);
    std::uint32_t found = 0;
    const std::size_t firstUnit = unitsBefore(text, within.start);
    const std::size_t limit = unitsBefore(text, within.end);
    const auto first = std::partition_point(normalized.origins.begin(), normalized.origins.end(),
                                            [&](const auto& origin) { return origin.start < firstUnit; });
    std::size_t at = findUnits(folded, normalizedQuery, static_cast<std::size_t>(first - normalized.origins.begin()));
    while (at != std::u16string_view::npos) {
        if (++found % 1'024 == 0 && stop.stop_requested())
            throw Cancelled();
        const NormalizedText::Origin& last = normalized.origins[at + normalizedQuery.size() - 1];
        const std::size_t startUnit = normalized.origins[at].start;
        const std::size_t endUnit = std::size_t{last.start} + last.length;
        if (endUnit > limit)
            break;
        const std::size_t start = starts.byteAt(startUnit);
        const std::size_t end = ends.byteAt(endUnit);
        std::size_t next = at + 1;
        if (isAccepted(text, start, end)) {
            const bool isFirst = isExact(text, start, end);
            const TextMatch match{{Utf16Offset(startUnit), Utf16Offset(endUnit)},
                                  {Utf8Offset(start), Utf8Offset(end)},
                                  isFirst ? TextMatchKind::exact : TextMatchKind::normalized};
            if (!isFirst && others.size() < sink.room())
                others.push_back(match);
            if (isFirst && !sink.add(match))
                return;
            // Behind the whole of the last character, of which the match may hold the first half.
            next = at + normalizedQuery.size();
            while (next < folded.size() && normalized.origins[next].start < endUnit)
                ++next;
        }
        at = findUnits(folded, normalizedQuery, next);
    }
    for (const TextMatch& match : others) {
        if (!sink.add(match))
            return;
    }
}

void TextMatcher::Parts::findTypos(std::string_view text, Utf8Range within, Sink& sink, const std::stop_token& stop,
                                   SteadyClock::time_point deadline) const
{
    std::size_t exact = sink.before();
    const std::size_t exactEnd = sink.matches().size();
    typos->find(text, deadline, stop, [&](std::size_t start, std::size_t end) {
        if (start < within.start.value)
            return true;
        if (end > within.end.value)
            return false;
        while (exact < exactEnd && sink.matches()[exact].bytes.end.value <= start)
            ++exact;
        if (exact < exactEnd && sink.matches()[exact].bytes.start.value < end)
            return true;
        return sink.add(start, end, TextMatchKind::typo);
    });
}

std::string TextMatcher::replacementFor(std::string_view text, const TextMatch& match, std::string_view replacement,
                                        Scratch& scratch, Utf8Range within) const
{
    std::string replaced;
    replaceEach(
        text, std::span(&match, 1), replacement, {}, scratch,
        [&](const TextMatch&, std::string_view with) { replaced = with; }, timeBudget, within);
    return replaced;
}

void TextMatcher::replaceEach(std::string_view text, std::span<const TextMatch> matches, std::string_view replacement,
                              const std::stop_token& stop, Scratch& scratch,
                              FunctionRef<void(const TextMatch& match, std::string_view with)> use,
                              std::chrono::nanoseconds budget, Utf8Range within) const
{
    if (parts_->rule.mode != TextMatchMode::regex) {
        for (const TextMatch& match : matches)
            use(match, replacement);
        return;
    }
    const SteadyClock::time_point deadline = SteadyClock::now() + budget;
    Utf16Text& units = scratch.parts_->text;
    units.assign(text, stop);
    URegularExpression* const regex = parts_->regexOf(scratch);
    RegexRun run(regex, deadline, stop);
    run.setText(units.view());
    const std::size_t limit = within.end.value < text.size() ? unitsBefore(text, within.end) : units.view().size();
    const std::u16string wanted = toUtf16(replacement);
    std::uint32_t replaced = 0;
    for (const TextMatch& match : matches) {
        const std::size_t start = match.range.start.value;
        if (!run.findFirst(start, limit) || !run.isMatchedAt(start, match.range.end.value))
            throw TextSearchError::staleResult();
        use(match, toUtf8(fillTemplate(regex, wanted)));
        if (++replaced % 256 == 0)
            run.checkTime();
    }
}

}  // namespace penmark
