// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/penmark/FailureWindow.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QFileDialog>
#include <QFont>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QStyle>
#include <QUrl>
#include <QVBoxLayout>

namespace penmark {

FailureWindow::FailureWindow(const std::string& message, const std::filesystem::path& library, int holder)
{
    setWindowTitle(tr("Library not opened - Penmark"));
    resize(620, 260);
    const QString folder = QString::fromStdString(library.native());
    const QString sentence = QString::fromStdString(message);

    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 20);
    layout->setSpacing(12);
    auto* const title = new QLabel(tr("Penmark cannot open the library"), this);
    QFont large = title->font();
    large.setPointSizeF(large.pointSizeF() * 1.35);
    large.setBold(true);
    title->setFont(large);
    layout->addWidget(title);
    auto* const reason = new QLabel(sentence, this);
    reason->setTextFormat(Qt::PlainText);
    reason->setWordWrap(true);
    reason->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    reason->setAccessibleName(sentence);
    layout->addWidget(reason);
    QString where = tr("Library: %1").arg(folder);
    if (holder > 0)
        where += QLatin1Char('\n') + tr("Process: %1").arg(holder);
    where += QLatin1Char('\n') + tr("Nothing in it has been changed.");
    auto* const details = new QLabel(where, this);
    details->setTextFormat(Qt::PlainText);
    details->setWordWrap(true);
    details->setEnabled(false);
    layout->addWidget(details);
    layout->addStretch(1);

    auto* const buttons = new QHBoxLayout;
    const auto add = [&](const QString& name) {
        auto* const button = new QPushButton(name, this);
        button->setAutoDefault(true);  // Enter presses each, not only the default one
        buttons->addWidget(button);
        return button;
    };
    connect(add(tr("Show Folder")), &QPushButton::clicked, this,
            [folder] { QDesktopServices::openUrl(QUrl::fromLocalFile(folder)); });
    connect(add(tr("Copy Message")), &QPushButton::clicked, this,
            [sentence, where] { QGuiApplication::clipboard()->setText(sentence + QLatin1Char('\n') + where); });
    buttons->addStretch(1);
    connect(add(tr("Open Another Library…")), &QPushButton::clicked, this, &FailureWindow::openAnother);
    connect(add(tr("Try Again")), &QPushButton::clicked, this, &FailureWindow::tryAgain);
    auto* const quit = add(tr("Quit"));
    connect(quit, &QPushButton::clicked, this, &QWidget::close);
    layout->addLayout(buttons);
    quit->setDefault(true);
    quit->setFocus();
}

void FailureWindow::openAnother()
{
    auto* const dialog = new QFileDialog(this, tr("Open Another Library"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& folder) {
        QProcess::startDetached(QCoreApplication::applicationFilePath(), {QStringLiteral("--library"), folder});
        close();
    });
    dialog->open();
}

}  // namespace penmark
