// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/highlight/Grammar.h"
#include "text/highlight/ScanState.h"
#include "text/highlight/Token.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace penmark {

/// Scans one line. Each step either moves forward or leaves a construct, and what was looked at ahead is not looked at
/// again more than a few times, so a line takes linear time.
class LineScanner {
public:
    LineScanner(std::string_view line, ScanState& state, std::vector<Token>& tokens, DelimiterTable& delimiters)
        : line_(line), end_(line.size()), state_(state), tokens_(tokens), delimiters_(delimiters)
    {}

    /// Adds the line's tokens and leaves the state behind it.
    void scan(const Grammar& grammar);

private:
    static constexpr std::uint16_t deepest = 255;  // brackets and comments beyond are not counted
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    // The line
    char at(std::size_t position) const { return position < end_ ? line_[position] : '\0'; }
    bool startsWith(std::size_t position, std::string_view text) const;
    std::size_t skipBlanks(std::size_t position) const;
    std::size_t skipIdentifier(std::size_t position) const;
    std::size_t characterEnd(std::size_t position) const;
    std::size_t find(char c, std::size_t from) const;
    std::string_view rest() const { return line_.substr(at_, end_ - at_); }
    void emit(std::size_t start, std::size_t end, TokenKind kind);
    void emitTo(std::size_t end, TokenKind kind);  // from the position, which moves there
    bool inFrame() const { return state_.depth() > base_; }

    // Code of any language
    void scanLines();
    void scanFrames();
    void scanCode();
    void finishLine();
    void scanWord();
    void scanNumber();
    void scanSpecial();
    bool scanComment();
    bool scanStringStart();
    bool scanBrackets(char c);
    bool scanSlash();
    bool scanAtSign();
    bool scanHash();
    bool scanQuoteOfRust();
    void scanBlockComment();

    // Strings
    void openString(std::size_t ruleIndex, std::size_t prefixStart);
    bool openPrefixedString(std::size_t wordStart);
    bool openHashString(std::size_t start);
    bool openDelimited(std::size_t start, std::size_t openEnd, std::string_view close);
    bool openCppString(std::size_t start);
    bool openDollarString();
    void scanString();
    void scanHashString();
    void scanDelimitedString();
    std::size_t escapeEnd(std::size_t backslash) const;
    bool openInterpolation(std::size_t length, char close);
    void closeString();

    // Shell
    void scanShellCode();
    void scanShellWord();
    bool scanShellVariable();
    bool scanHereDocumentStart();
    void scanHereDocument();

    // YAML
    void scanYamlLine();
    void scanYamlCode();
    void scanYamlPlain();
    bool scanYamlBlockStart();

    // CSS
    void scanCssCode();
    void scanCssSelector(const Frame& place);
    void scanCssValue();
    std::size_t cssNameEnd(std::size_t position) const;
    void scanCssStatement(Frame& place);
    bool startsCssRule(std::size_t blocks) const;

    // HTML
    void scanHtmlText();
    void scanHtmlMarkup();
    void scanHtmlTag();
    void scanHtmlValue();
    void scanHtmlComment();
    std::size_t entityEnd(std::size_t position) const;
    void scanEmbeddedInHtml();
    void scanEmbedded(EditorLanguage language, std::size_t regionEnd);

    // Markdown
    void scanMarkdownLine();
    bool scanFenceStart();
    void scanFenced();
    bool scanMarkdownBlock();
    void scanMarkdownInline();
    bool scanCodeSpan();
    bool scanEmphasis();
    bool scanLink();
    bool scanBareLink();

    std::string_view line_;
    std::size_t at_ = 0;
    std::size_t end_;
    std::size_t indentation_ = skipBlanks(0);
    ScanState& state_;
    std::size_t base_ = 0;  // frames below belong to the language around
    std::vector<Token>& tokens_;
    DelimiterTable& delimiters_;
    const Grammar* grammar_ = nullptr;
    const LanguageTable* table_ = nullptr;

    bool valueBefore_ = false;        // a slash now divides
    bool continued_ = false;          // a backslash ends the line
    std::size_t stringStart_ = none;  // of the innermost string, if it began on this line

    bool commandNext_ = true;  // Shell: a word now is a command
    bool arithmetic_ = false;  // Shell: between (( and ))
    std::array<Frame, 4> hereDocuments_{};
    std::size_t hereDocumentCount_ = 0;

    // Markdown: closing marks that are known not to come any more
    std::uint32_t missingCodeMarks_ = 0;
    bool missingParenthesis_ = false;
    std::array<bool, 8> missingEmphasis_{};
};

}  // namespace penmark
