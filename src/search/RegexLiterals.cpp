// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/RegexLiterals.h"

#include "search/CaseFolding.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace penmark {

namespace {

using Literals = std::vector<std::string>;

std::size_t shortest(const Literals& literals)
{
    std::size_t length = literals.empty() ? 0 : std::string::npos;
    for (const std::string& literal : literals)
        length = std::min(length, literal.size());
    return length;
}

// Long ones are rarer, and a few are told faster than many.
std::size_t worth(const Literals& literals)
{
    const std::size_t length = std::min<std::size_t>(shortest(literals), 8);
    return length == 0 ? 0 : length * 128 - std::min<std::size_t>(literals.size() - 1, 120);
}

/// What is known of a part of a pattern.
struct Part {
    Literals required;     // one of them stands in each of its matches; none if nothing is known
    bool isWhole = false;  // it is nothing but these
};

/// Thrown away whole where it meets what it does not know.
struct Unknown {};

class Reader {
public:
    explicit Reader(std::string_view pattern) : pattern_(pattern) {}

    Part read()
    {
        Part part = readAlternatives();
        if (!atEnd())
            throw Unknown();
        return part;
    }
    bool staysInLine() const { return staysInLine_; }

private:
    /// What a sequence has come to.
    struct Sequence {
        std::string run;        // the literal that is being read
        Literals best;          // of what lies behind
        std::size_t parts = 0;  // literal runs and groups
        bool isPlain = true;    // only literals so far, or only one whole group

        void endRun()
        {
            if (!run.empty())
                offer({run});
            run.clear();
        }
        void offer(Literals literals)
        {
            if (worth(literals) > worth(best))
                best = std::move(literals);
        }
    };
    /// How often something may stand: what follows it in the pattern.
    struct Quantifier {
        bool isThere = false;
        bool isOptional = false;
    };

    bool atEnd() const { return at_ >= pattern_.size(); }
    bool next(std::string_view text)
    {
        if (!pattern_.substr(at_).starts_with(text))
            return false;
        at_ += text.size();
        return true;
    }

    Part readAlternatives()
    {
        Part all = readSequence();
        bool isKnown = !all.required.empty();
        while (next("|")) {
            Part other = readSequence();
            isKnown = isKnown && !other.required.empty();
            all.isWhole = all.isWhole && other.isWhole;
            all.required.insert(all.required.end(), other.required.begin(), other.required.end());
        }
        if (!isKnown || all.required.size() > RegexLiterals::limit)
            return {};
        return all;
    }

    Part readSequence()
    {
        Sequence sequence;
        while (!atEnd() && pattern_[at_] != '|' && pattern_[at_] != ')')
            readAtom(sequence);
        if (sequence.isPlain && sequence.parts == 0 && !sequence.run.empty())
            return {{sequence.run}, true};
        sequence.endRun();
        return {std::move(sequence.best), sequence.isPlain && sequence.parts == 1};
    }

    void readAtom(Sequence& sequence)
    {
        switch (pattern_[at_]) {
        case '(':
            readGroup(sequence);
            break;
        case '[':
            skipSet();
            breakRun(sequence);
            break;
        case '.':
            ++at_;
            breakRun(sequence);
            break;
        case '^':
        case '$':
            ++at_;
            staysInLine_ = false;
            breakRun(sequence);
            break;
        case '\\':
            readEscape(sequence);
            break;
        case '*':
        case '+':
        case '?':
        case '{':
            throw Unknown();
        default:
            readLiteral(sequence, nextCharacter(pattern_, at_));
        }
    }

    // Something that is no literal, with what follows it.
    void breakRun(Sequence& sequence)
    {
        readQuantifier();
        sequence.endRun();
        sequence.isPlain = false;
    }

    void readLiteral(Sequence& sequence, char32_t character)
    {
        if (character == '\n')
            staysInLine_ = false;
        const Quantifier quantifier = readQuantifier();
        if (sequence.parts > 0)
            sequence.isPlain = false;
        if (!quantifier.isOptional)
            appendUtf8(sequence.run, character);
        if (quantifier.isThere)
            sequence.isPlain = false;
        if (quantifier.isThere)
            sequence.endRun();
    }

    void readGroup(Sequence& sequence)
    {
        ++at_;
        bool isLookaround = false;
        if (next("?")) {
            if (next("=") || next("!") || next("<=") || next("<!"))
                isLookaround = true;
            else if (next("<"))
                skipName();
            else if (!next(":") && !next(">"))
                throw Unknown();
        }
        Part part = readAlternatives();
        if (!next(")"))
            throw Unknown();
        const Quantifier quantifier = readQuantifier();
        sequence.isPlain = sequence.isPlain && sequence.run.empty() && sequence.parts == 0 && part.isWhole &&
                           !quantifier.isThere && !isLookaround;
        sequence.endRun();
        ++sequence.parts;
        if (isLookaround)
            staysInLine_ = false;
        else if (!quantifier.isOptional)
            sequence.offer(std::move(part.required));
    }

    void skipName()
    {
        const std::size_t end = pattern_.find('>', at_);
        if (end == std::string_view::npos)
            throw Unknown();
        at_ = end + 1;
    }

