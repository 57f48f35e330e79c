// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Uuid.h"
#include "storage/RecoveryStore.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace penmark::cli {

/// An identifier as people type it: whole or by its first digits, in either case, with or without hyphens.
class IdPrefix {
public:
    /// Throws UsageError for fewer than 4 hexadecimal digits or anything else.
    explicit IdPrefix(std::string_view typed);

    /// The only document, or the only revision of a document, whose identifier begins like this. Throws `storage` if
    /// there is none or several, and then names them.
    Uuid findDocument(RecoveryStore& store) const;
    Uuid findRevision(RecoveryStore& store, const Uuid& documentID) const;
    Uuid findCheckpoint(RecoveryStore& store) const;

    /// The same among these, which may repeat themselves; `kind` is what the message calls one of them.
    Uuid findAmong(std::vector<Uuid> ids, const std::string& kind) const;

    /// The same among records.
    template <class Records>
    Uuid findAmongRecords(const Records& records, const std::string& kind) const
    {
        std::vector<Uuid> ids;
        for (const auto& record : records)
            ids.push_back(record.id);
        return findAmong(std::move(ids), kind);
    }

private:
    Uuid onlyOne(const std::vector<RecoveryStore::Row>& rows, const std::string& kind) const;
    std::string end() const { return digits_ + "G"; }  // behind everything that begins like this

    std::string digits_;  // in upper case, with the hyphens where they belong
};

}  // namespace penmark::cli
