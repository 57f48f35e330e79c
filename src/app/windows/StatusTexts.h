// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <string>

namespace penmark {

enum class RecoveryEncoding;
class CaretSet;
class RecoveryBuffer;
class TextSnapshot;
struct EditOptions;
struct TextCounts;

/// Why something was not stored, in as few words as there are: "disk full".
QString storeFailureReason(const std::string& sentence);
/// The same as a sentence: "Nothing can be stored: disk full", or the library's own where it is about one text.
QString storeFailureText(const std::string& sentence);
/// "Stored 14:02:11", "Not stored yet", or why not.
QString storedText(const RecoveryBuffer& buffer);
/// "12:5", or "3 carets".
QString caretText(const TextSnapshot& text, const CaretSet& carets);
/// "412 words selected"; empty without a selection. Of much text the size, since counting it would take a while.
QString selectionText(const TextSnapshot& text, const CaretSet& carets);
/// "412 words · 2 min".
QString countsText(const TextCounts& counts);
/// "LF", "CRLF", "CR" or "Mixed".
QString lineEndText(const TextSnapshot& text, const EditOptions& options);
/// "Tabs: 4" or "Blanks: 2".
QString indentText(const EditOptions& options);
QString encodingName(RecoveryEncoding encoding);

}  // namespace penmark
