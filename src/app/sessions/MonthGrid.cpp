// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/MonthGrid.h"

#include "app/sessions/ListEntryDelegate.h"

#include <QAbstractTableModel>
#include <QBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QToolButton>

namespace penmark {

namespace {

constexpr int weeks = 6;  // that a month can touch
constexpr int daysOfWeek = 7;

/// Without a language chosen the names are those of the texts around.
QLocale shownLocale()
{
    const QLocale locale;
    return locale.language() == QLocale::C ? QLocale(QLocale::English, QLocale::UnitedKingdom) : locale;
}

}  // namespace

/// The days of the weeks that a month touches.
class MonthModel final : public QAbstractTableModel {
public:
    explicit MonthModel(QDate today) : today_(today) { setMonth(today); }

    void setMonth(QDate day)
    {
        const QDate first(day.year(), day.month(), 1);
        const int before = (first.dayOfWeek() - shownLocale().firstDayOfWeek() + daysOfWeek) % daysOfWeek;
        if (const QDate start = first.addDays(-before); start != start_ || first != month_) {
            start_ = start;
            month_ = first;
            tellChanged();
        }
    }
    void setToday(QDate today)
    {
        today_ = today;
        tellChanged();
    }
    void setMarks(MonthGrid::Marks marks)
    {
        marks_ = std::move(marks);
        tellChanged();
    }

    QDate dayAt(const QModelIndex& index) const { return start_.addDays(index.row() * daysOfWeek + index.column()); }
    QModelIndex indexOf(QDate day) const
    {
        const auto at = static_cast<int>(start_.daysTo(day));
        return index(at / daysOfWeek, at % daysOfWeek);
    }
    MonthGrid::Mark markOf(QDate day) const
    {
        const auto found = marks_.find(day);
        return found == marks_.end() ? MonthGrid::Mark() : found->second;
    }
    bool isOfMonth(QDate day) const { return day.month() == month_.month(); }
    QDate month() const { return month_; }
    QDate today() const { return today_; }

    int rowCount(const QModelIndex& parent) const override { return parent.isValid() ? 0 : weeks; }
    int columnCount(const QModelIndex& parent) const override { return parent.isValid() ? 0 : daysOfWeek; }
    QVariant data(const QModelIndex& index, int role) const override
    {
        if (!index.isValid())
            return {};
        if (role == Qt::DisplayRole)
            return dayAt(index).day();
        if (role == Qt::AccessibleTextRole || role == Qt::ToolTipRole)
            return spokenText(dayAt(index));
        return {};
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override
    {
        if (orientation != Qt::Horizontal || (role != Qt::DisplayRole && role != Qt::AccessibleTextRole))
            return {};
        const int day = (shownLocale().firstDayOfWeek() - 1 + section) % daysOfWeek + 1;
        return shownLocale().standaloneDayName(day,
                                               role == Qt::DisplayRole ? QLocale::NarrowFormat : QLocale::LongFormat);
    }

private:
    QString spokenText(QDate day) const
    {
        QStringList parts{shownLocale().toString(day, MonthGrid::tr("dddd d MMMM yyyy"))};
        if (day == today_)
            parts << MonthGrid::tr("today");
        const MonthGrid::Mark mark = markOf(day);
        if (mark.visits > 0)
            parts << (mark.visits == 1 ? MonthGrid::tr("1 visit") : MonthGrid::tr("%1 visits").arg(mark.visits));
        if (mark.checkpoints > 0)
            parts << (mark.checkpoints == 1 ? MonthGrid::tr("1 checkpoint")
                                            : MonthGrid::tr("%1 checkpoints").arg(mark.checkpoints));
        if (mark.pinned)
            parts << MonthGrid::tr("pinned");
        return parts.join(QStringLiteral(", "));
    }
    void tellChanged() { emit dataChanged(index(0, 0), index(weeks - 1, daysOfWeek - 1)); }

    QDate today_;
    QDate month_;
    QDate start_;
    MonthGrid::Marks marks_;
};

namespace {

class DayDelegate final : public QStyledItemDelegate {
public:
    DayDelegate(const MonthModel& model, QObject* parent) : QStyledItemDelegate(parent), model_(model) {}

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const QDate day = model_.dayAt(index);
        const MonthGrid::Mark mark = model_.markOf(day);
        const bool isSelected = option.state & QStyle::State_Selected;
        const QColor accent = option.palette.color(QPalette::Active, QPalette::Highlight);
        QColor text = option.palette.color(QPalette::Active, isSelected              ? QPalette::HighlightedText
                                                             : model_.isOfMonth(day) ? QPalette::Text
                                                                                     : QPalette::PlaceholderText);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const QRectF cell = QRectF(option.rect).adjusted(1.5, 1.5, -1.5, -1.5);
        if (isSelected || day == model_.today()) {
            painter->setPen(isSelected ? QPen(Qt::NoPen) : QPen(accent, 1.2));
            painter->setBrush(isSelected ? QBrush(accent) : QBrush(Qt::NoBrush));
            painter->drawRoundedRect(cell, 5, 5);
        }
        QFont font = option.font;
        font.setBold(day == model_.today());
        painter->setFont(font);
        painter->setPen(text);
        const double dotSide = option.rect.height() * 0.2;
        painter->drawText(cell.adjusted(0, 0, 0, -dotSide), Qt::AlignCenter, QString::number(day.day()));
        const auto dot = mark.pinned                          ? ListEntry::Dot::pinned
                         : mark.checkpoints + mark.visits > 0 ? ListEntry::Dot::moment
                                                              : ListEntry::Dot::none;
        paintDot(*painter, dot, {cell.center().x(), cell.bottom() - dotSide}, dotSide, isSelected ? text : accent,
                 text);
        painter->restore();
    }

private:
    const MonthModel& model_;
};

}  // namespace

MonthGrid::MonthGrid(QDate today)
    : model_(std::make_unique<MonthModel>(today)), table_(new QTableView), month_(new QLabel), day_(today)
{
    auto* const header = new QWidget;
    createHeader(*header);
    table_->setModel(model_.get());
    table_->setItemDelegate(new DayDelegate(*model_, table_));
    table_->setAccessibleName(tr("Days of the month"));
    table_->setSelectionMode(QAbstractItemView::SingleSelection);
    table_->setShowGrid(false);
    table_->setFrameShape(QFrame::NoFrame);
    table_->setTabKeyNavigation(false);
    table_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    table_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    table_->verticalHeader()->hide();
    table_->verticalHeader()->setMinimumSectionSize(0);
    table_->horizontalHeader()->setMinimumSectionSize(0);
    table_->horizontalHeader()->setSectionsClickable(false);
    table_->horizontalHeader()->setHighlightSections(false);
    const int side = fontMetrics().height() * 2;
    table_->horizontalHeader()->setDefaultSectionSize(side);
    table_->verticalHeader()->setDefaultSectionSize(side);
    table_->setFixedSize(side * daysOfWeek, side * weeks + table_->horizontalHeader()->sizeHint().height());
    table_->installEventFilter(this);
    connect(table_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex& index) {
        if (!updating_ && index.isValid())
            choose(model_->dayAt(index));
    });
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(header);
    layout->addWidget(table_);
    setFixedWidth(table_->width());
    setFocusProxy(table_);
    setDay(today);
}

