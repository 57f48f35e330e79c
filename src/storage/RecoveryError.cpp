// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/RecoveryError.h"

namespace penmark {

namespace {

std::string sentenceFor(RecoveryError::Case which, const std::string& detail)
{
    using Case = RecoveryError::Case;
    switch (which) {
    case Case::storage:
        return "Penmark could not complete the operation: " + detail;
    case Case::newerSchema:
        return "This library was created by a newer Penmark (schema " + detail + "). It has not been changed.";
    case Case::revisionConflict:
        return "This document changed in another writer. Both versions have been preserved in memory; retry after "
               "reopening the library.";
    case Case::externalChange:
        return "The original file changed or moved. Your text is still open in Penmark. Save a copy or reload the "
               "original.";
    case Case::unsupportedText:
        return "This file is not valid UTF-8 or BOM-marked UTF-16 text. No bytes have been changed.";
    case Case::missingContent:
        return "The recovery content is missing or damaged. The library has not been reset.";
    case Case::locked:
        return "This recovery library is already open in another Penmark process.";
    }
    return detail;  // not reached: every case has its sentence above
}

}  // namespace

RecoveryError::RecoveryError(Case which, std::string_view detail)
    : which_(which), detail_(detail), sentence_(sentenceFor(which, detail_))
{}

}  // namespace penmark
