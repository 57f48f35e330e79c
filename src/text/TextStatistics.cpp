// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/TextStatistics.h"

#include "text/Characters.h"
#include "text/TextEdit.h"
#include "text/TextSnapshot.h"

#include <array>
#include <cstdint>
#include <string_view>

#include <unicode/uchar.h>

namespace penmark {

namespace {

// What a character does to the counts. Sixteen at most: three of them index a table.
enum Class : std::uint8_t {
    other,
    letter,
    digit,
    mark,  // part of the word and the character before it
    apostrophe,
    point,   // or comma
    hyphen,  // a soft one, and other invisible characters that words go on behind
    ideograph,
    hangul,
    unspaced,
    carriageReturn,
    lineFeed,
    pictograph,
    extender,  // part of the character before it, but of no word
    joiner,
    regional,
};

constexpr std::array<Class, 128> ascii_classes = [] {
    std::array<Class, 128> classes{};
    for (std::size_t i = 0; i < classes.size(); ++i) {
        if ((i >= 'a' && i <= 'z') || (i >= 'A' && i <= 'Z') || i == '_')
            classes[i] = letter;
        else if (i >= '0' && i <= '9')
            classes[i] = digit;
    }
    classes['\''] = apostrophe;
    classes['.'] = point;
    classes[','] = point;
    classes['\r'] = carriageReturn;
    classes['\n'] = lineFeed;
    return classes;
}();

Class classOf(char32_t character)
{
    if (character < 0x80)
        return ascii_classes[character];
    const auto c = static_cast<UChar32>(character);
    if (character == 0x2019 || character == 0xb7 || character == 0x5f4)
        return apostrophe;
    const int cluster = u_getIntPropertyValue(c, UCHAR_GRAPHEME_CLUSTER_BREAK);
    switch (cluster) {
    case U_GCB_ZWJ:
        return joiner;
    case U_GCB_REGIONAL_INDICATOR:
        return regional;
    case U_GCB_V:
    case U_GCB_T:
        return mark;
    case U_GCB_EXTEND:
    case U_GCB_SPACING_MARK:
        if (u_hasBinaryProperty(c, UCHAR_VARIATION_SELECTOR) || u_charType(c) == U_ENCLOSING_MARK ||
            u_charType(c) == U_MODIFIER_SYMBOL || u_getIntPropertyValue(c, UCHAR_LINE_BREAK) == U_LB_COMPLEX_CONTEXT)
            return extender;
        return mark;
    default:
        break;
    }
    if (isCountedAlone(character))
        return character >= 0xac00 && character <= 0xd7a3 ? hangul : ideograph;
    if (isDictionaryScript(character))
        return unspaced;
    const std::uint32_t category = U_GET_GC_MASK(c);
    if ((category & U_GC_CF_MASK) != 0 && character != 0x200b)
        return cluster == U_GCB_PREPEND ? letter : hyphen;
    if ((category & U_GC_ND_MASK) != 0)
        return digit;
    if (characterClass(character) == CharacterClass::word)
        return letter;
    return u_hasBinaryProperty(c, UCHAR_EXTENDED_PICTOGRAPHIC) ? pictograph : other;
}

// Looking around one place takes as long as walking over so many bytes.
constexpr std::size_t bytesPerPlace = 128;
constexpr std::size_t manyPlaces = 1'000;

constexpr std::uint8_t starts_word = 1;
constexpr std::uint8_t is_counted = 2;

constexpr bool isAlphabetic(unsigned c)
{
    return c == letter || c == mark || c == hangul;
}

constexpr bool isWordy(unsigned c)
{
    return isAlphabetic(c) || c == digit;
}

constexpr bool startsWord(unsigned beforeThat, unsigned before, unsigned c)
{
    if (!isWordy(c) || isWordy(before))
        return false;
    if (c == mark && (before == ideograph || before == unspaced))
        return false;
    if (before == apostrophe)
        return !(isAlphabetic(c) && isAlphabetic(beforeThat));
    if (before == point)
        return !(c == digit && beforeThat == digit);
    if (before == hyphen || before == joiner)
        return !isWordy(beforeThat);
    return true;
}

constexpr bool isCounted(unsigned before, unsigned c)
{
    if (c == mark || c == extender || c == joiner || c == regional)
        return false;
    return !(c == lineFeed && before == carriageReturn) && !(c == pictograph && before == joiner);
}

// By the classes of two characters and the one in question, four bits each.
constexpr std::array<std::uint8_t, 4096> effects = [] {
    std::array<std::uint8_t, 4096> table{};
    for (unsigned i = 0; i < table.size(); ++i) {
        const unsigned beforeThat = i >> 8;
        const unsigned before = i >> 4 & 15;
        const unsigned c = i & 15;
        if (startsWord(beforeThat, before, c))
            table[i] |= starts_word;
        if (isCounted(before, c))
            table[i] |= is_counted;
    }
    return table;
}();

class Counter {
public:
    /// The text begins with the next character.
    Counter() = default;

    void readContext(char32_t character) { context_ = (context_ << 4 | classOf(character)) & 255; }

    void read(std::string_view piece)
    {
        for (std::size_t i = 0; i < piece.size();) {
            const auto byte = static_cast<unsigned char>(piece[i]);
            if (byte < 0x80)
                i += readAscii(piece.substr(i));
            else
                i += readOther(piece, i, byte);
        }
    }

