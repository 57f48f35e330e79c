// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/FilterWords.h"

#include <QList>
#include <QStringList>
#include <algorithm>
#include <cstring>

namespace penmark {
namespace {

/// Letters that people take for accented ones and Unicode does not take apart.
const char* plainLetters(char32_t letter)
{
    switch (letter) {
    case U'æ':
    case U'Æ':
        return "ae";
    case U'œ':
    case U'Œ':
        return "oe";
    case U'ß':
    case U'ẞ':
        return "ss";
    case U'ø':
    case U'Ø':
        return "o";
    case U'ł':
    case U'Ł':
        return "l";
    case U'đ':
    case U'Đ':
    case U'ð':
    case U'Ð':
        return "d";
    case U'ħ':
    case U'Ħ':
        return "h";
    case U'þ':
    case U'Þ':
        return "th";
    case U'ı':
        return "i";
    default:
        return nullptr;
    }
}

/// Accents and the points of Hebrew and Arabic. The classes between hold what changes the letter: the voicing marks of
/// Kana, the vowels of Thai and Lao.
bool isAccent(char32_t character)
{
    if (QChar::category(character) != QChar::Mark_NonSpacing)
        return false;
    const unsigned kind = QChar::combiningClass(character);
    return kind >= 200 || (kind >= 10 && kind <= 35);
}

/// Calls `out` with each code point that is left of one.
template <class Out>
void fold(char32_t character, const Out& out)
{
    if (character < 0x80) {
        out(character >= 'A' && character <= 'Z' ? character + ('a' - 'A') : character);
        return;
    }
    if (isAccent(character))
        return;
    if (const char* plain = plainLetters(character)) {
        for (; *plain; ++plain)
            out(static_cast<char32_t>(*plain));
        return;
    }
    if (QChar::decompositionTag(character) == QChar::NoDecomposition) {
        out(QChar::toCaseFolded(character));
        return;
    }
    const auto parts = QChar::decomposition(character).toUcs4();
    for (const auto part : parts)
        fold(static_cast<char32_t>(part), out);
}

struct Folded {
    std::u32string text;
    std::vector<qsizetype> starts;  // in the shown text, in UTF-16 units, of each code point of `text`; and its end
};

Folded foldWithPlaces(const QString& shown)
{
    Folded folded;
    for (qsizetype at = 0; at < shown.size();) {
        const bool isPair = shown[at].isHighSurrogate() && at + 1 < shown.size() && shown[at + 1].isLowSurrogate();
        const char32_t character = isPair ? QChar::surrogateToUcs4(shown[at], shown[at + 1]) : shown[at].unicode();
        fold(character, [&](char32_t part) {
            folded.text += part;
            folded.starts.push_back(at);
        });
        at += isPair ? 2 : 1;
    }
    folded.starts.push_back(shown.size());
    return folded;
}

}  // namespace

std::string foldForFilter(std::string_view utf8)
{
    std::string folded(utf8);
    bool isAscii = true;
    for (char& byte : folded) {
        if (byte >= 'A' && byte <= 'Z')
            byte = static_cast<char>(byte + ('a' - 'A'));
        isAscii = isAscii && static_cast<unsigned char>(byte) < 0x80;
    }
    if (isAscii)
        return folded;
    const auto text = QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size())).toUcs4();
    QString out;
    out.reserve(text.size());
    for (const auto character : text)
        fold(static_cast<char32_t>(character), [&](char32_t part) { out.append(QChar::fromUcs4(part)); });
    return out.toUtf8().toStdString();
}

FilterWords::FilterWords(const QString& typed)
{
    const QString folded = QString::fromStdString(foldForFilter(typed.toUtf8().toStdString()));
    for (const QString& word : folded.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts))
        words_.push_back(word.toStdString());
}

bool FilterWords::match(std::string_view folded, std::string_view otherFolded) const
{
    const auto has = [](std::string_view text, const std::string& word) {
        return !text.empty() && ::memmem(text.data(), text.size(), word.data(), word.size()) != nullptr;
    };
    return std::all_of(words_.begin(), words_.end(),
                       [&](const std::string& word) { return has(folded, word) || has(otherFolded, word); });
}

std::vector<FilterWords::Mark> FilterWords::marks(const QString& shown) const
{
    std::vector<Mark> marks;
    if (words_.empty())
        return marks;
    const Folded folded = foldWithPlaces(shown);
    std::vector<bool> isMarked(static_cast<std::size_t>(shown.size()), false);
    for (const std::string& word : words_) {
        const std::u32string wanted = QString::fromStdString(word).toStdU32String();
        for (std::size_t at = folded.text.find(wanted); at != std::u32string::npos;
             at = folded.text.find(wanted, at + wanted.size())) {
            // Up to the next letter, so that an accent behind the last one is marked with it.
            std::size_t last = at + wanted.size();
            while (last + 1 < folded.starts.size() && folded.starts[last] == folded.starts[last - 1])
                ++last;
            for (auto unit = folded.starts[at]; unit < folded.starts[last]; ++unit)
                isMarked[static_cast<std::size_t>(unit)] = true;
        }
    }
    for (std::size_t unit = 0; unit < isMarked.size(); ++unit) {
        if (!isMarked[unit])
            continue;
        if (unit > 0 && isMarked[unit - 1])
            ++marks.back().length;
        else
            marks.push_back({static_cast<qsizetype>(unit), 1});
    }
    return marks;
}

}  // namespace penmark