    static bool isWord(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

    // A set is only skipped. Sets of ordinary characters stay in a line.
    void skipSet()
    {
        if (pattern_.substr(at_).starts_with("[:"))  // a name such as [:space:], which need not be in another set
            throw Unknown();
        constexpr std::string_view ordinary = " _-.,:;=/+*()\"'@#%<>{}!?|~";
        ++at_;
        if (!atEnd() && (pattern_[at_] == '^' || pattern_[at_] == ']')) {
            staysInLine_ = false;
            if (next("^") && !atEnd() && pattern_[at_] == ']')
                throw Unknown();
            if (pattern_[at_] == ']')
                throw Unknown();
        }
        for (std::size_t depth = 1; depth > 0; ++at_) {
            if (atEnd())
                throw Unknown();
            const char c = pattern_[at_];
            if (c == '[')
                ++depth;
            else if (c == ']')
                --depth;
            bool isPlain = isWord(c) || (c == ']' && depth == 0) || ordinary.find(c) != std::string_view::npos;
            if (c == '\\') {
                ++at_;
                if (atEnd() || pattern_[at_] == 'Q' || pattern_[at_] == 'c')
                    throw Unknown();
                const char escaped = pattern_[at_];
                isPlain = escaped == 'w' || escaped == 'd' || (escaped > ' ' && !isWord(escaped));
            }
            if (!isPlain)
                staysInLine_ = false;
        }
    }

    void readEscape(Sequence& sequence)
    {
        ++at_;
        if (atEnd())
            throw Unknown();
        const char c = pattern_[at_];
        if (!isWord(c))
            return readLiteral(sequence, nextCharacter(pattern_, at_));
        ++at_;
        switch (c) {
        case 'n':
            return readLiteral(sequence, '\n');
        case 't':
            return readLiteral(sequence, '\t');
        case 'r':
            return readLiteral(sequence, '\r');
        case 'f':
            return readLiteral(sequence, '\f');
        case 'x':
            return readLiteral(sequence, readHex(2));
        case 'u':
            return readLiteral(sequence, readHex(4));
        case 'Q':
            return readQuoted(sequence);
        case 'd':
        case 'w':
        case 'h':
        case 'S':
        case 'V':
        case 'b':
        case 'B':
            return breakRun(sequence);
        case 'p':
        case 'P':
            if (!next("{"))
                throw Unknown();
            at_ = pattern_.find('}', at_);
            if (at_ == std::string_view::npos)
                throw Unknown();
            ++at_;
            staysInLine_ = false;
            return breakRun(sequence);
        case 'D':
        case 'W':
        case 's':
        case 'H':
        case 'v':
        case 'R':
        case 'X':
        case 'A':
        case 'Z':
        case 'z':
        case 'G':
            staysInLine_ = false;
            return breakRun(sequence);
        default:
            throw Unknown();
        }
    }

    char32_t readHex(std::size_t digits)
    {
        char32_t value = 0;
        for (std::size_t i = 0; i < digits; ++i, ++at_) {
            if (atEnd())
                throw Unknown();
            const char c = pattern_[at_];
            if (c >= '0' && c <= '9')
                value = value * 16 + static_cast<char32_t>(c - '0');
            else if (c >= 'a' && c <= 'f')
                value = value * 16 + static_cast<char32_t>(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                value = value * 16 + static_cast<char32_t>(c - 'A' + 10);
            else
                throw Unknown();
        }
        if (value >= 0xd800 && value <= 0xdfff)
            throw Unknown();  // half a character
        return value;
    }

    void readQuoted(Sequence& sequence)
    {
        while (!next("\\E")) {
            if (atEnd())
                return;
            const char32_t character = nextCharacter(pattern_, at_);
            // What looks like a quantifier in there is none, but one may follow the last character.
            if (pattern_.substr(at_).starts_with("\\E")) {
                at_ += 2;
                return readLiteral(sequence, character);
            }
            if (character == '\n')
                staysInLine_ = false;
            if (sequence.parts > 0)
                sequence.isPlain = false;
            appendUtf8(sequence.run, character);
        }
    }

    Quantifier readQuantifier()
    {
        Quantifier quantifier;
        if (next("*") || next("?")) {
            quantifier = {true, true};
        } else if (next("+")) {
            quantifier = {true, false};
        } else if (next("{")) {
            const std::size_t end = pattern_.find('}', at_);
            if (end == std::string_view::npos)
                throw Unknown();
            const std::string_view counts = pattern_.substr(at_, end - at_);
            if (counts.find_first_not_of("0123456789,") != std::string_view::npos)
                throw Unknown();
            const std::size_t digit = counts.find_first_not_of('0');
            const bool isOptional = digit == std::string_view::npos || counts[digit] == ',';
            quantifier = {true, isOptional};
            at_ = end + 1;
        }
        if (quantifier.isThere && !next("?"))
            next("+");
        return quantifier;
    }

    std::string_view pattern_;
    std::size_t at_ = 0;
    bool staysInLine_ = true;
};

}  // namespace

RegexLiterals RegexLiterals::of(std::string_view pattern)
{
    try {
        Reader reader(pattern);
        Part part = reader.read();
        RegexLiterals literals;
        literals.required = std::move(part.required);
        literals.isWhole = part.isWhole && !literals.required.empty();
        literals.staysInLine = reader.staysInLine();
        return literals;
    } catch (const Unknown&) {
        return {};
    }
}

}  // namespace penmark
