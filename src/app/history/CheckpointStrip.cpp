// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/CheckpointStrip.h"

#include "app/editor/Strings.h"
#include "app/history/VersionModel.h"
#include "app/sessions/SessionActions.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QToolButton>
#include <utility>

namespace penmark {

CheckpointStrip::CheckpointStrip(SessionActions& actions, QWidget* parent)
    : QWidget(parent), actions_(actions), label_(new QLabel(this)), name_(new QLineEdit(this)),
      button_(new QToolButton(this)), menu_(new QMenu(this))
{
    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(label_, 1);
    layout->addWidget(name_, 1);
    layout->addWidget(button_);
    label_->setTextFormat(Qt::PlainText);
    label_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    name_->setAccessibleName(tr("Name of the checkpoint"));
    name_->setPlaceholderText(tr("Name of the checkpoint"));
    name_->installEventFilter(this);
    name_->hide();
    connect(name_, &QLineEdit::returnPressed, this, [this] { finishRenaming(true); });
    button_->setText(tr("Checkpoint"));
    button_->setAccessibleName(tr("Change the checkpoints of this version"));
    button_->setPopupMode(QToolButton::InstantPopup);
    button_->setFocusPolicy(Qt::StrongFocus);
    button_->setMenu(menu_);
    connect(menu_, &QMenu::aboutToShow, this, qOverload<>(&CheckpointStrip::fillMenu));
    hide();
}

void CheckpointStrip::setCheckpoints(const std::vector<CheckpointHeader>& checkpoints)
{
    if (checkpoints == checkpoints_)
        return;
    finishRenaming(false);
    checkpoints_ = checkpoints;
    QStringList names;
    for (const CheckpointHeader& checkpoint : checkpoints_) {
        if (const QString title = checkpointTitle(checkpoint); !names.contains(title))
            names << title;
    }
    constexpr qsizetype most = 4;
    QString text = names.mid(0, most).join(QStringLiteral(", "));
    if (names.size() > most)
        text = tr("%1, +%2").arg(text).arg(names.size() - most);
    label_->setText(tr("Kept by: %1").arg(text));
    setVisible(!checkpoints_.empty());
}

void CheckpointStrip::setPermitsChanges(bool permits)
{
    button_->setEnabled(permits);
}

void CheckpointStrip::fillMenu()
{
    menu_->clear();
    if (checkpoints_.size() == 1) {
        fillMenu(*menu_, checkpoints_.front());
        return;
    }
    for (const CheckpointHeader& checkpoint : checkpoints_) {
        const QString title = checkpointTitle(checkpoint).replace(QLatin1Char('&'), QStringLiteral("&&"));
        fillMenu(*menu_->addMenu(title), checkpoint);
    }
}

void CheckpointStrip::fillMenu(QMenu& menu, const CheckpointHeader& checkpoint)
{
    menu.addAction(tr("Rename…"), this, [this, checkpoint] { beginRenaming(checkpoint); });
    menu.addAction(checkpoint.pinned ? tr("Unpin") : tr("Pin"), this,
                   [this, checkpoint] { actions_.setPinned(checkpoint.id, !checkpoint.pinned); });
    if (checkpoint.document)
        menu.addAction(tr("Remove Checkpoint"), this, [this, checkpoint] { actions_.deleteCheckpoint(checkpoint.id); });
}

void CheckpointStrip::beginRenaming(const CheckpointHeader& checkpoint)
{
    renamed_ = checkpoint;
    name_->setText(toQString(checkpoint.name.value_or(std::string())));
    name_->selectAll();
    label_->hide();
    button_->hide();
    name_->show();
    name_->setFocus();
}

void CheckpointStrip::finishRenaming(bool takes)
{
    if (!renamed_)
        return;
    const CheckpointHeader checkpoint = *std::exchange(renamed_, std::nullopt);
    label_->show();
    button_->show();
    if (name_->hasFocus())
        button_->setFocus();
    name_->hide();
    if (takes && name_->text().trimmed() != toQString(checkpoint.name.value_or(std::string())))
        actions_.renameCheckpoint(checkpoint.id, name_->text().trimmed());
}

bool CheckpointStrip::eventFilter(QObject* object, QEvent* event)
{
    if (event->type() == QEvent::FocusOut && static_cast<QFocusEvent*>(event)->reason() != Qt::PopupFocusReason)
        finishRenaming(true);
    if (event->type() == QEvent::ShortcutOverride || event->type() == QEvent::KeyPress) {
        auto* const key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Escape && event->type() == QEvent::KeyPress) {
            finishRenaming(false);
            return true;
        }
    }
    return QWidget::eventFilter(object, event);
}

}  // namespace penmark