    const TextCounts& counts() const { return counts_; }

private:
    // As many ASCII bytes as there are. The counts are kept in registers.
    std::size_t readAscii(std::string_view piece)
    {
        std::size_t words = 0;
        std::size_t counted = 0;
        std::size_t i = 0;
        unsigned context = context_;
        for (; i < piece.size(); ++i) {
            const auto byte = static_cast<unsigned char>(piece[i]);
            if (byte >= 0x80)
                break;
            const unsigned three = context << 4 | ascii_classes[byte];
            const unsigned effect = effects[three];
            words += effect & starts_word;
            counted += effect >> 1;
            context = three & 255;
        }
        context_ = context;
        counts_.spacedWords += words;
        counts_.codePoints += counted;
        return i;
    }

    std::size_t readOther(std::string_view piece, std::size_t at, unsigned char lead)
    {
        const auto next = [&](std::size_t index) {
            return static_cast<char32_t>(static_cast<unsigned char>(piece[at + index]) & 0x3f);
        };
        if (lead < 0xe0) {
            readCharacter((static_cast<char32_t>(lead & 0x1f) << 6) | next(1));
            return 2;
        }
        if (lead < 0xf0) {
            readCharacter((static_cast<char32_t>(lead & 0x0f) << 12) | next(1) << 6 | next(2));
            return 3;
        }
        readCharacter((static_cast<char32_t>(lead & 0x07) << 18) | next(1) << 12 | next(2) << 6 | next(3));
        return 4;
    }

    void readCharacter(char32_t character)
    {
        const Class c = classOf(character);
        const unsigned three = context_ << 4 | c;
        const unsigned effect = effects[three];
        context_ = three & 255;
        counts_.codePoints += effect >> 1;
        (c == hangul ? counts_.hangulWords : counts_.spacedWords) += effect & starts_word;
        counts_.hangulSyllables += c == hangul;
        counts_.ideographs += c == ideograph;
        counts_.unspacedLetters += c == unspaced;
        counts_.regionalIndicators += c == regional;
    }

    unsigned context_ = 0;  // the classes of the last two characters; `other` before the text
    TextCounts counts_;
};

// What the characters of the range contribute in their text.
TextCounts countInContext(const TextSnapshot& text, Utf8Range range)
{
    Counter counter;
    if (range.start.value > 0) {
        TextReader reader(text, range.start);
        const char32_t before = reader.previous();
        if (reader.position().value > 0)
            counter.readContext(reader.previous());
        counter.readContext(before);
    }
    text.forEachPiece(range, [&](std::string_view piece) {
        counter.read(piece);
        return true;
    });
    return counter.counts();
}

Utf8Offset twoCharactersBehind(const TextSnapshot& text, Utf8Offset position)
{
    TextReader reader(text, position);
    reader.next();
    reader.next();
    return reader.position();
}

}  // namespace

std::chrono::duration<double> TextCounts::readingTime() const
{
    const double minutes = static_cast<double>(spacedWords + unspacedWords()) / 230 +
                           static_cast<double>(ideographs + hangulSyllables) / 500;
    return std::chrono::duration<double>(minutes * 60);
}

TextCounts& TextCounts::operator+=(const TextCounts& other)
{
    codePoints += other.codePoints;
    regionalIndicators += other.regionalIndicators;
    spacedWords += other.spacedWords;
    hangulWords += other.hangulWords;
    hangulSyllables += other.hangulSyllables;
    ideographs += other.ideographs;
    unspacedLetters += other.unspacedLetters;
    return *this;
}

TextCounts& TextCounts::operator-=(const TextCounts& other)
{
    codePoints -= other.codePoints;
    regionalIndicators -= other.regionalIndicators;
    spacedWords -= other.spacedWords;
    hangulWords -= other.hangulWords;
    hangulSyllables -= other.hangulSyllables;
    ideographs -= other.ideographs;
    unspacedLetters -= other.unspacedLetters;
    return *this;
}

TextStatistics::TextStatistics(const TextSnapshot& text) : counts_(countInContext(text, {Utf8Offset(), text.end()})) {}

TextCounts TextStatistics::count(const TextSnapshot& text, Utf8Range range)
{
    Counter counter;
    text.forEachPiece(range, [&](std::string_view piece) {
        counter.read(piece);
        return true;
    });
    return counter.counts();
}

// A character counts by itself and the two before it: an edit changes what its places and the two characters behind
// each contribute. Places nearer to one another than that are taken together.
void TextStatistics::update(const TextSnapshot& before, const TextEdit& edit, const TextSnapshot& after)
{
    const auto places = edit.replacements();
    if (places.size() >= manyPlaces && after.end().value / places.size() < bytesPerPlace) {
        counts_ = TextStatistics(after).counts_;
        return;
    }
    std::size_t removed = 0;  // by the places up to here
    std::size_t inserted = 0;
    for (std::size_t i = 0; i < places.size();) {
        const Utf8Offset start = places[i].start;
        const Utf8Offset startAfter = start + inserted - removed;
        Utf8Offset end = start;
        do {
            removed += places[i].removed;
            inserted += places[i].inserted;
            end = twoCharactersBehind(before, places[i].end());
            ++i;
        } while (i < places.size() && places[i].start < end);
        counts_ -= countInContext(before, {start, end});
        counts_ += countInContext(after, {startAfter, end + inserted - removed});
    }
}

}  // namespace penmark
