// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/NewSessionDialog.h"

#include "app/documents/DocumentRegistry.h"
#include "app/documents/SessionRecords.h"
#include "app/sessions/CheckpointDaysModel.h"
#include "app/sessions/ListEntryDelegate.h"
#include "app/sessions/OrganiserPage.h"
#include "app/sessions/SessionTitles.h"
#include "organization/CheckpointStore.h"
#include "organization/SessionError.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace penmark {

namespace {

constexpr int kindRole = Qt::UserRole + 101;
constexpr int starterRole = Qt::UserRole + 102;
constexpr qsizetype titleLimit = 60;  // characters of a title in a list that opens

void addSession(QComboBox& list, const QString& title, const Uuid& id)
{
    const QString shown = title.size() > titleLimit ? title.left(titleLimit) + QStringLiteral("…") : title;
    list.addItem(shown, QByteArray::fromStdString(id.text()));
}

std::optional<Uuid> chosenIn(const QComboBox& list)
{
    return Uuid::parse(list.currentData().toByteArray().toStdString());
}

}  // namespace

NewSessionDialog::NewSessionDialog(QWidget* parent, SessionRecords& records, DocumentRegistry& documents,
                                   LibraryQueue& library, std::vector<SessionStarter> starters)
    : QDialog(parent), records_(records), documents_(documents), library_(library), starters_(std::move(starters)),
      name_(new QLineEdit), parents_(new QComboBox), starts_(new QListWidget), folderRow_(new QWidget),
      folder_(new QLineEdit), checkpoints_(new QComboBox), sessions_(new QComboBox),
      notice_(OrganiserPage::makeNote({}, false))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("New Session"));
    name_->setPlaceholderText(tr("Optional; without a name it is shown by what is in it"));
    for (QComboBox* const list : {parents_, checkpoints_, sessions_}) {
        list->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        list->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    }
    createStarts(starters_);
    auto* const form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form->addRow(tr("Name"), name_);
    form->addRow(tr("Nested in"), parents_);
    name_->setAccessibleName(tr("Name"));
    parents_->setAccessibleName(tr("Nested in"));
    auto* const startLabel = new QLabel(tr("Start with"));
    startLabel->setBuddy(starts_);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    QPushButton* const create = buttons->addButton(tr("Create"), QDialogButtonBox::AcceptRole);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { accept(); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* const layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addSpacing(4);
    layout->addWidget(startLabel);
    layout->addWidget(starts_, 1);
    layout->addWidget(createExtras());
    layout->addWidget(notice_);
    layout->addSpacing(4);
    layout->addWidget(buttons);
    fillSessions();
    connect(starts_, &QListWidget::currentRowChanged, this, [this] { showExtras(); });
    starts_->setCurrentRow(0);
    showExtras();
    resize(fontMetrics().averageCharWidth() * 76, 560);
    create->setDefault(true);  // in the dialog by now, else Cancel would be
    name_->setFocus();
}

void NewSessionDialog::createStarts(const std::vector<SessionStarter>& starters)
{
    starts_->setAccessibleName(tr("Start with"));
    starts_->setItemDelegate(new ListEntryDelegate(starts_));
    starts_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    starts_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    addStart(Kind::empty, tr("Empty"), tr("A window with a new draft"));
    addStart(Kind::notes, tr("Notes"), tr("One draft for notes"));
    addStart(Kind::projectFolder, tr("Project folder"), tr("A folder whose files are worked on in place"));
    addStart(Kind::writing, tr("Writing"), tr("A Markdown draft"));
    addStart(Kind::logReview, tr("Log review"), tr("A folder of logs"));
    addStart(Kind::checkpoint, tr("From checkpoint…"), tr("Copies of what was there at an earlier moment"));
    addStart(Kind::layoutOf, tr("From an existing session’s layout"), tr("Its windows and tabs, with new drafts"));
    for (std::size_t at = 0; at < starters.size(); ++at) {
        std::size_t drafts = 0;
        for (const StarterWindow& window : starters[at].windows)
            drafts += window.drafts.size();
        addStart(Kind::starter, QString::fromStdString(starters[at].name),
                 tr("Your starter · windows: %1, drafts: %2, projects: %3")
                     .arg(starters[at].windows.size())
                     .arg(drafts)
                     .arg(starters[at].projects.size()),
                 static_cast<int>(at));
    }
}

void NewSessionDialog::addStart(Kind kind, const QString& title, const QString& detail, int starter)
{
    auto* const item = new QListWidgetItem(title, starts_);
    item->setData(ListEntry::detailRole, detail);
    item->setData(Qt::AccessibleDescriptionRole, detail);
    item->setData(kindRole, static_cast<int>(kind));
    item->setData(starterRole, starter);
}

