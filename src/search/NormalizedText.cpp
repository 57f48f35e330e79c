// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/SystemError.h"
#include "search/TextMatcher.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

namespace penmark {

namespace {

constexpr std::size_t stride = 1'024;  // units between looks at the stop token

bool isSeparator(std::u16string_view character)
{
    for (std::size_t i = 0; i < character.size();) {
        UChar32 c = 0;
        U16_NEXT(character.data(), i, character.size(), c);
        if (c != '-' && c != '.' && c != '_' && c != '/' && !u_isUWhiteSpace(c))
            return false;
    }
    return true;
}

/// What ASCII characters are folded to: separators to a blank.
struct AsciiFolding {
    std::array<char16_t, 128> to{};

    explicit AsciiFolding(bool caseSensitive)
    {
        for (char16_t c = 0; c < to.size(); ++c) {
            const bool isUpper = !caseSensitive && c >= 'A' && c <= 'Z';
            to[c] = isSeparator({&c, 1}) ? u' ' : isUpper ? static_cast<char16_t>(c + 0x20) : c;
        }
    }
};

/// Collects the folded text. There is room for as many units as were asked for.
class Output {
public:
    explicit Output(std::size_t units) { makeRoom(units); }

    void makeRoom(std::size_t units)
    {
        if (size_ + units <= result_.text.size())
            return;
        result_.text.resize(size_ + units + size_ / 8);
        result_.origins.resize(result_.text.size());
    }
    void add(char16_t unit, std::size_t start, std::size_t end)
    {
        result_.text[size_] = unit;
        result_.origins[size_].start = static_cast<std::uint32_t>(start);
        result_.origins[size_].length = static_cast<std::uint32_t>(end - start);
        ++size_;
    }
    /// Widens the blank that is there already.
    void addBlank(std::size_t start, std::size_t end)
    {
        if (size_ == 0 || result_.text[size_ - 1] != u' ')
            return add(u' ', start, end);
        NormalizedText::Origin& blank = result_.origins[size_ - 1];
        blank.length = static_cast<std::uint32_t>(end) - blank.start;
    }
    NormalizedText take()
    {
        result_.text.resize(size_);
        result_.origins.resize(size_);
        return std::move(result_);
    }

private:
    NormalizedText result_;
    std::size_t size_ = 0;
};

/// Finds where user-perceived characters end, with ICU's iterator only where characters may stick together.
class Characters {
public:
    explicit Characters(std::u16string_view text) : text_(text) {}
    ~Characters() { ubrk_close(iterator_); }
    Characters(const Characters&) = delete;
    Characters& operator=(const Characters&) = delete;

    std::size_t endOf(std::size_t start)
    {
        std::size_t end = start;
        UChar32 c = 0;
        U16_NEXT(text_.data(), end, text_.size(), c);
        if (end == text_.size())
            return end;
        std::size_t behind = end;
        UChar32 next = 0;
        U16_NEXT(text_.data(), behind, text_.size(), next);
        if (c == '\r' && next == '\n')
            return behind;
        if ((c < 0x80 || !mayJoinNext(c)) && (next < 0x300 || !mayJoinPrevious(next)))
            return end;
        return static_cast<std::size_t>(following(static_cast<std::int32_t>(start)));
    }

private:
    static bool mayJoinNext(UChar32 c)
    {
        switch (u_getIntPropertyValue(c, UCHAR_GRAPHEME_CLUSTER_BREAK)) {
        case U_GCB_OTHER:
        case U_GCB_CONTROL:
        case U_GCB_LV:   // a whole syllable of Korean
        case U_GCB_LVT:  // ends where no further letter of it comes
            return false;
        default:
            return true;
        }
    }
    static bool mayJoinPrevious(UChar32 c)
    {
        switch (u_getIntPropertyValue(c, UCHAR_GRAPHEME_CLUSTER_BREAK)) {
        case U_GCB_EXTEND:
        case U_GCB_SPACING_MARK:
        case U_GCB_ZWJ:
        case U_GCB_V:
        case U_GCB_T:
            return true;
        default:
            return false;
        }
    }

    std::int32_t following(std::int32_t start)
    {
        UErrorCode status = U_ZERO_ERROR;
        if (!iterator_)
            iterator_ = ubrk_open(UBRK_CHARACTER, "en_US_POSIX", text_.data(), static_cast<std::int32_t>(text_.size()),
                                  &status);
        const std::int32_t end = iterator_ ? ubrk_following(iterator_, start) : UBRK_DONE;
        if (end != UBRK_DONE)
            return end;
        U16_FWD_1(text_.data(), start, static_cast<std::int32_t>(text_.size()));
        return start;
    }

