// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/DocumentStore.h"

namespace penmark::cli {

/// A document that is named by its identifier. Throws `storage` if it is not there any more.
RecoveryDocument requireDocument(const DocumentStore& documents, const Uuid& id);

/// A revision likewise; throws `missingContent`.
RecoveryRevision requireRevision(const DocumentStore& documents, const Uuid& id);

}  // namespace penmark::cli
