// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"
#include "base/Json.h"
#include "base/Uuid.h"

#include <array>
#include <concepts>
#include <exception>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

/// Records to and from JSON. A record is a struct that lists its fields once:
///
///     struct Example {
///         Uuid id;
///         std::optional<std::string> title;
///         static constexpr auto fields() { return std::tuple{field("id", &Example::id), field("title",
///         &Example::title)}; }
///     };
///
/// encodeRecord writes the keys in that order, compact, and leaves absent optionals out. decodeRecord ignores keys it
/// does not know, unless the record has a member `UnknownMembers unknownMembers`: then they are kept and written behind
/// the others. A field that is absent in the JSON is an error unless it is optional, or the record says
/// `static constexpr bool absentFieldsKeepTheirValue = true`. An enumeration that is stored has a function
/// `storedWords(E)`, found by its argument, that returns an array of (value, word) pairs.
namespace penmark {

/// What cannot be decoded. what() is a clause such as: “head” is not an identifier
class RecordError : public std::exception {
public:
    explicit RecordError(std::string reason) : reason_(std::move(reason)) {}
    const char* what() const noexcept override { return reason_.c_str(); }

private:
    std::string reason_;
};

template <class Record, class Value>
struct Field {
    std::string_view key;
    Value Record::*member;
};

template <class Record, class Value>
constexpr Field<Record, Value> field(std::string_view key, Value Record::*member)
{
    return {key, member};
}

/// JSON text that is kept as it stands because its record belongs to somebody else.
struct RawJson {
    std::string text;

