// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/Characters.h"

#include "text/PieceWalk.h"
#include "text/TextSnapshot.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/uscript.h>
#include <unicode/utext.h>

namespace penmark {

namespace {

// No decision looks farther back than this many bytes. A cluster without an end is cut at multiples of it, which are
// the same from wherever they are looked for.
constexpr std::size_t cluster_grid = 2048;
// The same for a run of a dictionary script: what is handed to the dictionary at once.
constexpr std::size_t dictionary_grid = 1024;

constexpr std::size_t utf8Length(char32_t c)
{
    return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
}

UChar32 forIcu(char32_t c)
{
    return static_cast<UChar32>(c);
}

int clusterClass(char32_t c)
{
    if (c < 0x80) {
        if (c >= 0x20 && c != 0x7f)
            return U_GCB_OTHER;
        return c == '\r' ? U_GCB_CR : c == '\n' ? U_GCB_LF : U_GCB_CONTROL;
    }
    return u_getIntPropertyValue(forIcu(c), UCHAR_GRAPHEME_CLUSTER_BREAK);
}

bool isPictograph(char32_t c)
{
    return c >= 0x80 && u_hasBinaryProperty(forIcu(c), UCHAR_EXTENDED_PICTOGRAPHIC);
}

// The scripts whose consonants a virama joins into one cluster.
bool hasConjuncts(char32_t c)
{
    UErrorCode error = U_ZERO_ERROR;
    switch (uscript_getScript(forIcu(c), &error)) {
    case USCRIPT_BENGALI:
    case USCRIPT_DEVANAGARI:
    case USCRIPT_GUJARATI:
    case USCRIPT_MALAYALAM:
    case USCRIPT_ORIYA:
    case USCRIPT_TELUGU:
        return true;
    default:
        return false;
    }
}

bool isLinkingConsonant(char32_t c)
{
    return c >= 0x900 && c < 0xe00 &&
           u_getIntPropertyValue(forIcu(c), UCHAR_INDIC_SYLLABIC_CATEGORY) == U_INSC_CONSONANT && hasConjuncts(c);
}

bool isLinkingVirama(char32_t c)
{
    return c >= 0x900 && c < 0xe00 &&
           u_getIntPropertyValue(forIcu(c), UCHAR_INDIC_SYLLABIC_CATEGORY) == U_INSC_VIRAMA && hasConjuncts(c);
}

// Whether a virama, among other marks, and a consonant stand before the reader.
bool followsVirama(TextReader reader)
{
    const Utf8Offset from = reader.position();
    bool found = false;
    while (from - reader.position() < cluster_grid) {
        const char32_t c = reader.previous();
        if (isLinkingConsonant(c))
            return found;
        found = found || isLinkingVirama(c);
        if (clusterClass(c) != U_GCB_ZWJ && u_getCombiningClass(forIcu(c)) == 0)
            return false;
    }
    return false;
}

// Whether what stands before the reader is a pictograph, marks that extend it, and the joiner.
bool followsJoinedPictograph(TextReader reader)
{
    const Utf8Offset from = reader.position();
    reader.previous();
    while (from - reader.position() < cluster_grid) {
        const char32_t c = reader.previous();
        if (isPictograph(c) && clusterClass(c) != U_GCB_EXTEND)
            return true;
        if (clusterClass(c) != U_GCB_EXTEND)
            return false;
    }
    return false;
}

// Regional indicators make flags two by two from where their run begins; in a run too long to see its beginning, from
// the start of the text.
bool startsFlag(TextReader reader)
{
    const Utf8Offset from = reader.position();
    std::size_t before = 0;
    while (clusterClass(reader.peekPrevious()) == U_GCB_REGIONAL_INDICATOR) {
        reader.previous();
        ++before;
        if (from - reader.position() >= cluster_grid)
            return from.value / 4 % 2 == 0;
    }
    return before % 2 == 0;
}

bool isSyllableJoin(int left, int right)
{
    switch (left) {
    case U_GCB_L:
        return right == U_GCB_L || right == U_GCB_V || right == U_GCB_LV || right == U_GCB_LVT;
    case U_GCB_LV:
    case U_GCB_V:
        return right == U_GCB_V || right == U_GCB_T;
    case U_GCB_LVT:
    case U_GCB_T:
        return right == U_GCB_T;
    default:
        return false;
    }
}

bool isControl(int clusterClass)
{
    return clusterClass == U_GCB_CONTROL || clusterClass == U_GCB_CR || clusterClass == U_GCB_LF;
}

// Whether a cluster ends between the characters before and after the reader.
bool breaksBetween(char32_t before, char32_t after, const TextReader& reader)
{
    const int left = clusterClass(before);
    const int right = clusterClass(after);
    if (left == U_GCB_OTHER && right == U_GCB_OTHER)
        return true;
    if (left == U_GCB_CR && right == U_GCB_LF)
        return false;
    if (isControl(left) || isControl(right))
        return true;
    if (right == U_GCB_EXTEND || right == U_GCB_ZWJ || right == U_GCB_SPACING_MARK || left == U_GCB_PREPEND)
        return false;
    if (isSyllableJoin(left, right))
        return false;
    if (left == U_GCB_ZWJ && isPictograph(after))
        return !followsJoinedPictograph(reader);
    if ((left == U_GCB_EXTEND || left == U_GCB_ZWJ) && isLinkingConsonant(after))
        return !followsVirama(reader);
    if (left == U_GCB_REGIONAL_INDICATOR && right == U_GCB_REGIONAL_INDICATOR)
        return startsFlag(reader);
    return true;
}

// Whether a cluster is cut at the reader, where it has no end: at the first character on or behind a grid line, unless
// a cluster begins less than a grid unit before.
bool isCutAt(char32_t before, TextReader reader)
{
    const Utf8Offset at = reader.position();
    if (at.value / cluster_grid == (at.value - utf8Length(before)) / cluster_grid)
        return false;
    while (reader.position().value > 0) {
        const char32_t after = reader.previous();
        if (at - reader.position() >= cluster_grid)
            return true;
        if (reader.position().value == 0 || breaksBetween(reader.peekPrevious(), after, reader))
            return false;
    }
    return false;
}

bool isBoundary(char32_t before, char32_t after, const TextReader& reader)
{
    return breaksBetween(before, after, reader) || isCutAt(before, reader);
}

bool isAscii(char byte)
{
    return static_cast<unsigned char>(byte) < 0x80;
}

enum class Kind : std::uint8_t { lineEnd, blank, word, punctuation, dictionary };

constexpr std::array<Kind, 128> ascii_kinds = [] {
    std::array<Kind, 128> kinds{};
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        const bool letter = (i >= 'a' && i <= 'z') || (i >= 'A' && i <= 'Z') || (i >= '0' && i <= '9') || i == '_';
        const bool blank = i == ' ' || i == '\t' || i == '\v' || i == '\f';
        kinds[i] = i == '\n' || i == '\r' ? Kind::lineEnd
                   : blank                ? Kind::blank
                   : letter               ? Kind::word
                                          : Kind::punctuation;
    }
    return kinds;
}();

Kind kindOf(char32_t c)
{
    if (c < 0x80)
        return ascii_kinds[c];
    if (isDictionaryScript(c))
        return Kind::dictionary;
    switch (characterClass(c)) {
    case CharacterClass::lineEnd:
        return Kind::lineEnd;
    case CharacterClass::blank:
        return Kind::blank;
    case CharacterClass::word:
        return Kind::word;
    case CharacterClass::punctuation:
        return Kind::punctuation;
    }
    return Kind::punctuation;
}

// Marks and invisible characters are of the kind of what they follow.
bool attaches(char32_t c)
{
    if (c < 0xad)
        return false;
    const int cluster = clusterClass(c);
    if (cluster == U_GCB_EXTEND || cluster == U_GCB_ZWJ || cluster == U_GCB_SPACING_MARK)
        return true;
    return u_charType(forIcu(c)) == U_FORMAT_CHAR && c != 0x200b && cluster != U_GCB_PREPEND;
}

bool isApostrophe(char32_t c)
{
    return c == '\'' || c == 0x2019 || c == 0xb7 || c == 0x5f4;
}

bool isWordLetter(char32_t c)
{
    return u_isalpha(forIcu(c)) && kindOf(c) == Kind::word;
}

// Whether the apostrophe behind the reader stands between two letters.
bool isInsideWord(TextReader reader)
{
    TextReader behind = reader;
    behind.next();
    if (!isWordLetter(behind.peekNext()))
        return false;
    char32_t before = reader.previous();
    while (attaches(before))
        before = reader.previous();
    return isWordLetter(before);
}

// The kind of the character behind the reader, which does not attach.
Kind kindInContext(char32_t c, const TextReader& reader)
{
    if (isApostrophe(c))
        return isInsideWord(reader) ? Kind::word : Kind::punctuation;
    return kindOf(c);
}

// Moves before the character before the reader and all that attaches to it. Marks with nothing to attach to are words.
Kind stepBack(TextReader& reader)
{
    char32_t c = reader.previous();
    if (!attaches(c))
        return kindInContext(c, reader);
    while (reader.position().value > 0) {
        const Utf8Offset mark = reader.position();
        c = reader.previous();
        if (attaches(c))
            continue;
        const Kind kind = kindInContext(c, reader);
        if (kind != Kind::lineEnd)
            return kind;
        reader.seek(mark);
        return Kind::word;
    }
    return Kind::word;
}

Kind kindAt(const TextSnapshot& text, Utf8Offset position)
{
    TextReader reader(text, position);
    const char32_t c = reader.peekNext();
    if (!attaches(c))
        return kindInContext(c, reader);
    reader.next();
    return stepBack(reader);
}

// After so many ASCII characters in a row the rest is skipped byte by byte.
constexpr std::size_t ascii_stretch = 32;

bool isAsciiOf(char byte, Kind kind)
{
    return isAscii(byte) && ascii_kinds[static_cast<unsigned char>(byte)] == kind;
}

Utf8Offset skipAsciiForward(const TextSnapshot& text, Utf8Offset from, Kind kind)
{
    text.forEachPiece({from, text.end()}, [&](std::string_view piece) {
        std::size_t i = 0;
        // An apostrophe is looked at in its context.
        while (i < piece.size() && isAsciiOf(piece[i], kind) && piece[i] != '\'')
            ++i;
        from += i;
        return i == piece.size();
    });
    return from;
}

Utf8Offset skipAsciiBackward(const TextSnapshot& text, Utf8Offset from, Kind kind)
{
    forEachPieceBackward(text, {Utf8Offset(), from}, [&](Utf8Offset start, std::string_view piece) {
        std::size_t i = piece.size();
        while (i > 0 && isAsciiOf(piece[i - 1], kind) && piece[i - 1] != '\'')
            --i;
        from = start + i;
        return i == 0;
    });
    return from;
}

Utf8Offset endOfRun(const TextSnapshot& text, Utf8Offset from, Kind kind)
{
    TextReader reader(text, from);
    std::size_t ascii = 0;
    while (reader.position() < text.end()) {
        const char32_t c = reader.peekNext();
        if (!attaches(c) && kindInContext(c, reader) != kind)
            break;
        reader.next();
        ascii = c < 0x80 ? ascii + 1 : 0;
        if (ascii == ascii_stretch) {
            reader.seek(skipAsciiForward(text, reader.position(), kind));
            ascii = 0;
        }
    }
    return reader.position();
}

Utf8Offset startOfRun(const TextSnapshot& text, Utf8Offset from, Kind kind)
{
    TextReader reader(text, from);
    std::size_t ascii = 0;
    while (from.value > 0) {
        if (stepBack(reader) != kind)
            return from;
        ascii = from - reader.position() == 1 ? ascii + 1 : 0;
        from = reader.position();
        if (ascii == ascii_stretch) {
            from = skipAsciiBackward(text, from, kind);
            reader.seek(from);
            ascii = 0;
        }
    }
    return from;
}

struct BreakIteratorCloser {
    void operator()(UBreakIterator* iterator) const { ubrk_close(iterator); }
};

// The words of the last text that was asked for: carets that stand together ask for the same one.
class Dictionary {
public:
    // Where the words of the text end, ascending; the last is its size.
    const std::vector<std::size_t>& wordEnds(std::string&& text)
    {
        if (text != text_ || ends_.empty()) {
            text_ = std::move(text);
            find();
        }
        return ends_;
    }

private:
    void find()
    {
        ends_.clear();
        UErrorCode error = U_ZERO_ERROR;
        if (!iterator_)
            iterator_.reset(ubrk_open(UBRK_WORD, "", nullptr, 0, &error));
        UText utf8 = UTEXT_INITIALIZER;
        utext_openUTF8(&utf8, text_.data(), static_cast<std::int64_t>(text_.size()), &error);
        ubrk_setUText(iterator_.get(), &utf8, &error);
        if (U_SUCCESS(error)) {
            ubrk_first(iterator_.get());
            for (auto end = ubrk_next(iterator_.get()); end != UBRK_DONE; end = ubrk_next(iterator_.get()))
                ends_.push_back(static_cast<std::size_t>(end));
        }
        utext_close(&utf8);
        if (ends_.empty() || ends_.back() != text_.size())
            ends_.push_back(text_.size());
    }

