// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "search/TextSearchReport.h"

#include <QString>
#include <string_view>

class QFontMetricsF;

namespace penmark {

/// A text as one line that can do no harm where it is shown: controls get their pictures, tabs are blanks, and marks
/// that would turn the order of what follows are replaced. As many units as the text has.
QString harmlessLine(std::string_view utf8);

/// The line of a hit as it is shown, and where the match stands in it.
struct HitLine {
    QString text;
    qsizetype mark = 0;    ///< UTF-16 units
    qsizetype length = 0;  ///< UTF-16 units; 0 for an empty match

    /// Without the blanks that the line begins with; "…" stands for a beginning that the hit does not have.
    static HitLine of(const TextSearchHit& hit);

    /// Cut with "…" on one side or both to fit a width in pixels, so that the match, or its beginning, is seen.
    HitLine fitting(const QFontMetricsF& metrics, double width) const;
};

}  // namespace penmark
