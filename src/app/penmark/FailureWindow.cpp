// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/penmark/FailureWindow.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QFile>
#include <QFileDialog>
#include <QFont>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QStyle>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>

namespace penmark {

FailureWindow::FailureWindow(const StorageInitializationStatus& status, RecoveryConfiguration configuration, int holder)
    : askForFolder([this](const QString& caption, const auto& chosen) { askByDialog(caption, chosen); }),
      configuration_(std::move(configuration)), layout_(new QVBoxLayout(this))
{
    setWindowTitle(tr("Library not opened - Penmark"));
    resize(620, 260);
    layout_->setContentsMargins(28, 24, 28, 20);
    layout_->setSpacing(12);
    const QString sentence = QString::fromStdString(status.message());
    QString where = tr("Library: %1").arg(QString::fromStdString(configuration_.root.native()));
    if (holder > 0)
        where += QLatin1Char('\n') + tr("Process: %1").arg(holder);
    where += QLatin1Char('\n') + tr("Nothing in it has been changed.");
    addReason(sentence, where);
    layout_->addStretch(1);
    // What a newer program has made cannot be understood, however carefully it is read.
    if (status.failure() != RecoveryError::Case::newerSchema && hasLibrary(configuration_))
        addReading();
    addButtons(sentence, where);
}

void FailureWindow::addReason(const QString& sentence, const QString& where)
{
    auto* const title = new QLabel(tr("Penmark cannot open the library"), this);
    QFont large = title->font();
    large.setPointSizeF(large.pointSizeF() * 1.35);
    large.setBold(true);
    title->setFont(large);
    layout_->addWidget(title);
    auto* const reason = new QLabel(sentence, this);
    reason->setTextFormat(Qt::PlainText);
    reason->setWordWrap(true);
    reason->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    reason->setAccessibleName(sentence);
    layout_->addWidget(reason);
    auto* const details = new QLabel(where, this);
    details->setTextFormat(Qt::PlainText);
    details->setWordWrap(true);
    details->setEnabled(false);
    layout_->addWidget(details);
}

void FailureWindow::addReading()
{
    progress_ = new QLabel(this);
    progress_->setTextFormat(Qt::PlainText);
    progress_->setWordWrap(true);
    progress_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    progress_->hide();
    layout_->addWidget(progress_);
    problems_ = new QPlainTextEdit(this);
    problems_->setReadOnly(true);
    problems_->setTabChangesFocus(true);
    problems_->setAccessibleName(tr("What could not be read"));
    problems_->hide();
    layout_->addWidget(problems_, 2);

    auto* const row = new QHBoxLayout;
    openReadOnly_ = addButton(*row, tr("Open Read-Only"));
    connect(openReadOnly_, &QPushButton::clicked, this, [this] { emit tryAgain(LibraryAccess::readOnly); });
    export_ = addButton(*row, tr("Export What Can Be Read…"));
    connect(export_, &QPushButton::clicked, this,
            [this] { askForFolder(tr("Export into Folder"), [this](const QString& folder) { beginExport(folder); }); });
    cancel_ = addButton(*row, tr("Cancel Export"));
    cancel_->hide();
    connect(cancel_, &QPushButton::clicked, this, [this] {
        if (running_)
            running_->cancel();
    });
    row->addStretch(1);
    layout_->addLayout(row);
}

void FailureWindow::addButtons(const QString& sentence, const QString& where)
{
    auto* const row = new QHBoxLayout;
    const QString folder = QString::fromStdString(configuration_.root.native());
    connect(addButton(*row, tr("Show Folder")), &QPushButton::clicked, this,
            [folder] { QDesktopServices::openUrl(QUrl::fromLocalFile(folder)); });
    connect(addButton(*row, tr("Copy Message")), &QPushButton::clicked, this,
            [sentence, where] { QGuiApplication::clipboard()->setText(sentence + QLatin1Char('\n') + where); });
    row->addStretch(1);
    openAnother_ = addButton(*row, tr("Open Another Library…"));
    connect(openAnother_, &QPushButton::clicked, this, &FailureWindow::openAnother);
    tryAgain_ = addButton(*row, tr("Try Again"));
    connect(tryAgain_, &QPushButton::clicked, this, [this] { emit tryAgain(LibraryAccess::readWrite); });
    auto* const quit = addButton(*row, tr("Quit"));
    connect(quit, &QPushButton::clicked, this, &QWidget::close);
    layout_->addLayout(row);
    quit->setDefault(true);
    quit->setFocus();
}

QPushButton* FailureWindow::addButton(QHBoxLayout& row, const QString& name)
{
    auto* const button = new QPushButton(name, this);
    button->setAutoDefault(true);  // Enter presses each, not only the default one
    row.addWidget(button);
    return button;
}

void FailureWindow::askByDialog(const QString& caption, const std::function<void(const QString&)>& chosen)
{
    auto* const dialog = new QFileDialog(this, caption);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    connect(dialog, &QFileDialog::fileSelected, this, chosen);
    dialog->open();
}

void FailureWindow::openAnother()
{
    askForFolder(tr("Open Another Library"), [this](const QString& folder) {
        QProcess::startDetached(QCoreApplication::applicationFilePath(), {QStringLiteral("--library"), folder});
        close();
    });
}

void FailureWindow::beginExport(const QString& folder)
{
    if (running_)
        return;
    setExporting(true);
    problems_->hide();
    progress_->setText(tr("Reading the library…"));
    progress_->show();
    running_ = std::make_unique<LibraryExport>();
    connect(running_.get(), &LibraryExport::progressed, this,
            [this](std::size_t done, std::size_t total, const QString& title) {
                progress_->setText(tr("Exporting %1 of %2: %3").arg(done + 1).arg(total).arg(title));
            });
    connect(running_.get(), &LibraryExport::finished, this, &FailureWindow::endExport);
    running_->start(configuration_, QFile::encodeName(folder).toStdString());
}

void FailureWindow::endExport(const LibraryExport::Result& result)
{
    QString sentence;
    if (!result.failure.empty())
        sentence = tr("The export ended early. %1").arg(QString::fromStdString(result.failure));
    else if (result.cancelled)
        sentence = tr("The export was cancelled.");
    if (!sentence.isEmpty())
        sentence += QLatin1Char('\n');
    sentence += tr("Texts written: %1").arg(result.written);
    if (!result.problems.empty())
        sentence += QLatin1Char('\n') + tr("Problems: %1").arg(result.problems.size());
    if (!result.folder.empty())
        sentence += QLatin1Char('\n') + tr("Folder: %1").arg(QFile::decodeName(result.folder.c_str()));
    progress_->setText(sentence);
    progress_->setAccessibleName(sentence);
    QStringList problems;
    for (const std::string& problem : result.problems)
        problems.append(QString::fromStdString(problem));
    problems_->setPlainText(problems.join(QLatin1Char('\n')));
    problems_->setVisible(!problems.isEmpty());
    running_.release()->deleteLater();  // it is what calls this
    setExporting(false);
    resize(width(), std::max(height(), sizeHint().height()));
}

// The library is not opened twice in one process.
void FailureWindow::setExporting(bool exporting)
{
    const bool hadFocus = export_->hasFocus() || cancel_->hasFocus();
    openReadOnly_->setEnabled(!exporting);
    tryAgain_->setEnabled(!exporting);
    openAnother_->setEnabled(!exporting);
    export_->setVisible(!exporting);
    cancel_->setVisible(exporting);
    if (hadFocus)
        (exporting ? cancel_ : export_)->setFocus();
}

}  // namespace penmark
