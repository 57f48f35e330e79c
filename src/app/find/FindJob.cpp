// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/find/FindJob.h"

#include "base/SystemError.h"
#include "search/TextMatcher.h"
#include "text/commands/CommandResult.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace penmark {

namespace {

using Steady = std::chrono::steady_clock;

/// A snapshot as one string, copied only if it is in pieces.
class WholeText {
public:
    WholeText(const TextSnapshot& text, const std::stop_token& stop) : snapshot_(text)
    {
        if (text.empty())
            return;
        const std::string_view piece = text.pieceAt(Utf8Offset(0)).second;
        if (piece.size() == text.end().value) {
            view_ = piece;
            return;
        }
        copy_.reserve(text.end().value);
        text.forEachPiece({Utf8Offset(0), text.end()}, [&](std::string_view each) {
            copy_ += each;
            return !stop.stop_requested();
        });
        if (stop.stop_requested())
            throw Cancelled();
        view_ = copy_;
    }

    std::string_view view() const { return view_; }

private:
    TextSnapshot snapshot_;  // keeps what is referred to
    std::string copy_;
    std::string_view view_;
};

bool isBlank(const std::string& query)
{
    return !query.empty() && query.find_first_not_of(" \t") == std::string::npos;
}

/// In an editor "^" and "$" stand at each line. An expression that is wrong is refused as it was typed.
TextSearchRule withLines(TextSearchRule rule)
{
    if (rule.query.find_first_of("^$") == std::string::npos)
        return rule;
    TextMatcher{rule};
    rule.query.insert(0, "(?m)");
    return rule;
}

/// What a matcher takes for blanks that somebody forgot to type behind is meant here.
TextSearchRule ruleForMatcher(TextSearchRule rule)
{
    if (rule.mode == TextMatchMode::regex)
        return withLines(std::move(rule));
    if (rule.mode != TextMatchMode::literal || !isBlank(rule.query))
        return rule;
    std::string expression;
    for (const char blank : rule.query)
        expression += blank == '\t' ? "\\x{9}" : "\\x{20}";
    rule.query = std::move(expression);
    rule.mode = TextMatchMode::regex;
    rule.wholeWord = false;
    return rule;
}

std::string replacementForMatcher(const TextSearchRule& rule, const std::string& with)
{
    if (rule.mode != TextMatchMode::literal || !isBlank(rule.query))
        return with;
    std::string escaped;
    for (const char character : with) {
        if (character == '$' || character == '\\')
            escaped += '\\';
        escaped += character;
    }
    return escaped;
}

std::chrono::nanoseconds budgetFor(std::string_view text)
{
    return TextMatcher::timeBudget * static_cast<std::int64_t>((text.size() >> 20) + 1);
}

std::size_t characterBehind(std::string_view text, std::size_t offset)
{
    for (++offset; offset < text.size() && (static_cast<unsigned char>(text[offset]) & 0xC0) == 0x80;)
        ++offset;
    return offset;
}

bool reaches(const FindPart& part, const FindTarget& target)
{
    if (const auto* const place = std::get_if<Utf8Offset>(&target))
        return !part.matches.empty() && part.matches.back().start >= *place;
    const std::size_t number = std::get<std::size_t>(target);
    return number != lastMatch && number < part.first + part.matches.size();
}

/// One query in one text.
class Finding {
public:
    Finding(std::string_view text, const FindQuery& query, const std::stop_token& stop)
        : text_(text), within_(query.within.value_or(TextMatcher::everywhere)), stop_(stop),
          matcher_(ruleForMatcher(query.rule)), deadline_(Steady::now() + budgetFor(text))
    {
        within_.end = std::min(within_.end, Utf8Offset(text.size()));
        within_.start = std::min(within_.start, within_.end);
    }

    const TextMatcher& matcher() const { return matcher_; }
    TextMatcher::Scratch& scratch() { return scratch_; }
    Utf8Range within() const { return within_; }

