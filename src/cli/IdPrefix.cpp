// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/IdPrefix.h"

#include "cli/Arguments.h"
#include "storage/RecoveryError.h"

#include <algorithm>

namespace penmark::cli {

namespace {

constexpr int listed = 8;  // identifiers that a message names at most

}

IdPrefix::IdPrefix(std::string_view typed)
{
    constexpr std::size_t fewestDigits = 4;
    constexpr std::size_t allDigits = 32;
    std::size_t count = 0;
    bool isSound = true;
    for (char character : typed) {
        if (character == '-')
            continue;
        if (character >= 'a' && character <= 'f')
            character = static_cast<char>(character - 'a' + 'A');
        isSound = isSound && ((character >= '0' && character <= '9') || (character >= 'A' && character <= 'F'));
        if (count == 8 || count == 12 || count == 16 || count == 20)
            digits_ += '-';
        digits_ += character;
        ++count;
    }
    if (!isSound || count < fewestDigits || count > allDigits)
        throw UsageError("“" + std::string(typed) + "” is neither an identifier nor the first 4 or more digits of one");
}

Uuid IdPrefix::findDocument(RecoveryStore& store) const
{
    return onlyOne(
        store.query("SELECT id FROM documents WHERE id>=? AND id<? ORDER BY id LIMIT ?", {digits_, end(), listed + 1}),
        "document");
}

Uuid IdPrefix::findRevision(RecoveryStore& store, const Uuid& documentID) const
{
    return onlyOne(store.query("SELECT id FROM revisions WHERE id>=? AND id<? AND document_id=? ORDER BY id LIMIT ?",
                               {digits_, end(), documentID.text(), listed + 1}),
                   "revision of this document");
}

Uuid IdPrefix::findCheckpoint(RecoveryStore& store) const
{
    return onlyOne(store.query("SELECT id FROM checkpoints WHERE id>=? AND id<? ORDER BY id LIMIT ?",
                               {digits_, end(), listed + 1}),
                   "checkpoint");
}

Uuid IdPrefix::findAmong(std::vector<Uuid> ids, const std::string& kind) const
{
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    std::vector<RecoveryStore::Row> rows;
    for (const Uuid& id : ids) {
        std::string text = id.text();
        if (text.starts_with(digits_))
            rows.push_back({std::move(text)});
    }
    return onlyOne(rows, kind);
}

Uuid IdPrefix::onlyOne(const std::vector<RecoveryStore::Row>& rows, const std::string& kind) const
{
    if (rows.empty())
        throw RecoveryError::storage("There is no " + kind + " " + digits_ + ".");
    if (rows.size() > 1) {
        std::string message = digits_ + " begins the identifier of more than one " + kind + ":";
        for (std::size_t i = 0; i < rows.size() && i < listed; ++i)
            message.append(i > 0 ? ", " : " ").append(rows[i].front());
        throw RecoveryError::storage(message + (rows.size() > listed ? " and more." : "."));
    }
    const auto id = Uuid::parse(rows.front().front());
    if (!id)
        throw RecoveryError::storage("A " + kind + " has a damaged identifier.");
    return *id;
}

}  // namespace penmark::cli