QWidget* NewSessionDialog::createExtras()
{
    auto* const extras = new QWidget;
    auto* const layout = new QVBoxLayout(extras);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* const row = new QHBoxLayout(folderRow_);
    row->setContentsMargins(0, 0, 0, 0);
    folder_->setPlaceholderText(tr("Folder"));
    folder_->setAccessibleName(tr("Folder"));
    row->addWidget(folder_, 1);
    connect(OrganiserPage::addButton(*row, tr("Choose Folder…")), &QPushButton::clicked, this,
            [this] { browse(false); });
    checkpoints_->setAccessibleName(tr("Checkpoint"));
    sessions_->setAccessibleName(tr("Session whose layout is taken"));
    layout->addWidget(folderRow_);
    layout->addWidget(checkpoints_);
    layout->addWidget(sessions_);
    return extras;
}

void NewSessionDialog::fillSessions()
{
    parents_->addItem(tr("No session"));
    for (const PenmarkSession& session : records_.library().sessions) {
        const QString title = sessionTitle(documents_, session);
        if (session.isOpen)
            addSession(*parents_, title, session.id);
        addSession(*sessions_, title, session.id);
    }
    if (const auto& active = records_.library().settings.activeSessionID)
        sessions_->setCurrentIndex(std::max(0, sessions_->findData(QByteArray::fromStdString(active->text()))));
}

void NewSessionDialog::setParentSession(const std::optional<Uuid>& session)
{
    const int found = session ? parents_->findData(QByteArray::fromStdString(session->text())) : 0;
    parents_->setCurrentIndex(std::max(0, found));
}

void NewSessionDialog::readCheckpoints()
{
    if (std::exchange(checkpointsAsked_, true))
        return;
    checkpoints_->addItem(tr("Reading…"));
    library_.read(
        this, [](RecoveryStore& store) { return CheckpointStore(store).headers().headers; },
        [this](const std::vector<CheckpointHeader>& headers) {
            checkpoints_->clear();
            for (const CheckpointHeader& header : headers) {
                const QString date = QString::fromStdString(header.createdAt.localText().substr(0, 16));
                addSession(*checkpoints_, date + QStringLiteral(" · ") + checkpointTitle(header, !header.pinned),
                           header.id);
            }
            if (headers.empty())
                checkpoints_->addItem(tr("The first checkpoint is taken today."));
        },
        [this](const RecoveryError& error) { say(QString::fromUtf8(error.what())); });
}

void NewSessionDialog::showExtras()
{
    folderRow_->setVisible(needsFolder());
    checkpoints_->setVisible(kind() == Kind::checkpoint);
    sessions_->setVisible(kind() == Kind::layoutOf);
    if (kind() == Kind::checkpoint)
        readCheckpoints();
    say({});
}

void NewSessionDialog::say(const QString& sentence)
{
    notice_->setText(sentence);
    notice_->setVisible(!sentence.isEmpty());
}

NewSessionDialog::Kind NewSessionDialog::kind() const
{
    const QListWidgetItem* const item = starts_->currentItem();
    return item != nullptr ? static_cast<Kind>(item->data(kindRole).toInt()) : Kind::empty;
}

SessionStart NewSessionDialog::start() const
{
    SessionStart start;
    start.name = name_->text().trimmed().toStdString();
    start.parent = chosenIn(*parents_);
    start.kind = kind();
    if (needsFolder())
        start.folder = QFile::encodeName(folder_->text()).toStdString();
    if (start.kind == Kind::checkpoint)
        start.checkpoint = chosenIn(*checkpoints_);
    if (start.kind == Kind::layoutOf)
        start.session = chosenIn(*sessions_);
    if (start.kind == Kind::starter)
        start.starter = starters_.at(static_cast<std::size_t>(starts_->currentItem()->data(starterRole).toInt()));
    return start;
}

void NewSessionDialog::browse(bool createsThen)
{
    auto* const dialog = new QFileDialog(this, tr("Choose Folder"), folder_->text());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    connect(dialog, &QFileDialog::fileSelected, this, [this, createsThen](const QString& folder) {
        folder_->setText(folder);
        if (createsThen)
            accept();
    });
    dialog->open();
}

void NewSessionDialog::accept()
{
    const SessionStart filled = start();
    if (needsFolder() && filled.folder.empty()) {
        browse(true);
        return;
    }
    if (needsFolder() && !filled.folder.is_absolute()) {
        say(QString::fromUtf8(SessionError(SessionError::Case::noProjectFolder).what()));
        return;
    }
    if (filled.kind == Kind::checkpoint && !filled.checkpoint) {
        say(QString::fromUtf8(SessionError(SessionError::Case::noCheckpointChosen).what()));
        return;
    }
    if (filled.kind == Kind::layoutOf && !filled.session) {
        say(QString::fromUtf8(SessionError(SessionError::Case::sessionGone).what()));
        return;
    }
    emit chosen(filled);
    QDialog::accept();
}

}  // namespace penmark