    std::unique_ptr<UBreakIterator, BreakIteratorCloser> iterator_;
    std::string text_;
    std::vector<std::size_t> ends_;
};

// The part of a run of a dictionary script that is handed to the dictionary: the whole run, or if that is long, what
// lies between two grid lines; the first part reaches to the first line a whole grid unit behind its start.
Utf8Range dictionaryPart(const TextSnapshot& text, Utf8Offset position)
{
    constexpr std::size_t grid = dictionary_grid;
    TextReader reader(text, position);
    reader.next();
    stepBack(reader);
    const Utf8Offset at = reader.position();

    std::size_t line = at.value / grid * grid;
    Utf8Offset runStart = at;
    Utf8Offset start = at;
    bool whole = true;
    while (runStart.value > 0) {
        if (at - runStart > 3 * grid) {
            whole = false;
            break;
        }
        if (stepBack(reader) != Kind::dictionary)
            break;
        runStart = reader.position();
        if (runStart.value >= line)
            start = runStart;
    }
    std::size_t endLine = line + grid;
    if (whole && line < runStart.value + grid) {
        start = runStart;
        endLine = (runStart.value + 2 * grid - 1) / grid * grid;
    }

    reader.seek(at);
    while (reader.position() < text.end()) {
        const char32_t c = reader.peekNext();
        if (!attaches(c) && (kindOf(c) != Kind::dictionary || reader.position().value >= endLine))
            break;
        if (reader.position().value >= endLine + grid)  // marks without end
            break;
        reader.next();
    }
    return {start, reader.position()};
}

Utf8Range dictionaryWord(const TextSnapshot& text, Utf8Offset position)
{
    const Utf8Range part = dictionaryPart(text, position);
    if (!part.contains(position))  // far into marks without end
        return {part.end, nextGrapheme(text, position)};
    static thread_local Dictionary dictionary;
    const std::vector<std::size_t>& ends = dictionary.wordEnds(text.text(part));
    const auto end = std::upper_bound(ends.begin(), ends.end(), position - part.start);
    return {end == ends.begin() ? part.start : part.start + end[-1], part.start + *end};
}

Utf8Offset clusterEndAt(const TextSnapshot& text, Utf8Offset position)
{
    return graphemeStart(text, position) == position ? position : nextGrapheme(text, position);
}

Utf8Offset endOfKind(const TextSnapshot& text, Utf8Offset from, Kind kind)
{
    return kind == Kind::dictionary ? dictionaryWord(text, from).end : endOfRun(text, from, kind);
}

Utf8Offset clamped(const TextSnapshot& text, Utf8Offset position)
{
    return position < text.end() ? text.characterStart(position) : text.end();
}

}  // namespace

