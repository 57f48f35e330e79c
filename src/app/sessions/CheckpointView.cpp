// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/CheckpointView.h"

#include "app/appearance/Icon.h"
#include "app/documents/SessionRecords.h"
#include "app/navigator/ListedDate.h"
#include "app/sessions/CheckpointDaysModel.h"
#include "app/sessions/ElidedLabel.h"
#include "app/sessions/NamePrompt.h"
#include "app/sessions/OrganiserPage.h"
#include "app/sessions/SessionActions.h"
#include "app/sessions/SessionTitles.h"
#include "organization/SessionError.h"

#include <QBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeView>

namespace penmark {

CheckpointView::CheckpointView(SessionRecords& records, SessionActions& actions, DocumentRegistry& documents)
    : records_(records), actions_(actions), documents_(documents), title_(new ElidedLabel), date_(new ElidedLabel),
      sessions_(new ElidedLabel), counts_(new ElidedLabel), notice_(OrganiserPage::makeNote({}, false)),
      filter_(new QLineEdit), table_(new QTreeView)
{
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * 1.2);
    large.setBold(true);
    title_->setFont(large);
    for (QLabel* const label : {date_, sessions_})
        label->setForegroundRole(QPalette::PlaceholderText);
    filter_->setPlaceholderText(tr("Filter documents"));
    filter_->setAccessibleName(tr("Filter documents of the checkpoint"));
    filter_->setClearButtonEnabled(true);
    filter_->addAction(icon(IconShape::search), QLineEdit::LeadingPosition);
    connect(filter_, &QLineEdit::textChanged, this, [this](const QString& text) { model_.setFilter(text); });
    createTable();

    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    for (QLabel* const label : {title_, date_, sessions_, counts_})
        layout->addWidget(label);
    auto* const filterRow = new QHBoxLayout;
    filterRow->addWidget(filter_, 1);
    search_ = OrganiserPage::addButton(*filterRow, tr("Search in This Checkpoint…"));
    search_->setToolTip(tr("Searches the texts that it holds"));
    connect(search_, &QPushButton::clicked, this, [this] { search(); });
    layout->addLayout(filterRow);
    layout->addWidget(table_, 1);
    layout->addWidget(notice_);
    createButtons(*layout);
    connect(&model_, &CheckpointDocumentsModel::tickedChanged, this, [this] { showButtons(); });
    show(nullptr);
}

CheckpointView::~CheckpointView()
{
    reading_.request_stop();
    delete table_;  // before what it shows
}

void CheckpointView::createTable()
{
    table_->setModel(&model_);
    table_->setAccessibleName(tr("Documents of the checkpoint"));
    table_->setRootIsDecorated(false);
    table_->setUniformRowHeights(true);
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    table_->setContextMenuPolicy(Qt::CustomContextMenu);
    QHeaderView* const header = table_->header();
    header->setStretchLastSection(false);
    // Fitted to their rows they would have all of them measured.
    header->setSectionResizeMode(QHeaderView::Interactive);
    header->setSectionResizeMode(CheckpointDocumentsModel::titleColumn, QHeaderView::Stretch);
    header->resizeSection(CheckpointDocumentsModel::sizeColumn, fontMetrics().averageCharWidth() * 13);
    header->resizeSection(CheckpointDocumentsModel::nowColumn, fontMetrics().averageCharWidth() * 26);
    connect(table_, &QTreeView::activated, this, [this] { compare(); });
    connect(table_, &QWidget::customContextMenuRequested, this, [this](QPoint position) { showTableMenu(position); });
    connect(table_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] { showButtons(); });
}

void CheckpointView::createButtons(QBoxLayout& layout)
{
    auto* const row = new QHBoxLayout;
    restore_ = OrganiserPage::addButton(*row, tr("Restore as New Copy"));
    compare_ = OrganiserPage::addButton(*row, tr("Compare…"));
    row->addStretch(1);
    pin_ = OrganiserPage::addButton(*row, tr("Pin"));
    rename_ = OrganiserPage::addButton(*row, tr("Rename…"));
    delete_ = OrganiserPage::addButton(*row, tr("Delete…"));
    layout.addLayout(row);
    layout.addWidget(OrganiserPage::makeNote(tr("Restore as New Copy opens separate documents and sessions.")));
    connect(restore_, &QPushButton::clicked, this, [this] { restore(); });
    connect(compare_, &QPushButton::clicked, this, [this] { compare(); });
    connect(pin_, &QPushButton::clicked, this, [this] {
        if (shown_)
            actions_.setPinned(shown_->header.id, !shown_->header.pinned);
    });
    connect(rename_, &QPushButton::clicked, this, [this] { askForName(); });
    connect(delete_, &QPushButton::clicked, this, [this] { askToDelete(); });
}

void CheckpointView::say(const QString& sentence)
{
    notice_->setText(sentence);
    notice_->setVisible(!sentence.isEmpty());
}

void CheckpointView::show(const CalendarCheckpoint* checkpoint)
{
    const bool isSame = checkpoint != nullptr && shown_ && shown_->header.id == checkpoint->header.id;
    shown_ = checkpoint != nullptr ? std::optional(*checkpoint) : std::nullopt;
    say({});
    if (!isSame) {
        isRead_ = false;
        model_.clear();
    }
    showHead();
    showButtons();
    read();
}

