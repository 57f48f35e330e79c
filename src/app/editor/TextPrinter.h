// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"
#include "text/TextSnapshot.h"
#include "text/highlight/Token.h"

#include <QFont>
#include <QString>
#include <cstddef>
#include <functional>
#include <limits>
#include <optional>
#include <stop_token>
#include <vector>

class QPagedPaintDevice;

namespace penmark {

struct PrintSettings {
    QFont font;
    QString header;           ///< at the top of each page, such as the document's title; empty: none
    bool pageNumbers = true;  ///< at the bottom of each page
    bool pageCount = true;    ///< "1 / 12" rather than "1"; all is laid out once more to know it
    bool lineNumbers = false;
    std::size_t tabColumns = 4;
    /// Who knows the tokens of a line, for the light scheme's colours; none: black text.
    std::function<void(LineNumber line, std::vector<Token>& tokens)> tokens;
    std::optional<Utf8Range> range;  ///< what to print; absent: the whole text
    std::size_t firstPage = 1;
    std::size_t lastPage = std::numeric_limits<std::size_t>::max();
};

struct PrintResult {
    enum class Outcome { printed, cancelled, failed };
    Outcome outcome = Outcome::printed;  ///< failed: the device could not be written to
    std::size_t pages = 0;               ///< that were printed, in either case
};

/// Prints a text to a printer or a PDF file, within the margins of the device's page layout and wrapped to the width
/// between them. Lays out in points, so that pages are the same at any resolution. Of a line that wraps, neither the
/// first nor the last row is left alone on a page where that can be helped. An empty text is one page.
/// Emoji of fonts that have pictures instead of outlines leave a gap: the toolkit does not print them.
///
/// Holds one layout at a time, whatever the length of the text or of a line. `progress` is told the part done, from 0
/// to 1, at most every 100 ms. Threads: any that the toolkit can print from; the settings are used on it only.
PrintResult printText(QPagedPaintDevice& device, const TextSnapshot& text, const PrintSettings& settings,
                      std::stop_token stop = {}, const std::function<void(double done)>& progress = {});

}  // namespace penmark