Utf8Offset nextGrapheme(const TextSnapshot& text, Utf8Offset position)
{
    if (position >= text.end())
        return text.end();
    const auto [start, piece] = text.pieceAt(position);
    const std::size_t at = position - start;
    if (at + 1 < piece.size() && isAscii(piece[at]) && isAscii(piece[at + 1]) && piece[at] != '\r')
        return position + 1;

    TextReader reader(text, text.characterStart(position));
    char32_t before = reader.next();
    while (reader.position() < text.end()) {
        const char32_t after = reader.peekNext();
        if (isBoundary(before, after, reader))
            break;
        before = reader.next();
    }
    return reader.position();
}

Utf8Offset previousGrapheme(const TextSnapshot& text, Utf8Offset position)
{
    position = std::min(position, text.end());
    if (position.value == 0)
        return position;
    const auto [start, piece] = text.pieceAt(position - 1);
    const std::size_t at = position - 1 - start;
    if (at > 0 && isAscii(piece[at]) && isAscii(piece[at - 1]) && piece[at] != '\n')
        return position - 1;

    const Utf8Offset character = clamped(text, position);
    if (character < position)
        return graphemeStart(text, character);
    TextReader reader(text, position);
    while (reader.position().value > 0) {
        const char32_t after = reader.previous();
        if (reader.position().value == 0 || isBoundary(reader.peekPrevious(), after, reader))
            break;
    }
    return reader.position();
}

