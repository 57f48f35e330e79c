// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/SearchProblems.h"

#include "app/search/HitLine.h"
#include "app/search/SearchTexts.h"
#include "app/sessions/ListEntryDelegate.h"

#include <QAction>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QListView>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

namespace penmark {

ProblemModel::ProblemModel(const SearchController& controller, QObject* parent)
    : QAbstractListModel(parent), controller_(controller), count_(static_cast<int>(controller.report().issues.size()))
{
    connect(&controller, &SearchController::stateChanged, this, &ProblemModel::update);
}

void ProblemModel::update()
{
    const auto now = static_cast<int>(controller_.report().issues.size());
    if (now > count_) {
        beginInsertRows({}, count_, now - 1);
        count_ = now;
        endInsertRows();
    } else if (now < count_) {
        beginResetModel();
        count_ = now;
        endResetModel();
    }
}

int ProblemModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : std::min(count_, static_cast<int>(controller_.report().issues.size()));
}

QString ProblemModel::lineOf(int row) const
{
    const TextSearchIssue& issue = controller_.report().issues[static_cast<std::size_t>(row)];
    const QString sentence = harmlessLine(issue.text);
    return issue.location.empty() ? sentence : harmlessLine(issue.location) + QStringLiteral(": ") + sentence;
}

QVariant ProblemModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const TextSearchIssue& issue = controller_.report().issues[static_cast<std::size_t>(index.row())];
    switch (role) {
    case Qt::DisplayRole:
        return harmlessLine(issue.text);
    case ListEntry::detailRole:
        return harmlessLine(issue.location);
    case Qt::ToolTipRole:
    case Qt::AccessibleTextRole:
        return lineOf(index.row());
    default:
        return {};
    }
}

SearchProblems::SearchProblems(const SearchController& controller, QWidget* parent)
    : QDialog(parent), controller_(controller), model_(new ProblemModel(controller, this)), head_(new QLabel(this)),
      list_(new QListView(this))
{
    setWindowTitle(tr("Search Problems"));
    setAttribute(Qt::WA_DeleteOnClose);
    resize(680, 420);
    head_->setTextFormat(Qt::PlainText);
    head_->setWordWrap(true);
    list_->setModel(model_);
    list_->setItemDelegate(new ListEntryDelegate(list_));
    list_->setUniformItemSizes(true);
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setAccessibleName(tr("Problems"));
    auto* const copyChosen = new QAction(tr("Copy"), list_);
    connect(copyChosen, &QAction::triggered, this, [this] { copy(false); });
    list_->addAction(copyChosen);
    list_->installEventFilter(this);
    list_->setContextMenuPolicy(Qt::ActionsContextMenu);

    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    QPushButton* const copyAll = buttons->addButton(tr("Copy &All"), QDialogButtonBox::ActionRole);
    copyAll->setAutoDefault(false);
    connect(copyAll, &QPushButton::clicked, this, [this] { copy(true); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(head_);
    layout->addWidget(list_, 1);
    layout->addWidget(buttons);
    connect(&controller, &SearchController::stateChanged, this, &SearchProblems::updateHead);
    updateHead();
    list_->setCurrentIndex(model_->index(0));
    list_->setFocus();
}

bool SearchProblems::eventFilter(QObject* object, QEvent* event)
{
    // The list itself would copy one sentence, without its place.
    if (object == list_ && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->matches(QKeySequence::Copy)) {
        copy(false);
        return true;
    }
    return QDialog::eventFilter(object, event);
}

void SearchProblems::updateHead()
{
    const TextSearchReport& report = controller_.report();
    const QString all = problemCount(report.problems);
    head_->setText(report.problems > report.issues.size()
                       ? tr("The first %1 of %2. Results are incomplete.")
                             .arg(QLocale().toString(qulonglong(report.issues.size())), all)
                       : tr("%1. Results are incomplete.").arg(all));
    head_->setVisible(report.problems > 0);
}

void SearchProblems::copy(bool all)
{
    QStringList lines;
    if (all) {
        for (int row = 0; row < model_->rowCount(); ++row)
            lines << model_->lineOf(row);
    } else {
        QModelIndexList chosen = list_->selectionModel()->selectedIndexes();
        std::sort(chosen.begin(), chosen.end());
        for (const QModelIndex& index : chosen)
            lines << model_->lineOf(index.row());
    }
    if (!lines.isEmpty())
        QGuiApplication::clipboard()->setText(lines.join(QLatin1Char('\n')));
}

}  // namespace penmark