MonthGrid::~MonthGrid()
{
    delete table_;  // before what it shows
}

void MonthGrid::createHeader(QWidget& header)
{
    auto* const row = new QHBoxLayout(&header);
    row->setContentsMargins(0, 0, 0, 0);
    const auto addButton = [&](Qt::ArrowType arrow, const QString& text, int months) {
        auto* const button = new QToolButton;
        button->setArrowType(arrow);
        button->setAutoRaise(true);
        button->setToolTip(text);
        button->setAccessibleName(text);
        row->addWidget(button);
        connect(button, &QToolButton::clicked, this, [this, months] { choose(day_.addMonths(months)); });
    };
    QFont bold = font();
    bold.setBold(true);
    month_->setFont(bold);
    month_->setAlignment(Qt::AlignCenter);
    addButton(Qt::LeftArrow, tr("Previous Month"), -1);
    row->addWidget(month_, 1);
    addButton(Qt::RightArrow, tr("Next Month"), 1);
}

void MonthGrid::setToday(QDate today)
{
    if (today == model_->today())
        return;
    const bool follows = day_ == model_->today();
    model_->setToday(today);
    if (follows)
        setDay(today);
}

void MonthGrid::setMarks(Marks marks)
{
    model_->setMarks(std::move(marks));
}

void MonthGrid::setDay(QDate day)
{
    updating_ = true;
    day_ = day;
    model_->setMonth(day);
    month_->setText(shownLocale().toString(day, tr("MMMM yyyy")));
    table_->selectionModel()->setCurrentIndex(model_->indexOf(day), QItemSelectionModel::ClearAndSelect);
    updating_ = false;
}

void MonthGrid::choose(QDate day)
{
    setDay(day);
    emit dayChosen(day);
}

/// The table knows no days beyond its cells, so the keys that lead there are taken before it sees them.
bool MonthGrid::eventFilter(QObject* object, QEvent* event)
{
    if (object != table_ || event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(object, event);
    const auto& key = static_cast<QKeyEvent&>(*event);
    if (key.modifiers() & (Qt::ControlModifier | Qt::AltModifier))
        return false;
    const int forward = layoutDirection() == Qt::RightToLeft ? -1 : 1;
    switch (key.key()) {
    case Qt::Key_Left:
        choose(day_.addDays(-forward));
        return true;
    case Qt::Key_Right:
        choose(day_.addDays(forward));
        return true;
    case Qt::Key_Up:
        choose(day_.addDays(-daysOfWeek));
        return true;
    case Qt::Key_Down:
        choose(day_.addDays(daysOfWeek));
        return true;
    case Qt::Key_PageUp:
        choose(day_.addMonths(-1));
        return true;
    case Qt::Key_PageDown:
        choose(day_.addMonths(1));
        return true;
    case Qt::Key_Home:
        choose(model_->month());
        return true;
    case Qt::Key_End:
        choose(model_->month().addMonths(1).addDays(-1));
        return true;
    default:
        return false;
    }
}

}  // namespace penmark