    friend bool operator==(const RawJson&, const RawJson&) = default;
};

using UnknownMembers = std::vector<std::pair<std::string, RawJson>>;

template <class T>
concept HasFields = requires
{
    T::fields();
};

template <class T>
concept KeepsUnknownMembers = requires(T t)
{
    {
        t.unknownMembers
        } -> std::same_as<UnknownMembers&>;
};

template <class T>
concept ToleratesAbsentFields = requires
{
    requires T::absentFieldsKeepTheirValue;
};

template <class T>
concept StoredEnumeration = requires(T t)
{
    storedWords(t);
};

namespace detail {

template <class T>
struct IsOptional : std::false_type {};
template <class T>
struct IsOptional<std::optional<T>> : std::true_type {};

}  // namespace detail

// ---- encoding ----

inline void encodeValue(std::string& out, const std::string& value)
{
    appendJsonString(out, value);
}
inline void encodeValue(std::string& out, const Uuid& value)
{
    out.append("\"").append(value.text()).append("\"");
}
inline void encodeValue(std::string& out, const Date& value)
{
    appendJsonNumber(out, value.seconds);
}
inline void encodeValue(std::string& out, const RawJson& value)
{
    out += value.text;
}
inline void encodeValue(std::string& out, double value)
{
    appendJsonNumber(out, value);
}
inline void encodeValue(std::string& out, std::same_as<bool> auto value)
{
    out += value ? "true" : "false";
}
inline void encodeValue(std::string& out, std::same_as<std::int64_t> auto value)
{
    out += std::to_string(value);
}

/// The word that stands for an enumeration's value in records.
template <StoredEnumeration E>
constexpr std::string_view storedWord(E value)
{
    for (const auto& [known, word] : storedWords(E{})) {
        if (known == value)
            return word;
    }
    return {};
}

template <StoredEnumeration E>
void encodeValue(std::string& out, E value)
{
    appendJsonString(out, storedWord(value));
}

template <HasFields R>
void encodeValue(std::string& out, const R& record);

template <class T>
void encodeValue(std::string& out, const std::vector<T>& values);

template <class T>
void encodeValue(std::string& out, const std::set<T>& values);

template <class T>
void encodeValue(std::string& out, const std::map<Uuid, T>& values);

template <class T>
void encodeValue(std::string& out, const std::map<std::string, T>& values);

namespace detail {

template <class Values>
void encodeSequence(std::string& out, const Values& values)
{
    out += '[';
    bool first = true;
    for (const auto& value : values) {
        if (!std::exchange(first, false))
            out += ',';
        encodeValue(out, value);
    }
    out += ']';
}

inline void encodeKey(std::string& out, std::string_view key, bool& first)
{
    if (!std::exchange(first, false))
        out += ',';
    appendJsonString(out, key);
    out += ':';
}

template <class T>
void encodeMember(std::string& out, std::string_view key, const T& value, bool& first)
{
    if constexpr (IsOptional<T>::value) {
        if (value)
            encodeMember(out, key, *value, first);
    } else {
        encodeKey(out, key, first);
        encodeValue(out, value);
    }
}

}  // namespace detail

template <class T>
void encodeValue(std::string& out, const std::vector<T>& values)
{
    detail::encodeSequence(out, values);
}

template <class T>
void encodeValue(std::string& out, const std::set<T>& values)
{
    detail::encodeSequence(out, values);
}

template <class T>
void encodeValue(std::string& out, const std::map<Uuid, T>& values)
{
    out += '{';
    bool first = true;
    for (const auto& [key, value] : values)
        detail::encodeMember(out, key.text(), value, first);
    out += '}';
}

template <class T>
void encodeValue(std::string& out, const std::map<std::string, T>& values)
{
    out += '{';
    bool first = true;
    for (const auto& [key, value] : values)
        detail::encodeMember(out, key, value, first);
    out += '}';
}

template <HasFields R>
void encodeValue(std::string& out, const R& record)
{
    out += '{';
    bool first = true;
    std::apply(
        [&](const auto&... fields) { (detail::encodeMember(out, fields.key, record.*fields.member, first), ...); },
        R::fields());
    if constexpr (KeepsUnknownMembers<R>) {
        for (const auto& [key, value] : record.unknownMembers)
            detail::encodeMember(out, key, value, first);
    }
    out += '}';
}

/// Compact JSON of a record or of any value that a field can hold.
template <class T>
std::string encodeRecord(const T& value)
{
    std::string out;
    encodeValue(out, value);
    return out;
}

// ---- decoding ----

namespace detail {

[[noreturn]] inline void refuse(std::string_view key, std::string_view problem)
{
    throw RecordError("“" + std::string(key) + "” " + std::string(problem));
}

}  // namespace detail

inline void decodeValue(const JsonValue& json, std::string_view key, std::string& value)
{
    const auto text = json.string();
    if (!text)
        detail::refuse(key, "is not a text");
    value = *text;
}

inline void decodeValue(const JsonValue& json, std::string_view key, Uuid& value)
{
    const auto id = Uuid::parse(json.string().value_or(""));
    if (!id)
        detail::refuse(key, "is not an identifier");
    value = *id;
}

inline void decodeValue(const JsonValue& json, std::string_view key, double& value)
{
    const auto number = json.number();
    if (!number)
        detail::refuse(key, "is not a number");
    value = *number;
}

inline void decodeValue(const JsonValue& json, std::string_view key, Date& value)
{
    decodeValue(json, key, value.seconds);
}

inline void decodeValue(const JsonValue& json, std::string_view key, std::same_as<bool> auto& value)
{
    const auto boolean = json.boolean();
    if (!boolean)
        detail::refuse(key, "is neither true nor false");
    value = *boolean;
}

inline void decodeValue(const JsonValue& json, std::string_view key, std::same_as<std::int64_t> auto& value)
{
    const auto integer = json.integer();
    if (!integer)
        detail::refuse(key, "is not a whole number");
    value = *integer;
}

inline void decodeValue(const JsonValue& json, std::string_view, RawJson& value)
{
    value.text = json.text();
}

template <StoredEnumeration E>
void decodeValue(const JsonValue& json, std::string_view key, E& value)
{
    const auto text = json.string();
    for (const auto& [known, word] : storedWords(E{})) {
        if (text == word) {
            value = known;
            return;
        }
    }
    detail::refuse(key, "has an unknown value");
}

template <class T>
void decodeValue(const JsonValue& json, std::string_view key, std::vector<T>& values);

template <class T>
void decodeValue(const JsonValue& json, std::string_view key, std::set<T>& values);

template <class T>
void decodeValue(const JsonValue& json, std::string_view key, std::map<Uuid, T>& values);

template <class T>
void decodeValue(const JsonValue& json, std::string_view key, std::map<std::string, T>& values);

template <HasFields R>
void decodeValue(const JsonValue& json, std::string_view key, R& record);

namespace detail {

/// Decodes into the field of this key; returns whether the record has one.
template <class R, std::size_t... I>
bool decodeMember(const JsonValue& json, std::string_view key, R& record, std::array<bool, sizeof...(I)>& seen,
                  std::index_sequence<I...>)
{
    constexpr auto fields = R::fields();
    const auto tryField = [&](const auto& known, bool& isSeen) {
        if (known.key != key)
            return false;
        auto& member = record.*known.member;
        if constexpr (IsOptional<std::remove_reference_t<decltype(member)>>::value) {
            if (json.isNull())
                member.reset();
            else
                decodeValue(json, key, member.emplace());
        } else {
            decodeValue(json, key, member);
        }
        isSeen = true;
        return true;
    };
    return (tryField(std::get<I>(fields), seen[I]) || ...);
}

template <class R, std::size_t... I>
void requireAll(const std::array<bool, sizeof...(I)>& seen, std::index_sequence<I...>)
{
    constexpr auto fields = R::fields();
    const auto require = [](const auto& known, bool isSeen) {
        using Value = std::remove_cvref_t<decltype(std::declval<R&>().*known.member)>;
        if (!isSeen && !IsOptional<Value>::value)
            refuse(known.key, "is missing");
    };
    (require(std::get<I>(fields), seen[I]), ...);
}

}  // namespace detail

template <class T>
void decodeValue(const JsonValue& json, std::string_view key, std::vector<T>& values)
{
    values.clear();
    if (!json.forEachElement([&](const JsonValue& element) { decodeValue(element, key, values.emplace_back()); }))
        detail::refuse(key, "is not a list");
}

template <class T>
void decodeValue(const JsonValue& json, std::string_view key, std::set<T>& values)
{
    std::vector<T> list;
    decodeValue(json, key, list);
    values = std::set<T>(list.begin(), list.end());
}

template <class T>
void decodeValue(const JsonValue& json, std::string_view key, std::map<Uuid, T>& values)
{
    values.clear();
    const bool isObject = json.forEachMember([&](std::string_view name, const JsonValue& member) {
        const auto id = Uuid::parse(name);
        if (!id)
            detail::refuse(key, "has a key that is not an identifier");
        decodeValue(member, key, values[*id] = {});
    });
    if (!isObject)
        detail::refuse(key, "is not a map");
}

template <class T>
void decodeValue(const JsonValue& json, std::string_view key, std::map<std::string, T>& values)
{
    values.clear();
    const bool isObject = json.forEachMember([&](std::string_view name, const JsonValue& member) {
        decodeValue(member, key, values[std::string(name)] = {});
    });
    if (!isObject)
        detail::refuse(key, "is not a map");
}

/// Into a record as it was made: a field that is absent keeps its first value.
template <HasFields R>
void decodeValue(const JsonValue& json, std::string_view key, R& record)
{
    constexpr auto count = std::tuple_size_v<decltype(R::fields())>;
    constexpr auto indexes = std::make_index_sequence<count>();
    std::array<bool, count> seen{};
    const bool isObject = json.forEachMember([&](std::string_view name, const JsonValue& member) {
        if (detail::decodeMember(member, name, record, seen, indexes))
            return;
        if constexpr (KeepsUnknownMembers<R>)
            record.unknownMembers.emplace_back(std::string(name), RawJson{member.text()});
    });
    if (!isObject)
        detail::refuse(key, "is not a record");
    if constexpr (!ToleratesAbsentFields<R>)
        detail::requireAll<R>(seen, indexes);
}

/// Throws RecordError if the text is not JSON, a field is missing, has the wrong type or an unknown word.
template <class T>
T decodeRecord(std::string_view json)
{
    T value{};
    if (!parseJson(json, [&](const JsonValue& root) { decodeValue(root, "record", value); }))
        throw RecordError("the record is not valid JSON");
    return value;
}

}  // namespace penmark
