// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/TextSnapshot.h"
#include "text/highlight/EditorLanguage.h"

#include <QFont>
#include <QString>

class QPagedPaintDevice;
class QWidget;

namespace penmark {

/// What is to be printed.
struct PrintJob {
    QWidget* window = nullptr;  ///< that the dialog belongs to
    TextSnapshot text;
    QString title;
    EditorLanguage language = EditorLanguage::plainText;
    QFont font;
};

/// Prints in the colours of the language. Any thread that the toolkit can print from.
bool printColoured(QPagedPaintDevice& device, const PrintJob& job);

// What libpenmark-print.so exports.
using PrintFunction = void (*)(const PrintJob& job);
inline constexpr const char* printFunctionName = "penmarkPrint";

}  // namespace penmark