    /// Puts the next matches from a place on into `found`, also those found before it throws.
    void find(Utf8Offset from, std::size_t most, std::vector<TextMatch>& found)
    {
        found.clear();
        const auto left = std::max(deadline_ - Steady::now(), Steady::duration(std::chrono::milliseconds(1)));
        matcher_.find(text_, most, stop_, scratch_, found, left, {from, within_.end});
        // Lines that are selected as a whole end at the start of the next one, which is not meant.
        const char last =
            within_.end.value > 0 && within_.end.value < text_.size() ? text_[within_.end.value - 1] : ' ';
        if ((last == '\n' || last == '\r') && !found.empty() &&
            found.back().bytes == Utf8Range{within_.end, within_.end})
            found.pop_back();
    }

private:
    std::string_view text_;
    Utf8Range within_;
    const std::stop_token& stop_;
    TextMatcher matcher_;
    TextMatcher::Scratch scratch_;
    Steady::time_point deadline_;
};

std::vector<Utf8Range> placesOf(const std::vector<TextMatch>& matches)
{
    std::vector<Utf8Range> places;
    places.reserve(matches.size());
    for (const TextMatch& match : matches)
        places.push_back(match.bytes);
    return places;
}

void findInOrder(FindPart& part, std::string_view text, Finding& finding, const FindTarget& target,
                 std::size_t partSize)
{
    Utf8Offset from = finding.within().start;
    std::size_t before = 0;
    std::vector<TextMatch> found;
    const auto take = [&] {
        part.start = part.matches.empty() ? Utf8Offset() : part.matches.back().start + 1;
        part.matches = placesOf(found);
        part.first = before;
    };
    while (true) {
        try {
            finding.find(from, partSize, found);
        } catch (const TextSearchError&) {
            if (!found.empty())
                take();
            part.isLast = true;
            throw;
        }
        part.isLast = found.size() < partSize;
        if (found.empty() && before > 0)
            return;  // the part before was full and the last
        take();
        if (part.isLast || reaches(part, target))
            return;
        before += found.size();
        const Utf8Range last = part.matches.back();
        from = last.empty() ? Utf8Offset(characterBehind(text, last.end.value)) : last.end;
        if (from > finding.within().end) {
            part.isLast = true;
            return;
        }
    }
}

/// Exact matches come before the others then, so all of them are needed to know what a part is.
void findAndSort(FindPart& part, Finding& finding, const FindTarget& target, std::size_t partSize)
{
    std::vector<TextMatch> found;
    const auto cut = [&] {
        std::vector<Utf8Range> all = placesOf(found);
        std::sort(all.begin(), all.end(), [](Utf8Range left, Utf8Range right) { return left.start < right.start; });
        if (all.empty())
            return;
        std::size_t number = all.size() - 1;
        if (const auto* const place = std::get_if<Utf8Offset>(&target)) {
            const auto at =
                std::partition_point(all.begin(), all.end(), [&](Utf8Range each) { return each.start < *place; });
            number = std::min(number, static_cast<std::size_t>(at - all.begin()));
        } else {
            number = std::min(number, std::get<std::size_t>(target));
        }
        part.first = number - number % partSize;
        part.start = part.first == 0 ? Utf8Offset() : all[part.first - 1].start + 1;
        part.isLast = all.size() - part.first <= partSize;
        const auto begin = all.begin() + static_cast<std::ptrdiff_t>(part.first);
        part.matches.assign(begin, part.isLast ? all.end() : begin + static_cast<std::ptrdiff_t>(partSize));
    };
    try {
        finding.find(finding.within().start, lastMatch, found);
    } catch (const TextSearchError&) {
        cut();
        throw;
    }
    cut();
}

bool isInOrder(TextMatchMode mode)
{
    return mode == TextMatchMode::literal || mode == TextMatchMode::regex;
}

/// Looks at the place alone: what stands before it counts for whole words only, and might be the start of a match that
/// reaches into this one.
bool isLiteralMatch(const TextMatcher& matcher, std::string_view text, Utf8Range place, const std::stop_token& stop,
                    TextMatcher::Scratch& scratch)
{
    std::vector<TextMatch> found;
    matcher.find(text, 1, stop, scratch, found, TextMatcher::timeBudget, place);
    return !found.empty() && found.front().bytes == place;
}

template <class Result, class Work>
Result guarded(Work work)
{
    Result result;
    try {
        work(result);
    } catch (const TextSearchError& error) {
        result.problem = error.what();
    } catch (const Cancelled&) {
        result.cancelled = true;
    }
    return result;
}

}  // namespace

FindPart findPart(const TextSnapshot& text, const FindQuery& query, FindTarget target, std::size_t partSize,
                  const std::stop_token& stop)
{
    return guarded<FindPart>([&](FindPart& part) {
        const WholeText whole(text, stop);
        Finding finding(whole.view(), query, stop);
        if (isInOrder(query.rule.mode))
            findInOrder(part, whole.view(), finding, target, partSize);
        else
            findAndSort(part, finding, target, partSize);
    });
}

FindReplacement replaceMatch(const TextSnapshot& text, const FindQuery& query, Utf8Range match, const std::string& with,
                             const std::stop_token& stop)
{
    return guarded<FindReplacement>([&](FindReplacement& replacement) {
        const WholeText whole(text, stop);
        Finding finding(whole.view(), query, stop);
        const TextMatcher& matcher = finding.matcher();
        if (matcher.rule().mode == TextMatchMode::literal &&
            !isLiteralMatch(matcher, whole.view(), match, stop, finding.scratch())) {
            replacement.isStale = true;
            return;
        }
        const TextMatch place{text.toUtf16(match), match, TextMatchKind::exact};
        std::string inserted;
        try {
            inserted = matcher.replacementFor(whole.view(), place, replacementForMatcher(query.rule, with),
                                              finding.scratch(), finding.within());
        } catch (const TextSearchError& error) {
            if (error.which() != TextSearchError::Case::staleResult)
                throw;
            replacement.isStale = true;
            return;
        }
        const CaretSet carets(Caret(match.start, match.end));
        commands::CommandResult result(text, carets);
        result.replace(match, inserted);
        replacement.result = std::move(result).buildMapped(Stickiness::after);
        replacement.count = 1;
    });
}

FindReplacement replaceAllMatches(const TextSnapshot& text, const CaretSet& carets, const FindQuery& query,
                                  const std::string& with, const std::stop_token& stop)
{
    FindReplacement all = guarded<FindReplacement>([&](FindReplacement& replacement) {
        const WholeText whole(text, stop);
        Finding finding(whole.view(), query, stop);
        std::vector<TextMatch> matches;
        finding.find(finding.within().start, lastMatch, matches);
        if (!isInOrder(query.rule.mode))
            std::sort(matches.begin(), matches.end(), [](const TextMatch& left, const TextMatch& right) {
                return left.bytes.start < right.bytes.start;
            });
        const std::string wanted = replacementForMatcher(query.rule, with);
        commands::CommandResult result(text, carets);
        const auto replaceOne = [&](const TextMatch& match, std::string_view inserted) {
            result.replace(match.bytes, inserted);
            if (++replacement.count % 1'024 == 0 && stop.stop_requested())
                throw Cancelled();
        };
        finding.matcher().replaceEach(whole.view(), matches, wanted, stop, finding.scratch(), replaceOne,
                                      budgetFor(whole.view()), finding.within());
        replacement.result = std::move(result).buildMapped(Stickiness::after);
    });
    if (!all.problem.empty() || all.cancelled)
        all.count = 0;
    return all;
}

}  // namespace penmark
