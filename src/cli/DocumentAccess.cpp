// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/DocumentAccess.h"

#include "storage/RecoveryError.h"

namespace penmark::cli {

RecoveryDocument requireDocument(const DocumentStore& documents, const Uuid& id)
{
    auto document = documents.loadDocument(id);
    if (!document)
        throw RecoveryError::storage("There is no document " + id.text() + ".");
    return std::move(*document);
}

RecoveryRevision requireRevision(const DocumentStore& documents, const Uuid& id)
{
    auto revision = documents.loadRevision(id);
    if (!revision)
        throw RecoveryError(RecoveryError::Case::missingContent);
    return std::move(*revision);
}

}  // namespace penmark::cli