    std::u16string_view text_;
    UBreakIterator* iterator_ = nullptr;
};

/// Folds characters beyond ASCII: marks that take no room of their own away, then case.
class Folder {
public:
    explicit Folder(bool caseSensitive)
        : caseSensitive_(caseSensitive), decomposer_(unorm2_getNFDInstance(&status_)),
          composer_(unorm2_getNFCInstance(&status_))
    {}

    // Valid until the next call.
    std::u16string_view fold(std::u16string_view character)
    {
        if (character.size() > 2)
            return folded_ = foldAnew(character);
        UChar32 c = 0;
        std::size_t i = 0;
        U16_NEXT(character.data(), i, character.size(), c);
        if (i < character.size())
            return folded_ = foldAnew(character);
        Known& known = known_[static_cast<std::size_t>(c) % known_.size()];
        if (known.character != c)
            known = {c, foldAnew(character)};
        return known.folded;
    }

private:
    struct Known {
        UChar32 character = -1;
        std::u16string folded;
    };

    std::u16string foldAnew(std::u16string_view character)
    {
        std::u16string decomposed = apply(
            [&](char16_t* to, std::int32_t room, UErrorCode* status) {
                return unorm2_normalize(decomposer_, character.data(), static_cast<std::int32_t>(character.size()), to,
                                        room, status);
            },
            character.size() * 4);
        std::u16string bare;
        for (std::size_t i = 0; i < decomposed.size();) {
            const std::size_t start = i;
            UChar32 c = 0;
            U16_NEXT(decomposed.data(), i, decomposed.size(), c);
            if (u_charType(c) != U_NON_SPACING_MARK)
                bare.append(decomposed, start, i - start);
        }
        if (bare.empty())
            return std::u16string(character);
        if (!caseSensitive_)
            bare = apply(
                [&](char16_t* to, std::int32_t room, UErrorCode* status) {
                    return u_strFoldCase(to, room, bare.data(), static_cast<std::int32_t>(bare.size()),
                                         U_FOLD_CASE_DEFAULT, status);
                },
                bare.size() * 3);
        return apply(
            [&](char16_t* to, std::int32_t room, UErrorCode* status) {
                return unorm2_normalize(composer_, bare.data(), static_cast<std::int32_t>(bare.size()), to, room,
                                        status);
            },
            bare.size() * 3);
    }

    template <class Transform>
    static std::u16string apply(Transform transform, std::size_t room)
    {
        std::u16string result(room, u'\0');
        for (int attempt = 0; attempt < 2; ++attempt) {
            UErrorCode status = U_ZERO_ERROR;
            const std::int32_t length = transform(result.data(), static_cast<std::int32_t>(result.size()), &status);
            const bool fits = static_cast<std::size_t>(length) <= result.size();
            result.resize(static_cast<std::size_t>(length));
            if (fits)
                break;
        }
        return result;
    }

    bool caseSensitive_;
    UErrorCode status_ = U_ZERO_ERROR;
    const UNormalizer2* decomposer_;
    const UNormalizer2* composer_;
    std::u16string folded_;
    std::vector<Known> known_{512};
};

}  // namespace

NormalizedText NormalizedText::of(std::u16string_view text, bool caseSensitive, const std::stop_token& stop)
{
    Output output(text.size());
    const AsciiFolding ascii(caseSensitive);
    Characters characters(text);
    Folder folder(caseSensitive);
    for (std::size_t start = 0, end = 0; start < text.size(); start = end) {
        if (start % stride == 0 && stop.stop_requested())
            throw Cancelled();
        const char16_t c = text[start];
        if (c < 0x80 && c != u'\r' && (start + 1 == text.size() || text[start + 1] < 0x80)) {
            end = start + 1;
            if (ascii.to[c] == u' ')
                output.addBlank(start, end);
            else
                output.add(ascii.to[c], start, end);
            continue;
        }
        end = characters.endOf(start);
        const std::u16string_view character = text.substr(start, end - start);
        if (isSeparator(character)) {
            output.addBlank(start, end);
            continue;
        }
        const std::u16string_view folded = folder.fold(character);
        output.makeRoom(folded.size() + text.size() - start);
        for (const char16_t unit : folded)
            output.add(unit, start, end);
    }
    return output.take();
}

}  // namespace penmark
