// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/printing/PrintDialog.h"

#include "app/editor/EditorView.h"
#include "app/editor/TextPrinter.h"
#include "app/printing/PrintPlugin.h"
#include "text/editor/EditorDocument.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QLibrary>
#include <QPdfWriter>

namespace penmark {

bool openPrintDialog(QWidget& window, EditorView& view, const QString& title)
{
    // Beside the program in a build, in the library folder of an installation.
    const QDir here(QCoreApplication::applicationDirPath());
    for (const QString& place : {here.filePath(QStringLiteral("libpenmark-print.so")),
                                 here.filePath(QStringLiteral(PENMARK_PLUGINS "/libpenmark-print.so"))}) {
        QLibrary library(place);
        const auto print = reinterpret_cast<PrintFunction>(library.resolve(printFunctionName));
        if (!print)
            continue;
        print({&window, view.document().text(), title, view.document().language(), view.font()});
        return true;
    }
    return false;
}

std::optional<QByteArray> pdfOf(const TextSnapshot& text, const QString& title, EditorLanguage language,
                                const QFont& font)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QPdfWriter writer(&buffer);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setPageMargins(QMarginsF(18, 15, 15, 15), QPageLayout::Millimeter);
    writer.setTitle(title);
    if (!printColoured(writer, {nullptr, text, title, language, font}))
        return std::nullopt;
    return buffer.data();
}

bool printColoured(QPagedPaintDevice& device, const PrintJob& job)
{
    EditorDocument document(job.text, job.language);
    PrintSettings settings;
    settings.font = job.font;
    settings.font.setPointSizeF(10);
    settings.header = job.title;
    if (document.highlights()) {
        while (document.work(1 << 20))  // so that all colours are right
            ;
        settings.tokens = [&](LineNumber line, std::vector<Token>& tokens) { document.tokens(line, tokens); };
    }
    return printText(device, document.text(), settings).outcome == PrintResult::Outcome::printed;
}

}  // namespace penmark