void CheckpointView::read()
{
    const int request = ++request_;
    reading_.request_stop();
    if (!shown_)
        return;
    reading_ = std::stop_source();
    records_.queue().read(
        this,
        [id = shown_->header.id, stop = reading_.get_token()](RecoveryStore& store) {
            return checkpointContents(store, id, stop);
        },
        [this, request](std::optional<CheckpointContents> contents) {
            if (request != request_)
                return;
            if (contents)
                take(std::move(*contents));
            else
                say(QString::fromUtf8(SessionError(SessionError::Case::checkpointGone).what()));
        },
        [this, request](const RecoveryError& error) {
            if (request == request_)
                say(QString::fromUtf8(error.what()));
        });
}

void CheckpointView::take(CheckpointContents contents)
{
    isRead_ = true;
    model_.show(std::move(contents));
    showHead();
    showButtons();
}

void CheckpointView::showHead()
{
    title_->setText(shown_ ? checkpointTitle(shown_->header, shown_->isAutomatic) : tr("No checkpoint chosen"));
    if (shown_) {
        QStringList parts{QString::fromStdString(shown_->header.createdAt.localText().substr(0, 16))};
        if (shown_->header.pinned)
            parts << tr("Pinned: automatic cleanup keeps it");
        else if (shown_->isAutomatic)
            parts << tr("Automatic");
        date_->setText(parts.join(QStringLiteral(" · ")));
    } else {
        date_->setText(tr("Choose a day and a checkpoint to see what it holds."));
    }
    const CheckpointContents& contents = model_.contents();
    QStringList sessions;
    QStringList counts;
    if (isRead_) {
        for (const PenmarkSession& session : contents.checkpoint.sessions)
            sessions << sessionTitle(documents_, session);
        counts << (contents.entries.size() == 1 ? tr("1 document") : tr("%1 documents").arg(contents.entries.size()))
               << tr("%1 changed").arg(contents.changed) << tr("%1 discarded or gone").arg(contents.discardedOrGone);
        if (contents.newSince > 0)
            counts << tr("%1 new since").arg(contents.newSince);
    } else if (shown_) {
        counts << tr("Reading…");
    }
    sessions_->setVisible(!sessions.isEmpty());
    sessions_->setText(sessions.size() == 1 ? tr("Session: %1").arg(sessions.first())
                                            : tr("%1 sessions: %2").arg(sessions.size()).arg(sessions.join(tr("; "))));
    counts_->setText(counts.join(QStringLiteral(" · ")));
    counts_->setVisible(!counts.isEmpty());
}

void CheckpointView::showButtons()
{
    const std::size_t ticked = model_.ticked().size();
    restore_->setText(ticked == 0 ? tr("Restore as New Copy") : tr("Restore as New Copy (%1)").arg(ticked));
    restore_->setToolTip(ticked == 0 ? tr("All documents and sessions of the checkpoint")
                                     : tr("The ticked documents, without sessions"));
    pin_->setText(shown_ && shown_->header.pinned ? tr("Unpin") : tr("Pin"));
    for (QPushButton* const button : {search_, pin_, rename_, delete_})
        button->setEnabled(shown_.has_value());
    const CheckpointEntry* const entry = model_.entry(table_->currentIndex());
    compare_->setEnabled(entry != nullptr);
    filter_->setEnabled(shown_.has_value());
    table_->setEnabled(shown_.has_value());
}

void CheckpointView::restore()
{
    if (!shown_) {
        say(QString::fromUtf8(SessionError(SessionError::Case::noCheckpointChosen).what()));
        return;
    }
    say({});
    const std::set<Uuid>& ticked = model_.ticked();
    actions_.restoreCheckpoint(shown_->header.id, ticked.empty() ? std::nullopt : std::optional(ticked));
}

void CheckpointView::askForName()
{
    if (!shown_)
        return;
    NamePrompt::ask(this, tr("Rename Checkpoint"), tr("Optional checkpoint name"), tr("Optional checkpoint name"),
                    QString::fromStdString(shown_->header.name.value_or("")), tr("Rename"),
                    [this, id = shown_->header.id](const QString& name) { actions_.renameCheckpoint(id, name); });
}

void CheckpointView::askToDelete()
{
    if (!shown_)
        return;
    auto* const box = new QMessageBox(QMessageBox::NoIcon, tr("Delete Checkpoint"),
                                      tr("Delete “%1”?").arg(checkpointTitle(shown_->header, shown_->isAutomatic)),
                                      QMessageBox::Cancel, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(tr("This cannot be undone. Current work is not touched; texts that only this checkpoint "
                               "keeps may be removed by automatic history cleanup."));
    const QAbstractButton* const confirm = box->addButton(tr("Delete Checkpoint"), QMessageBox::DestructiveRole);
    box->setDefaultButton(QMessageBox::Cancel);
    connect(box, &QMessageBox::buttonClicked, this, [this, id = shown_->header.id, confirm](QAbstractButton* button) {
        if (button == confirm)
            actions_.deleteCheckpoint(id);
    });
    box->open();
}

void CheckpointView::compare()
{
    if (const CheckpointEntry* const entry = model_.entry(table_->currentIndex()))
        emit compareRequested(entry->document, entry->revision);
}

void CheckpointView::search()
{
    if (shown_)
        emit searchRequested(shown_->header.id);
}

void CheckpointView::showTableMenu(QPoint position)
{
    auto* const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    if (model_.entry(table_->indexAt(position)) != nullptr)
        menu->addAction(tr("Compare…"), this, [this] { compare(); });
    if (shown_)
        menu->addAction(tr("Search in This Checkpoint…"), this, [this] { search(); });
    menu->addSeparator();
    menu->addAction(tr("Tick All Shown"), this, [this] { model_.tickShown(true); });
    menu->addAction(tr("Untick All Shown"), this, [this] { model_.tickShown(false); });
    menu->popup(table_->viewport()->mapToGlobal(position));
}

}  // namespace penmark
