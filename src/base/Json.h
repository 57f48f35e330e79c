// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FunctionRef.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace penmark {

/// A value inside a parsed JSON text; valid only inside the callback that handed it out.
class JsonValue {
public:
    std::optional<bool> boolean() const;
    std::optional<double> number() const;            ///< any number, also one written without a fraction
    std::optional<std::int64_t> integer() const;     ///< a number written without a fraction that fits
    std::optional<std::string_view> string() const;  ///< unescaped, valid UTF-8
    bool isNull() const;

    /// Visits the elements of an array in order; false, without a call, if this is no array.
    bool forEachElement(FunctionRef<void(const JsonValue&)> visit) const;

    /// Visits the members of an object in order; false, without a call, if this is no object.
    bool forEachMember(FunctionRef<void(std::string_view key, const JsonValue&)> visit) const;

    /// The value as compact JSON text.
    std::string text() const;

private:
    friend struct JsonAccess;
    alignas(void*) std::byte element_[2 * sizeof(void*)];
};

/// Parses and visits the root. False, without a call, if the text is not exactly one JSON value in UTF-8.
/// Any thread; some 500 MB/s.
bool parseJson(std::string_view text, FunctionRef<void(const JsonValue&)> visit);

/// Appends a JSON string. Throws std::invalid_argument if it is not valid UTF-8: that would make the record unreadable.
void appendJsonString(std::string& out, std::string_view text);

/// Appends a number in the shortest form that reads back as the same double, never with an exponent below 1e15.
/// Throws std::invalid_argument for infinities and NaN, which JSON cannot say.
void appendJsonNumber(std::string& out, double number);

}  // namespace penmark
