// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/commands/FuzzyMatch.h"

#include <QChar>
#include <algorithm>
#include <array>

namespace penmark {

namespace {

enum Quality { lettersOnly = 1, part, wordStarts, beginning, same };
constexpr int qualityStep = 100'000;
constexpr std::size_t mostWords = 24;
constexpr int mostSteps = 400;  // of looking for word starts, in names made to be hard

bool joinsWords(char32_t sign)
{
    return sign == '-' || sign == '_' || sign == '.' || sign == '/' || sign == ':' || QChar::isSpace(sign);
}

/// 0 for what is left out.
char32_t folded(char32_t sign)
{
    if (sign < 0x80)
        return joinsWords(sign) ? U' ' : sign >= 'A' && sign <= 'Z' ? sign + 0x20 : sign;
    if (QChar::isMark(sign))
        return 0;
    if (joinsWords(sign))
        return U' ';
    // Letters with a stroke are letters of their own to Unicode, not to people who look for a name.
    switch (sign) {
    case 0xD8:
    case 0xF8:
        return U'o';
    case 0x110:
    case 0x111:
        return U'd';
    case 0x141:
    case 0x142:
        return U'l';
    case 0x131:
        return U'i';
    default:
        break;
    }
    constexpr char32_t firstHangul = 0xAC00;
    constexpr char32_t lastHangul = 0xD7A3;
    while (QChar::decompositionTag(sign) == QChar::Canonical && !(sign >= firstHangul && sign <= lastHangul)) {
        const QString parts = QChar::decomposition(sign);
        sign = parts[0].isHighSurrogate() && parts.size() > 1 ? QChar::surrogateToUcs4(parts[0], parts[1])
                                                              : parts[0].unicode();
    }
    return QChar::toLower(sign);
}

std::uint64_t signBit(QChar sign)
{
    return std::uint64_t{1} << (sign.unicode() % 64U);
}

std::uint64_t signsOf(const QString& text)
{
    std::uint64_t signs = 0;
    for (const QChar sign : text)
        signs |= signBit(sign);
    return signs;
}

int scoreOf(Quality quality, qsizetype penalty)
{
    return quality * qualityStep + qualityStep - 1 - static_cast<int>(std::min<qsizetype>(penalty, qualityStep - 1));
}

/// Goes through the words of a name and takes from each as much as fits, less if that leads nowhere.
struct WordSearch {
    const QString& text;
    const QString& typed;
    std::array<qsizetype, mostWords + 1> starts;  // and the end of the last
    std::size_t count = 0;
    int steps = 0;
    std::array<qsizetype, mostWords> taken{};  // letters of each word