Utf8Offset graphemeStart(const TextSnapshot& text, Utf8Offset position)
{
    position = clamped(text, position);
    if (position.value == 0 || position == text.end())
        return position;
    TextReader reader(text, position);
    const char32_t after = reader.peekNext();
    return isBoundary(reader.peekPrevious(), after, reader) ? position : previousGrapheme(text, position);
}

CharacterClass characterClass(char32_t character)
{
    if (character == '\n' || character == '\r')
        return CharacterClass::lineEnd;
    const UChar32 c = forIcu(character);
    if (u_isUWhiteSpace(c) || character == 0x200b)
        return CharacterClass::blank;
    constexpr std::uint32_t words = U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK | U_GC_PC_MASK;
    if ((U_GET_GC_MASK(c) & words) != 0 || clusterClass(character) == U_GCB_PREPEND)
        return CharacterClass::word;
    return CharacterClass::punctuation;
}

bool isDictionaryScript(char32_t character)
{
    if (character < 0xe00)
        return false;
    const UChar32 c = forIcu(character);
    if (!u_isalpha(c) && (U_GET_GC_MASK(c) & U_GC_M_MASK) == 0)
        return false;
    if (u_getIntPropertyValue(c, UCHAR_LINE_BREAK) == U_LB_COMPLEX_CONTEXT)
        return true;
    return uscript_hasScript(c, USCRIPT_HAN) || uscript_hasScript(c, USCRIPT_HIRAGANA) ||
           uscript_hasScript(c, USCRIPT_KATAKANA);
}

