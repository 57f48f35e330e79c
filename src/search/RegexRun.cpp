// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/RegexRun.h"

#include "base/SystemError.h"
#include "search/TextSearchError.h"
#include "search/Utf16Text.h"

#include <limits>
#include <new>

#include <unicode/uregex.h>

namespace penmark {

namespace {

constexpr std::uint32_t placesBetweenLooks = 256;
constexpr std::int32_t stackLimit = 32 << 20;  // bytes of places to return to; the engine's own limit is 8 MB

bool isOutOfBounds(UErrorCode status)
{
    return status == U_REGEX_STACK_OVERFLOW || status == U_REGEX_TIME_OUT || status == U_REGEX_STOPPED_BY_CALLER;
}

}  // namespace

void CloseRegex::operator()(URegularExpression* regex) const noexcept
{
    uregex_close(regex);
}

RegexHandle compileRegex(std::string_view pattern, bool caseSensitive)
{
    const std::u16string units = toUtf16(pattern);
    UParseError place{};
    UErrorCode status = U_ZERO_ERROR;
    RegexHandle regex(uregex_open(units.data(), static_cast<std::int32_t>(units.size()),
                                  caseSensitive ? 0 : UREGEX_CASE_INSENSITIVE, &place, &status));
    if (U_SUCCESS(status))
        return regex;
    std::string sentence = std::string("Invalid ICU regular expression: ") + u_errorName(status);
    if (place.line > 0)
        sentence += " (line " + std::to_string(place.line) + ", character " + std::to_string(place.offset) + ")";
    throw TextSearchError(std::move(sentence));
}

RegexHandle cloneRegex(const URegularExpression* regex)
{
    UErrorCode status = U_ZERO_ERROR;
    RegexHandle clone(uregex_clone(regex, &status));
    if (U_FAILURE(status))
        throw std::bad_alloc();
    uregex_setStackLimit(clone.get(), stackLimit, &status);
    return clone;
}

RegexRun::RegexRun(URegularExpression* regex, std::chrono::steady_clock::time_point deadline,
                   const std::stop_token& stop)
    : regex_(regex), deadline_(deadline), stop_(stop)
{
    UErrorCode status = U_ZERO_ERROR;
    uregex_setMatchCallback(regex_, &RegexRun::matching, this, &status);
    uregex_setFindProgressCallback(regex_, &RegexRun::advancing, this, &status);
    uregex_useTransparentBounds(regex_, true, &status);
    uregex_useAnchoringBounds(regex_, false, &status);
}

RegexRun::~RegexRun()
{
    UErrorCode status = U_ZERO_ERROR;
    uregex_setMatchCallback(regex_, nullptr, nullptr, &status);
    uregex_setFindProgressCallback(regex_, nullptr, nullptr, &status);
    uregex_setText(regex_, u"", 0, &status);  // it does not keep what is gone
}

void RegexRun::setText(std::u16string_view text)
{
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        throw TextSearchError("This text is too large for regular expressions.");
    UErrorCode status = U_ZERO_ERROR;
    uregex_setText(regex_, text.empty() ? u"" : text.data(), static_cast<std::int32_t>(text.size()), &status);
}

bool RegexRun::mayGoOn()
{
    if (stop_.stop_requested())
        return false;
    if (!isLate_)
        isLate_ = std::chrono::steady_clock::now() >= deadline_;
    return !isLate_;
}

std::int8_t RegexRun::matching(const void* context, std::int32_t)
{
    return static_cast<RegexRun*>(const_cast<void*>(context))->mayGoOn();
}

std::int8_t RegexRun::advancing(const void* context, std::int64_t)
{
    auto& run = *static_cast<RegexRun*>(const_cast<void*>(context));
    if (++run.places_ < placesBetweenLooks)
        return true;
    run.places_ = 0;
    return run.mayGoOn();
}

void RegexRun::checkTime()
{
    if (mayGoOn())
        return;
    if (stop_.stop_requested())
        throw Cancelled();
    throw TextSearchError::timeBudget();
}

void RegexRun::fail(int status) const
{
    if (stop_.stop_requested())
        throw Cancelled();
    if (isOutOfBounds(static_cast<UErrorCode>(status)))
        throw TextSearchError::timeBudget();
    if (status == U_MEMORY_ALLOCATION_ERROR)
        throw std::bad_alloc();
    throw TextSearchError(std::string("The regular expression failed: ") +
                          u_errorName(static_cast<UErrorCode>(status)));
}

bool RegexRun::limitTo(std::size_t from, std::size_t end)
{
    UErrorCode status = U_ZERO_ERROR;
    uregex_setRegion64(regex_, static_cast<std::int64_t>(from), static_cast<std::int64_t>(end), &status);
    return U_SUCCESS(status) != 0;
}

void RegexRun::forEachMatch(std::size_t from, std::size_t end,
                            FunctionRef<bool(std::size_t start, std::size_t end)> use)
{
    if (!limitTo(from, end))
        return;
    UErrorCode status = U_ZERO_ERROR;
    std::uint32_t matches = 0;
    while (uregex_findNext(regex_, &status) && U_SUCCESS(status)) {
        const std::int64_t start = uregex_start64(regex_, 0, &status);
        const std::int64_t behind = uregex_end64(regex_, 0, &status);
        if (!use(static_cast<std::size_t>(start), static_cast<std::size_t>(behind)))
            return;
        if (++matches % placesBetweenLooks == 0)
            checkTime();
    }
    if (U_FAILURE(status))
        fail(status);
}

bool RegexRun::findFirst(std::size_t from, std::size_t end)
{
    if (!limitTo(from, end))
        return false;
    UErrorCode status = U_ZERO_ERROR;
    const bool isFound = uregex_findNext(regex_, &status) != 0;
    if (U_FAILURE(status))
        fail(status);
    return isFound;
}

bool RegexRun::isMatchedAt(std::size_t start, std::size_t end) const
{
    UErrorCode status = U_ZERO_ERROR;
    return uregex_start64(regex_, 0, &status) == static_cast<std::int64_t>(start) &&
           uregex_end64(regex_, 0, &status) == static_cast<std::int64_t>(end) && U_SUCCESS(status);
}

}  // namespace penmark
