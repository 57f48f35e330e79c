// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/TargetPicker.h"

#include "app/search/HitLine.h"
#include "app/sessions/ListEntryDelegate.h"

#include <QFrame>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListView>
#include <QScreen>
#include <QVBoxLayout>
#include <algorithm>

namespace penmark {

void TargetModel::setTargets(std::vector<SearchTarget> targets)
{
    beginResetModel();
    targets_ = std::move(targets);
    shown_ = matches();
    endResetModel();
}

void TargetModel::setFilter(const QString& words)
{
    beginResetModel();
    words_ = words;
    shown_ = matches();
    endResetModel();
}

std::vector<std::size_t> TargetModel::matches() const
{
    const QStringList words = words_.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    std::vector<std::size_t> found;
    for (std::size_t place = 0; place < targets_.size(); ++place) {
        const SearchTarget& target = targets_[place];
        if (std::all_of(words.begin(), words.end(), [&](const QString& word) {
                return target.title.contains(word, Qt::CaseInsensitive) ||
                       target.detail.contains(word, Qt::CaseInsensitive);
            }))
            found.push_back(place);
    }
    return found;
}

QModelIndex TargetModel::indexOf(const Uuid& id) const
{
    const auto found =
        std::find_if(shown_.begin(), shown_.end(), [&](std::size_t place) { return targets_[place].id == id; });
    return found == shown_.end() ? QModelIndex() : index(static_cast<int>(found - shown_.begin()));
}

int TargetModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

QVariant TargetModel::data(const QModelIndex& index, int role) const
{
    switch (role) {
    case Qt::DisplayRole:
        return target(index).title;
    case ListEntry::detailRole:
        return target(index).detail;
    case Qt::AccessibleTextRole:
        return target(index).detail.isEmpty() ? target(index).title
                                              : target(index).title + QStringLiteral(", ") + target(index).detail;
    default:
        return {};
    }
}

TargetPicker::TargetPicker(SearchTargets& targets) : targets_(targets), model_(new TargetModel(this))
{
    setAutoDefault(false);
    connect(this, &QPushButton::clicked, this, &TargetPicker::open);
}

void TargetPicker::setChosen(TextScopeKind kind, const std::optional<Uuid>& id, const QString& title)
{
    kind_ = kind;
    id_ = id;
    title_ = title;
    const QString shown = title.isEmpty() ? tr("Choose…") : title;
    QString label = fontMetrics().elidedText(shown, Qt::ElideRight, fontMetrics().averageCharWidth() * 32);
    setText(label.replace(QLatin1Char('&'), QStringLiteral("&&")));
    setToolTip(title);
    setAccessibleName(tr("Target: %1").arg(shown));
}

QSize TargetPicker::sizeHint() const
{
    return QPushButton::sizeHint().expandedTo({fontMetrics().averageCharWidth() * 16, 0});
}

QSize TargetPicker::minimumSizeHint() const
{
    return {fontMetrics().averageCharWidth() * 10, QPushButton::minimumSizeHint().height()};
}

void TargetPicker::createPopup()
{
    auto* const frame = new QFrame(this, Qt::Popup);
    frame->setFrameStyle(QFrame::StyledPanel | QFrame::Plain);
    popup_ = frame;
    auto* const layout = new QVBoxLayout(frame);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->setSpacing(4);
    filter_ = new QLineEdit(frame);
    filter_->setPlaceholderText(tr("Filter"));
    filter_->setAccessibleName(tr("Filter targets"));
    filter_->setClearButtonEnabled(true);
    filter_->installEventFilter(this);
    layout->addWidget(filter_);
    list_ = new QListView(frame);
    list_->setModel(model_);
    list_->setItemDelegate(new ListEntryDelegate(list_));
    list_->setUniformItemSizes(true);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list_->setFocusPolicy(Qt::NoFocus);
    list_->setMouseTracking(true);
    list_->setFrameShape(QFrame::NoFrame);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setAccessibleName(tr("Targets"));
    layout->addWidget(list_);
    connect(filter_, &QLineEdit::textChanged, this, [this](const QString& words) {
        model_->setFilter(words);
        list_->setCurrentIndex(model_->index(0));
    });
    connect(list_, &QListView::clicked, this, &TargetPicker::take);
}

void TargetPicker::open()
{
    if (!popup_)
        createPopup();
    filter_->clear();
    model_->setTargets({});
    // Seen before the answer, so that what is typed meanwhile is not lost.
    place();
    targets_.list(kind_, this, [this, request = ++request_](std::vector<SearchTarget> targets) {
        if (request != request_ || !popup_->isVisible())
            return;
        for (SearchTarget& target : targets) {
            target.title = harmlessLine(target.title.toStdString());
            target.detail = harmlessLine(target.detail.toStdString());
        }
        model_->setTargets(std::move(targets));
        const QModelIndex current = id_ ? model_->indexOf(*id_) : QModelIndex();
        list_->setCurrentIndex(current.isValid() ? current : model_->index(0));
    });
}

void TargetPicker::place()
{
    const QSize size(std::max(width(), fontMetrics().averageCharWidth() * 48), fontMetrics().height() * 20);
    const QRect available = screen()->availableGeometry();
    const QRect button(mapToGlobal(QPoint(0, 0)), QWidget::size());
    QRect rect(QPoint(isRightToLeft() ? button.right() + 1 - size.width() : button.left(), button.bottom() + 1), size);
    if (rect.bottom() > available.bottom() && button.top() - size.height() >= available.top())
        rect.moveBottom(button.top() - 1);
    rect.moveLeft(std::max(available.left(), std::min(rect.left(), available.right() + 1 - rect.width())));
    popup_->setGeometry(rect);
    popup_->show();
    filter_->setFocus();
}

void TargetPicker::take(const QModelIndex& index)
{
    if (!index.isValid())
        return;
    const Uuid id = model_->target(index).id;
    popup_->hide();
    emit chosen(id);
}

bool TargetPicker::eventFilter(QObject* object, QEvent* event)
{
    if (object == filter_ && event->type() == QEvent::KeyPress && takeKey(*static_cast<QKeyEvent*>(event)))
        return true;
    return QPushButton::eventFilter(object, event);
}

bool TargetPicker::takeKey(const QKeyEvent& event)
{
    switch (event.key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown: {
        const int page = std::max(1, list_->viewport()->height() / std::max(1, list_->sizeHintForRow(0)) - 1);
        const bool isPage = event.key() == Qt::Key_PageUp || event.key() == Qt::Key_PageDown;
        const bool isUp = event.key() == Qt::Key_Up || event.key() == Qt::Key_PageUp;
        const int row = list_->currentIndex().row() + (isUp ? -1 : 1) * (isPage ? page : 1);
        list_->setCurrentIndex(model_->index(std::clamp(row, 0, std::max(0, model_->rowCount() - 1))));
        return true;
    }
    case Qt::Key_Return:
    case Qt::Key_Enter:
        take(list_->currentIndex());
        return true;
    case Qt::Key_Escape:
        popup_->hide();
        return true;
    default:
        return false;
    }
}

}  // namespace penmark
