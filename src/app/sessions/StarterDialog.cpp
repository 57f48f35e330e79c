// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/StarterDialog.h"

#include "app/documents/DocumentRegistry.h"
#include "app/documents/SessionRecords.h"
#include "app/sessions/SessionTitles.h"
#include "organization/SessionError.h"
#include "organization/Sessions.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace penmark {

StarterDialog::StarterDialog(QWidget* parent, SessionRecords& records, DocumentRegistry& documents, const Uuid& session,
                             std::set<std::string> taken)
    : QDialog(parent), records_(records), documents_(documents), session_(session), taken_(std::move(taken)),
      name_(new QLineEdit), texts_(new QCheckBox(tr("With the texts of its drafts"))), note_(new QLabel)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Save Session as Starter"));
    auto* const label = new QLabel(tr("Name of the starter"));
    label->setBuddy(name_);
    name_->setAccessibleName(label->text());
    name_->setMinimumWidth(fontMetrics().averageCharWidth() * 48);
    note_->setWordWrap(true);
    note_->setForegroundRole(QPalette::PlaceholderText);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    save_ = buttons->addButton(tr("Save Starter"), QDialogButtonBox::AcceptRole);
    auto* const layout = new QVBoxLayout(this);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addWidget(label);
    layout->addWidget(name_);
    layout->addWidget(texts_);
    layout->addWidget(note_);
    layout->addSpacing(6);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { accept(); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(name_, &QLineEdit::textChanged, this, [this] { showState(); });
    if (const PenmarkSession* const found = records_.library().sessions.find(session_))
        name_->setText(sessionTitle(documents_, *found));
    save_->setDefault(true);  // in the dialog by now, else Cancel would be
    name_->selectAll();
    name_->setFocus();
    showState();
}

void StarterDialog::showState()
{
    const std::string name = name_->text().trimmed().toStdString();
    save_->setEnabled(!name.empty());
    note_->setText(taken_.contains(name) ? tr("Replaces the starter of this name.")
                                         : tr("Keeps the windows, their layout and the projects of the session."));
}

void StarterDialog::accept()
{
    const PenmarkSession* const session = records_.library().sessions.find(session_);
    if (session == nullptr) {
        note_->setText(QString::fromUtf8(SessionError(SessionError::Case::sessionGone).what()));
        return;
    }
    const bool withTexts = texts_->isChecked();
    std::map<Uuid, StarterDraft> drafts;
    std::vector<Uuid> others;
    for (const Uuid& document : documentsOf(*session)) {
        if (const RecoveryBuffer* const buffer = documents_.find(document))
            drafts.emplace(document, starterDraftOf(*buffer, withTexts));
        else
            others.push_back(document);
    }
    if (others.empty()) {
        finish(drafts);
        return;
    }
    save_->setEnabled(false);
    records_.queue().read(
        this,
        [others = std::move(others), drafts = std::move(drafts), withTexts](RecoveryStore& store) mutable {
            for (const Uuid& document : others)
                drafts.emplace(document, readStarterDraft(store, document, withTexts));
            return std::move(drafts);
        },
        [this](const std::map<Uuid, StarterDraft>& all) { finish(all); },
        [this](const RecoveryError& error) {
            save_->setEnabled(true);
            note_->setText(QString::fromUtf8(error.what()));
        });
}

void StarterDialog::finish(const std::map<Uuid, StarterDraft>& drafts)
{
    const PenmarkSession* const session = records_.library().sessions.find(session_);
    if (session == nullptr) {
        note_->setText(QString::fromUtf8(SessionError(SessionError::Case::sessionGone).what()));
        return;
    }
    emit made(starterOf(records_.library(), *session, name_->text().trimmed().toStdString(), drafts));
    QDialog::accept();
}

}  // namespace penmark
