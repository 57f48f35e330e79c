// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/TextSearchController.h"

#include <QString>
#include <string>
#include <vector>

namespace penmark {

/// What a search window says, in the user's numbers. Main thread.

QString hitCount(std::size_t hits);          ///< "1,234 hits"
QString problemCount(std::size_t problems);  ///< "1 problem"

/// "1,234 hits in 56 sources".
QString foundCounts(const TextSearchReport& report);
/// "1,234 hits in 56 sources · 12 of 300 searched · 45 ms"; empty before anything was searched.
QString reportCounts(const TextSearchReport& report, bool isRunning);

/// "Stored text · Read-only", "Unsaved", or empty.
QString sourceBadge(const TextSearchSource& source);
/// When a version was stored, as the window of its history has it; empty for other sources.
QString versionMoment(const TextSearchSource& source, Date now = Date::now());
/// "normalized", "typo", "name", or empty.
QString matchLabel(const TextSearchHit& hit);

/// What has to be known of a mode before its results are read; empty for one that explains itself.
QString modeHelp(TextMatchMode mode);

/// "md, txt" of what was typed: extensions without their dots and stars, each once.
std::vector<std::string> parseFileTypes(const QString& typed);
QString fileTypesText(const std::vector<std::string>& types);

/// Which text a target is at the moment, beside the kind of scope that led there; empty if the kind says it all.
QString targetText(const ResolvedSearchTarget& target, TextScopeKind kind);

}  // namespace penmark
