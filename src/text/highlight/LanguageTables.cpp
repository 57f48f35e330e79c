// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/highlight/LanguageTable.h"

namespace penmark {

namespace {

constexpr LanguageTable plainText{};
constexpr LanguageTable markdown{.grammar = LineGrammar::markdown};
constexpr LanguageTable html{.grammar = LineGrammar::html};

constexpr StringRule pythonStrings[] = {
    {.open = "\"\"\"",
     .close = "\"\"\"",
     .multiLine = true,
     .interpolation = "{",
     .interpolationPrefix = 'f',
     .rawPrefix = 'r'},
    {.open = "'''",
     .close = "'''",
     .multiLine = true,
     .interpolation = "{",
     .interpolationPrefix = 'f',
     .rawPrefix = 'r'},
    {.open = "\"", .close = "\"", .interpolation = "{", .interpolationPrefix = 'f', .rawPrefix = 'r'},
    {.open = "'", .close = "'", .interpolation = "{", .interpolationPrefix = 'f', .rawPrefix = 'r'},
};
constexpr LanguageTable python{
    .grammar = LineGrammar::code,
    .keywords =
        "and as assert async await break case class continue def del elif else except finally for from global if "
        "import in is lambda match nonlocal not or pass raise return try type while with yield",
    .types = "bool bytearray bytes complex dict float frozenset int list object set str tuple",
    .constants = "Ellipsis False None NotImplemented True __debug__ __name__ cls self",
    .lineComments = {"#"},
    .strings = pythonStrings,
    .stringPrefixes = "rRbBfFuU",
    .dotHidesWords = true,
    .atStatement = true,
};

constexpr StringRule swiftStrings[] = {
    {.open = "\"\"\"", .close = "\"\"\"", .multiLine = true, .interpolation = "\\("},
    {.open = "\"", .close = "\"", .interpolation = "\\("},
};
constexpr LanguageTable swift{
    .grammar = LineGrammar::code,
    .keywords =
        "actor any as associatedtype async await borrowing break case catch class consuming continue convenience "
        "default "
        "defer deinit didSet do dynamic else enum extension fallthrough fileprivate final for func get guard if import "
        "in "
        "indirect infix init inout internal is isolated lazy let macro mutating nonisolated nonmutating open operator "
        "optional override package postfix precedencegroup prefix private protocol public repeat required rethrows "
        "return "
        "set some static struct subscript super switch throw throws try typealias unowned var weak where while willSet",
    .types = "Any Self Int UInt String Bool Double Float Void Character",
    .constants = "false nil self true",
    .lineComments = {"//"},
    .blockStart = "/*",
    .blockEnd = "*/",
    .blockNests = true,
    .strings = swiftStrings,
    .delimited = DelimitedString::hashes,
    .upperCaseIsType = true,
    .dotHidesWords = true,
    .hashWords = true,
    .atAttributes = true,
};

constexpr StringRule javaScriptStrings[] = {
    {.open = "\"", .close = "\""},
    {.open = "'", .close = "'"},
    {.open = "`", .close = "`", .multiLine = true, .interpolation = "${"},
};
constexpr LanguageTable javaScript{
    .grammar = LineGrammar::code,
    .keywords =
        "abstract as async await break case catch class const continue debugger declare default delete do else enum "
        "export extends finally for from function get if implements import in instanceof interface keyof let "
        "namespace new of private protected public readonly return satisfies set static super switch throw try type "
        "typeof var void while with yield",
    .types = "any bigint boolean never number object string symbol unknown Array Boolean Date Error Map Number Object "
             "Promise RegExp Set String Symbol WeakMap WeakSet",
    .constants = "Infinity NaN false null this true undefined",
    .regexBefore = "await case delete do else in instanceof new of return throw typeof void yield",
    .lineComments = {"//"},
    .blockStart = "/*",
    .blockEnd = "*/",
    .strings = javaScriptStrings,
    .identifierExtra = "$",
    .dotHidesWords = true,
    .regularExpressions = true,
    .atAttributes = true,
};

constexpr StringRule jsonStrings[] = {{.open = "\"", .close = "\""}};
constexpr LanguageTable json{
    .grammar = LineGrammar::code,
    .constants = "false null true",
    .lineComments = {"//"},
    .blockStart = "/*",
    .blockEnd = "*/",
    .strings = jsonStrings,
    .callsAreFunctions = false,
    .keyStrings = true,
};

constexpr StringRule cssStrings[] = {{.open = "\"", .close = "\""}, {.open = "'", .close = "'"}};
constexpr LanguageTable css{
    .grammar = LineGrammar::css,
    .lineComments = {},
    .blockStart = "/*",
    .blockEnd = "*/",
    .strings = cssStrings,
};

constexpr StringRule shellStrings[] = {
    {.open = "\"", .close = "\"", .multiLine = true, .interpolation = "$("},
    {.open = "$'", .close = "'", .multiLine = true},
    {.open = "'", .close = "'", .escapes = false, .multiLine = true},
};
constexpr LanguageTable shell{
    .grammar = LineGrammar::shell,
    .keywords =
        "break case continue coproc do done elif else esac eval exec exit fi for function if in local return select "
        "then time trap until while declare export readonly typeset unset",
    .types = "",
    .constants = "false true",
    .lineComments = {"#"},
    .strings = shellStrings,
};

constexpr StringRule yamlStrings[] = {
    {.open = "\"", .close = "\"", .multiLine = true},
    {.open = "'", .close = "'", .escapes = false, .multiLine = true, .doubled = true},
};
constexpr LanguageTable yaml{
    .grammar = LineGrammar::yaml,
    .constants = "FALSE False NO NULL No Null OFF Off ON On TRUE True YES Yes false no null off on true yes ~",
    .lineComments = {"#"},
    .strings = yamlStrings,
    .keyStrings = true,
};

constexpr StringRule sqlStrings[] = {
    {.open = "'", .close = "'", .escapes = false, .multiLine = true, .doubled = true},
    {.open = "\"", .close = "\"", .escapes = false, .multiLine = true, .doubled = true, .kind = TokenKind::property},
    {.open = "`", .close = "`", .escapes = false, .doubled = true, .kind = TokenKind::property},
};
constexpr LanguageTable sql{
    .grammar = LineGrammar::code,
    .keywords =
        "add after all alter analyze and any as asc attach autoincrement before begin between by cascade case cast "
        "check "
        "collate column commit conflict constraint create cross cube current database declare default deferrable "
        "deferred "
        "delete desc detach distinct do drop each else end escape except exclusive execute exists explain fetch filter "
        "first "
        "following for foreign from full function generated glob grant group grouping having if ignore immediate in "
        "index "
        "indexed inner insert instead intersect into is isnull join key language last lateral left like limit "
        "materialized "
        "merge natural no not nothing notnull nulls of offset on only or order outer over partition plan pragma "
        "preceding "
        "primary procedure query raise range recursive references regexp reindex release rename replace restrict "
        "returning "
        "returns revoke right rollback rollup row rows savepoint select set some table temp temporary then to "
        "transaction "
        "trigger truncate unbounded union unique update using vacuum values view virtual when where while window with "
        "without",
    .types =
        "array bigint binary bit blob boolean bytea char character clob date datetime decimal double enum float int "
        "integer interval json jsonb money nchar numeric nvarchar real serial smallint text time timestamp timestamptz "
        "tinyint uuid varbinary varchar varying xml",
    .constants = "current_date current_time current_timestamp false null true unknown",
    .ignoreCase = true,
    .lineComments = {"--"},
    .blockStart = "/*",
    .blockEnd = "*/",
    .strings = sqlStrings,
    .delimited = DelimitedString::dollars,
};

constexpr StringRule cStrings[] = {{.open = "\"", .close = "\""}, {.open = "'", .close = "'"}};
constexpr LanguageTable c{
    .grammar = LineGrammar::code,
    .keywords =
        "alignas alignof and and_eq asm auto bitand bitor break case catch class co_await co_return co_yield compl "
        "concept "
        "const const_cast consteval constexpr constinit continue decltype default delete do dynamic_cast else enum "
        "explicit "
        "export extern final for friend goto if import inline module mutable namespace new noexcept not not_eq "
        "operator or "
        "or_eq override private protected public register reinterpret_cast requires restrict return sizeof static "
        "static_assert static_cast struct switch template thread_local throw try typedef typeid typename union using "
        "virtual "
        "volatile while xor xor_eq _Alignas _Alignof _Atomic _Generic _Noreturn _Static_assert _Thread_local",
    .types =
        "bool char char16_t char32_t char8_t double float int int16_t int32_t int64_t int8_t intptr_t long ptrdiff_t "
        "short signed size_t ssize_t uint16_t uint32_t uint64_t uint8_t uintptr_t unsigned void wchar_t _Bool _Complex "
        "FILE",
    .constants = "NULL false nullptr this true",
    .lineComments = {"//"},
    .lineCommentContinues = true,
    .blockStart = "/*",
    .blockEnd = "*/",
    .strings = cStrings,
    .stringPrefixes = "uUL8",
    .delimited = DelimitedString::cpp,
    .digitSeparator = '\'',
    .directives = true,
};

constexpr StringRule rustStrings[] = {{.open = "\"", .close = "\"", .multiLine = true}};
constexpr LanguageTable rust{
    .grammar = LineGrammar::code,
    .keywords =
        "as async await break const continue crate dyn else enum extern fn for if impl in let loop macro_rules match "
        "mod move mut pub ref return static struct super trait type union unsafe use where while yield",
    .types = "Self bool char f32 f64 i128 i16 i32 i64 i8 isize str u128 u16 u32 u64 u8 usize",
    .constants = "false self true",
    .lineComments = {"//"},
    .blockStart = "/*",
    .blockEnd = "*/",
    .blockNests = true,
    .strings = rustStrings,
    .stringPrefixes = "bc",
    .delimited = DelimitedString::rHashes,
    .upperCaseIsType = true,
    .dotHidesWords = true,
    .lifetimes = true,
    .macros = true,
    .hashAttributes = true,
};

}  // namespace

const LanguageTable& tableOf(EditorLanguage language)
{
    switch (language) {
    case EditorLanguage::plainText:
        return plainText;
    case EditorLanguage::markdown:
        return markdown;
    case EditorLanguage::python:
        return python;
    case EditorLanguage::swift:
        return swift;
    case EditorLanguage::javaScript:
        return javaScript;
    case EditorLanguage::json:
        return json;
    case EditorLanguage::html:
        return html;
    case EditorLanguage::css:
        return css;
    case EditorLanguage::shell:
        return shell;
    case EditorLanguage::yaml:
        return yaml;
    case EditorLanguage::sql:
        return sql;
    case EditorLanguage::c:
        return c;
    case EditorLanguage::rust:
        return rust;
    }
    return plainText;
}

}  // namespace penmark
