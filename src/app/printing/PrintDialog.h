// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/TextSnapshot.h"
#include "text/highlight/EditorLanguage.h"

#include <QByteArray>
#include <optional>

class QFont;
class QString;
class QWidget;

namespace penmark {

class EditorView;

/// Asks for a printer and prints the text of a view. The toolkit's printing is loaded now, since hardly anybody prints
/// while the program starts; false if it is not installed.
bool openPrintDialog(QWidget& window, EditorView& view, const QString& title);

/// A text as the bytes of a PDF file in the colours of its language; absent if it cannot be made. Any thread.
std::optional<QByteArray> pdfOf(const TextSnapshot& text, const QString& title, EditorLanguage language,
                                const QFont& font);

}  // namespace penmark