bool isCountedAlone(char32_t character)
{
    if (character < 0x2e80)
        return false;
    UErrorCode error = U_ZERO_ERROR;
    switch (uscript_getScript(forIcu(character), &error)) {
    case USCRIPT_HAN:
    case USCRIPT_HIRAGANA:
    case USCRIPT_KATAKANA:
        return u_isalpha(forIcu(character));
    case USCRIPT_HANGUL:
        return character >= 0xac00 && character <= 0xd7a3;
    default:
        return false;
    }
}

Utf8Offset nextWordStart(const TextSnapshot& text, Utf8Offset position)
{
    position = clamped(text, position);
    if (position == text.end())
        return position;
    const Kind kind = kindAt(text, position);
    if (kind == Kind::lineEnd)
        return nextGrapheme(text, position);
    Utf8Offset at = endOfKind(text, position, kind);
    if (kind != Kind::blank)
        at = endOfRun(text, clusterEndAt(text, at), Kind::blank);
    return clusterEndAt(text, at);
}

Utf8Offset nextWordEnd(const TextSnapshot& text, Utf8Offset position)
{
    position = clamped(text, position);
    if (position == text.end())
        return position;
    Kind kind = kindAt(text, position);
    if (kind == Kind::lineEnd)
        return nextGrapheme(text, position);
    if (kind == Kind::blank) {
        position = clusterEndAt(text, endOfRun(text, position, Kind::blank));
        if (position == text.end())
            return position;
        kind = kindAt(text, position);
        if (kind == Kind::lineEnd)
            return position;
    }
    return clusterEndAt(text, endOfKind(text, position, kind));
}

Utf8Offset previousWordStart(const TextSnapshot& text, Utf8Offset position)
{
    position = clamped(text, position);
    if (position.value == 0)
        return position;
    TextReader reader(text, position);
    Kind kind = stepBack(reader);
    if (kind == Kind::lineEnd)
        return previousGrapheme(text, position);
    if (kind == Kind::blank) {
        position = startOfRun(text, position, Kind::blank);
        if (position.value == 0)
            return position;
        reader.seek(position);
        kind = stepBack(reader);
        if (kind == Kind::lineEnd)
            return position;
    }
    if (kind == Kind::dictionary)
        return graphemeStart(text, dictionaryWord(text, reader.position()).start);
    return graphemeStart(text, startOfRun(text, position, kind));
}

Utf8Range wordAt(const TextSnapshot& text, Utf8Offset position)
{
    position = clamped(text, position);
    if (position == text.end() || kindAt(text, position) == Kind::lineEnd) {
        position = graphemeStart(text, position);
        TextReader reader(text, position);
        if (position.value == 0 || stepBack(reader) == Kind::lineEnd)
            return {position, position};
        position = reader.position();
    }
    const Kind kind = kindAt(text, position);
    if (kind == Kind::dictionary) {
        const Utf8Range word = dictionaryWord(text, position);
        return {graphemeStart(text, word.start), clusterEndAt(text, word.end)};
    }
    const Utf8Offset end = endOfRun(text, position, kind);
    return {graphemeStart(text, startOfRun(text, end, kind)), clusterEndAt(text, end)};
}

}  // namespace penmark
