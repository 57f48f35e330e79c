// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/SessionDetails.h"

#include "app/documents/SessionRecords.h"
#include "app/navigator/ListedDate.h"
#include "app/sessions/DocumentPreviews.h"
#include "app/sessions/ElidedLabel.h"
#include "app/sessions/EntryList.h"
#include "app/sessions/SessionActions.h"
#include "app/sessions/SessionTitles.h"

#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>

namespace penmark {

SessionDetails::SessionDetails(SessionRecords& records, SessionActions& actions, DocumentRegistry& documents,
                               DocumentPreviews& previews)
    : records_(records), actions_(actions), documents_(documents), previews_(previews), contents_(documents, previews),
      title_(new ElidedLabel), state_(new ElidedLabel), list_(new EntryList), noteText_(new ElidedLabel),
      noteButton_(new QPushButton), projects_(new ElidedLabel)
{
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * 1.2);
    large.setBold(true);
    title_->setFont(large);
    state_->setForegroundRole(QPalette::PlaceholderText);
    projects_->setForegroundRole(QPalette::PlaceholderText);
    createList();
    createReturnNote();

    auto* const note = new QHBoxLayout;
    note->addWidget(noteText_, 1);
    note->addWidget(noteButton_);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(title_);
    layout->addWidget(state_);
    layout->addWidget(list_, 1);
    layout->addLayout(note);
    layout->addWidget(projects_);
}

void SessionDetails::createList()
{
    list_->setModel(&contents_);
    list_->setAccessibleName(tr("Windows and tabs of the session"));
    list_->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(list_, &QTreeView::activated, this, [this](const QModelIndex& index) { activate(index); });
    connect(list_, &QWidget::customContextMenuRequested, this, [this](QPoint position) { showMenu(position); });
}

void SessionDetails::createReturnNote()
{
    noteButton_->setAutoDefault(false);
    connect(noteButton_, &QPushButton::clicked, this, [this] {
        const PenmarkSession* const session = session_ ? records_.library().sessions.find(*session_) : nullptr;
        if (session == nullptr)
            return;
        if (session->returnNoteID)
            actions_.openReturnNote(session->id);
        else
            actions_.createReturnNote(session->id);
    });
}

void SessionDetails::show(const std::optional<Uuid>& session)
{
    const PenmarkSession* const shown = session ? records_.library().sessions.find(*session) : nullptr;
    session_ = shown != nullptr ? session : std::nullopt;
    setEnabled(shown != nullptr);
    contents_.show(shown);
    noteButton_->setVisible(shown != nullptr);
    if (shown == nullptr) {
        for (QLabel* const label : {title_, state_, noteText_, projects_})
            label->clear();
        return;
    }
    title_->setText(sessionTitle(documents_, *shown));
    QStringList state{shown->isOpen ? tr("Open") : tr("Put aside")};
    if (records_.library().settings.activeSessionID == shown->id)
        state << tr("current session");
    state << tr("made %1").arg(listedDate(shown->createdAt, records_.now()));
    state_->setText(state.join(QStringLiteral(" · ")));
    showReturnNote(*shown);
    showProjects(*shown);
}

void SessionDetails::showReturnNote(const PenmarkSession& session)
{
    noteButton_->setText(session.returnNoteID ? tr("Open Return Note") : tr("Create Return Note"));
    if (!session.returnNoteID) {
        noteText_->setText(tr("No return note"));
        return;
    }
    const QString text = previews_.beginning(*session.returnNoteID);
    noteText_->setText(text.isEmpty() ? documentTitle(documents_, *session.returnNoteID) : text);
}

void SessionDetails::showProjects(const PenmarkSession& session)
{
    QStringList names;
    QStringList paths;
    for (const Uuid& id : session.projectIDs) {
        if (const PenmarkProject* const project = records_.library().projects.find(id)) {
            names << QString::fromStdString(project->name);
            paths << QString::fromStdString(project->path);
        }
    }
    projects_->setVisible(!names.isEmpty());
    projects_->setText(names.size() == 1 ? tr("Project: %1").arg(names.first())
                                         : tr("Projects: %1").arg(names.join(QStringLiteral(", "))));
    projects_->setToolTip(paths.join(QLatin1Char('\n')));
}

void SessionDetails::activate(const QModelIndex& index)
{
    if (const auto* const row = contents_.row(index))
        actions_.showWindow(row->window, row->document);
}

void SessionDetails::showMenu(QPoint position)
{
    const auto* const row = contents_.row(list_->indexAt(position));
    if (row == nullptr || !session_)
        return;
    auto* const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const auto chosen = *row;
    const Uuid session = *session_;
    menu->addAction(chosen.document ? tr("Show Tab") : tr("Show Window"), this,
                    [this, chosen] { actions_.showWindow(chosen.window, chosen.document); });
    if (chosen.document) {
        const PenmarkSession* const now = records_.library().sessions.find(session);
        if (now != nullptr && now->returnNoteID == chosen.document)
            menu->addAction(tr("No Longer Use as Session Return Note"), this,
                            [this, session] { actions_.useAsReturnNote(session, std::nullopt); });
        else
            menu->addAction(tr("Use as Session Return Note"), this,
                            [this, session, chosen] { actions_.useAsReturnNote(session, chosen.document); });
    }
    menu->popup(list_->viewport()->mapToGlobal(position));
}

}  // namespace penmark
