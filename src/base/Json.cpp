// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Json.h"

#include "base/Utf8.h"

#include <array>
#include <charconv>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <type_traits>

#include <simdjson.h>

namespace penmark {

namespace dom = simdjson::dom;

// The parser's header is large, so no other file sees it: a JsonValue holds the parser's two-word handle as bytes.
struct JsonAccess {
    static_assert(std::is_trivially_copyable_v<dom::element> && sizeof(dom::element) <= sizeof(JsonValue::element_));

    static JsonValue wrap(const dom::element& element)
    {
        JsonValue value;
        new (value.element_) dom::element(element);
        return value;
    }
    static const dom::element& element(const JsonValue& value)
    {
        return *std::launder(reinterpret_cast<const dom::element*>(value.element_));
    }
};

namespace {

template <class Value>
std::optional<Value> get(const JsonValue& value)
{
    Value got{};
    if (JsonAccess::element(value).get(got) != simdjson::SUCCESS)
        return std::nullopt;
    return got;
}

}  // namespace

std::optional<bool> JsonValue::boolean() const
{
    return get<bool>(*this);
}

std::optional<double> JsonValue::number() const
{
    return get<double>(*this);
}

std::optional<std::int64_t> JsonValue::integer() const
{
    return get<std::int64_t>(*this);
}

std::optional<std::string_view> JsonValue::string() const
{
    return get<std::string_view>(*this);
}

bool JsonValue::isNull() const
{
    return JsonAccess::element(*this).is_null();
}

bool JsonValue::forEachElement(FunctionRef<void(const JsonValue&)> visit) const
{
    dom::array array;
    if (JsonAccess::element(*this).get(array) != simdjson::SUCCESS)
        return false;
    for (const dom::element element : array)
        visit(JsonAccess::wrap(element));
    return true;
}

bool JsonValue::forEachMember(FunctionRef<void(std::string_view key, const JsonValue&)> visit) const
{
    dom::object object;
    if (JsonAccess::element(*this).get(object) != simdjson::SUCCESS)
        return false;
    for (const dom::key_value_pair member : object)
        visit(member.key, JsonAccess::wrap(member.value));
    return true;
}

std::string JsonValue::text() const
{
    return simdjson::minify(JsonAccess::element(*this));
}

bool parseJson(std::string_view text, FunctionRef<void(const JsonValue&)> visit)
{
    if (text.empty())  // and perhaps a null pointer, which the parser must not be given
        return false;
    // A parser keeps its buffers, which is most of what a small record would cost. It is taken out while it is in
    // use, so that a visitor may parse on its own.
    thread_local std::unique_ptr<dom::parser> spare;
    std::unique_ptr<dom::parser> parser = spare ? std::move(spare) : std::make_unique<dom::parser>();
    dom::element root;
    if (parser->parse(text.data(), text.size()).get(root) != simdjson::SUCCESS)
        return false;
    visit(JsonAccess::wrap(root));
    constexpr std::size_t worthKeeping = std::size_t{4} * 1024 * 1024;
    if (parser->capacity() <= worthKeeping)
        spare = std::move(parser);
    return true;
}

void appendJsonString(std::string& out, std::string_view text)
{
    if (!isValidUtf8(text))
        throw std::invalid_argument("a text in a record is not valid UTF-8");
    constexpr std::string_view digits = "0123456789abcdef";
    out += '"';
    std::size_t plainFrom = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c != '"' && c != '\\')
            continue;
        out.append(text, plainFrom, i - plainFrom);
        plainFrom = i + 1;
        switch (c) {
        case '"':
        case '\\':
            out += '\\';
            out += static_cast<char>(c);
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            out += "\\u00";
            out += digits[c >> 4];
            out += digits[c & 0x0f];
        }
    }
    out.append(text, plainFrom);
    out += '"';
}

void appendJsonNumber(std::string& out, double number)
{
    if (!std::isfinite(number))
        throw std::invalid_argument("a number in a record is not finite");
    std::array<char, 400> text{};
    const bool plain = std::abs(number) < 1e15;
    const auto end = plain ? std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed)
                           : std::to_chars(text.data(), text.data() + text.size(), number);
    out.append(text.data(), end.ptr);
}

}  // namespace penmark