    bool run(qsizetype at, std::size_t word)
    {
        while (at < typed.size() && typed[at] == QLatin1Char(' '))
            ++at;
        if (at == typed.size())
            return true;
        for (; word < count && steps++ < mostSteps; ++word) {
            const qsizetype most = std::min(starts[word + 1] - starts[word], typed.size() - at);
            qsizetype fits = 0;
            while (fits < most && text[starts[word] + fits] == typed[at + fits] && typed[at + fits] != QLatin1Char(' '))
                ++fits;
            for (; fits > 0; --fits) {
                taken[word] = fits;
                if (run(at + fits, word + 1))
                    return true;
            }
            taken[word] = 0;
        }
        return false;
    }
};

void addRange(std::vector<qsizetype>* places, qsizetype from, qsizetype length)
{
    for (qsizetype at = from; places && at < from + length; ++at)
        places->push_back(at);
}

}  // namespace

FoldedName::FoldedName(QStringView name)
{
    text_.reserve(name.size());
    bool isShifted = false;
    bool wasLower = false;
    bool wasJoint = true;
    std::vector<qint32> places;
    for (qsizetype at = 0; at < name.size(); ++at) {
        const qsizetype begin = at;
        char32_t sign = name[at].unicode();
        if (name[at].isHighSurrogate() && at + 1 < name.size() && name[at + 1].isLowSurrogate())
            sign = QChar::surrogateToUcs4(name[at], name[at + 1]);
        at += QChar::requiresSurrogates(sign) ? 1 : 0;
        const char32_t plain = folded(sign);
        if (plain == 0) {
            isShifted = true;
            continue;
        }
        const bool isJoint = plain == U' ';
        const bool isUpper = QChar::isUpper(sign);
        if (!isJoint && (wasJoint || (isUpper && wasLower)) && text_.size() < 64)
            starts_ |= std::uint64_t{1} << static_cast<unsigned>(text_.size());
        wasJoint = isJoint;
        wasLower = !isUpper && !isJoint;
        isShifted = isShifted || (QChar::requiresSurrogates(plain) ? 2 : 1) != at - begin + 1;
        for (const char16_t unit : QChar::fromUcs4(plain)) {
            text_.append(QChar(unit));
            places.push_back(static_cast<qint32>(begin));
        }
    }
    if (isShifted)
        places_ = std::move(places);
    signs_ = signsOf(text_);
}

bool FoldedName::startsWord(qsizetype at) const
{
    if (at < 64)
        return (starts_ >> static_cast<unsigned>(at) & 1U) != 0;
    return text_[at] != QLatin1Char(' ') && text_[at - 1] == QLatin1Char(' ');
}

FuzzyMatch::FuzzyMatch(QStringView typed) : typed_(FoldedName(typed).text_.simplified())
{
    letters_ = typed_;
    letters_.remove(QLatin1Char(' '));
    signs_ = signsOf(letters_);
}

int FuzzyMatch::score(const FoldedName& name) const
{
    return find(name, nullptr);
}

std::vector<qsizetype> FuzzyMatch::marks(const FoldedName& name) const
{
    Places places;
    if (find(name, &places) == 0)
        return {};
    for (qsizetype& place : places)
        place = name.originalPlace(place);
    return places;
}

int FuzzyMatch::find(const FoldedName& name, Places* places) const
{
    if (isEmpty())
        return 1;
    if ((signs_ & ~name.signs_) != 0)
        return 0;
    if (name.text_.startsWith(typed_)) {
        addRange(places, 0, typed_.size());
        return name.text_.size() == typed_.size() ? scoreOf(same, 0) : scoreOf(beginning, name.text_.size());
    }
    qsizetype first = 0;
    qsizetype gaps = 0;
    if (!findLetters(name, first, gaps, nullptr))
        return 0;
    if (qsizetype start = 0; findWordStarts(name, start, places))
        return scoreOf(wordStarts, start * 4 + name.text_.size());
    if (const qsizetype at = name.text_.indexOf(typed_); at >= 0) {
        addRange(places, at, typed_.size());
        return scoreOf(part, at * 4 + name.text_.size());
    }
    if (places)
        findLetters(name, first, gaps, places);
    return scoreOf(lettersOnly, gaps * 16 + first * 4 + name.text_.size());
}

bool FuzzyMatch::findWordStarts(const FoldedName& name, qsizetype& first, Places* places) const
{
    WordSearch search{.text = name.text_, .typed = typed_, .starts = {}};
    for (qsizetype at = 0; at < name.text_.size() && search.count < mostWords; ++at) {
        if (name.startsWord(at))
            search.starts[search.count++] = at;
    }
    search.starts[search.count] = name.text_.size();
    if (!search.run(0, 0))
        return false;
    first = -1;
    for (std::size_t word = 0; word < search.count; ++word) {
        if (search.taken[word] > 0 && first < 0)
            first = search.starts[word];
        addRange(places, search.starts[word], search.taken[word]);
    }
    return true;
}

bool FuzzyMatch::findLetters(const FoldedName& name, qsizetype& first, qsizetype& gaps, Places* places) const
{
    // Where the letters end for the first time; from there back, they lie as close together as they can.
    qsizetype end = 0;
    for (const QChar letter : letters_) {
        const qsizetype at = name.text_.indexOf(letter, end);
        if (at < 0)
            return false;
        end = at + 1;
    }
    qsizetype at = end;
    for (qsizetype letter = letters_.size(); letter-- > 0;) {
        at = name.text_.lastIndexOf(letters_[letter], at - 1);
        if (places)
            places->push_back(at);
    }
    if (places)
        std::reverse(places->begin(), places->end());
    first = at;
    gaps = end - at - letters_.size();
    return true;
}

}  // namespace penmark
