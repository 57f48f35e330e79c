// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Record.h"
#include "storage/RecoveryError.h"

namespace penmark {

/// Decodes what a table holds. Throws `storage` with a message that says what kind of record is damaged and how.
template <class R>
R decodeStored(std::string_view json, std::string_view kind)
{
    try {
        return decodeRecord<R>(json);
    } catch (const RecordError& error) {
        throw RecoveryError::storage("A " + std::string(kind) + " record cannot be read: " + error.what() + ".");
    }
}

/// Decodes into a list, or adds the sentence about a damaged record to the problems, so that it hides no other.
template <class R>
void decodeStoredInto(std::vector<R>& records, std::vector<std::string>& problems, std::string_view json,
                      std::string_view kind)
{
    try {
        records.push_back(decodeStored<R>(json, kind));
    } catch (const RecoveryError& error) {
        problems.emplace_back(error.what());
    }
}

/// Encodes what a table will hold. Throws `storage` if a text in it is not valid UTF-8.
template <class R>
std::string encodeStored(const R& record)
{
    try {
        return encodeRecord(record);
    } catch (const std::invalid_argument& error) {
        throw RecoveryError::storage(std::string("A record cannot be stored: ") + error.what() + ".");
    }
}

}  // namespace penmark
