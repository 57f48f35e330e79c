// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/printing/PrintPlugin.h"

#include <QPrintDialog>
#include <QPrinter>
#include <QThreadPool>
#include <memory>

using penmark::PrintJob;

extern "C" Q_DECL_EXPORT void penmarkPrint(const PrintJob& job)
{
    const auto printer = std::make_shared<QPrinter>(QPrinter::HighResolution);
    printer->setDocName(job.title);
    auto* const dialog = new QPrintDialog(printer.get(), job.window);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setOption(QAbstractPrintDialog::PrintToFile);
    QObject::connect(dialog, &QDialog::accepted, dialog, [printer, job] {
        QThreadPool::globalInstance()->start([printer, job] { penmark::printColoured(*printer, job); });
    });
    // The printer is the dialog's as long as that is there.
    QObject::connect(dialog, &QObject::destroyed, dialog, [printer] {});
    dialog->open();
}
