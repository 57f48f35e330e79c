// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/commands/CommandPalette.h"

#include "app/commands/CommandList.h"

#include <QAccessible>
#include <QApplication>
#include <QEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPainter>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>

namespace penmark {

namespace {

constexpr int widest = 640;
constexpr int mostRows = 12;

}  // namespace

CommandPalette::CommandPalette(CommandRegistry& registry, ContextProvider context, QWidget& window)
    : QFrame(&window), registry_(registry), context_(std::move(context)), line_(new QLineEdit(this)),
      view_(new QListView(this)), nothing_(new QLabel(tr("No command has such a name."), this)),
      list_(new CommandList(registry, this))
{
    hide();
    setFrameShape(QFrame::NoFrame);
    setAutoFillBackground(true);
    setAccessibleName(tr("Command Palette"));
    line_->setPlaceholderText(tr("Type the name of a command"));
    line_->setAccessibleName(tr("Command"));
    line_->setClearButtonEnabled(true);
    view_->setModel(list_);
    view_->setItemDelegate(new CommandRowPainter(view_));
    view_->setAccessibleName(tr("Commands"));
    view_->setFocusPolicy(Qt::NoFocus);
    view_->setUniformItemSizes(true);
    view_->setFrameShape(QFrame::NoFrame);
    view_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    nothing_->setAlignment(Qt::AlignCenter);
    nothing_->setMargin(12);
    setFocusProxy(line_);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 8);
    layout->setSpacing(6);
    layout->addWidget(line_);
    layout->addWidget(view_);
    layout->addWidget(nothing_);

    line_->installEventFilter(this);
    window.installEventFilter(this);
    connect(line_, &QLineEdit::textChanged, this, [this] { filter(); });
    connect(view_, &QListView::clicked, this, [this] { runCurrent(); });
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, const QWidget* now) {
        // Another window may come to the front for a while; a click elsewhere in this one ends it.
        if (isVisible() && now && now != this && !isAncestorOf(now) && now->window() == this->window()) {
            focusBefore_.clear();
            dismiss();
        }
    });
}

CommandPalette::~CommandPalette() = default;

void CommandPalette::open()
{
    if (!isVisible())
        focusBefore_ = window()->focusWidget();
    line_->clear();
    list_->open(context_());
    filter();
    show();
    raise();
    place();
    line_->setFocus(Qt::ShortcutFocusReason);
}

void CommandPalette::dismiss()
{
    const QPointer<QWidget> before = focusBefore_;
    focusBefore_.clear();
    const bool hadFocus = isAncestorOf(QApplication::focusWidget());
    // The focus first: hiding what has it would pass it on to some neighbour.
    if (before && hadFocus)
        before->setFocus(Qt::PopupFocusReason);
    hide();
}

void CommandPalette::filter()
{
    list_->filter(line_->text());
    const bool some = list_->rowCount() > 0;
    view_->setVisible(some);
    nothing_->setVisible(!some);
    if (some)
        view_->setCurrentIndex(list_->index(0));
    place();
    announceCurrent();
}

void CommandPalette::place()
{
    const QWidget& around = *parentWidget();
    const int width = std::min(widest, around.width() - 32);
    if (list_->rowCount() > 0) {
        const int rows = std::min(mostRows, list_->rowCount());
        view_->setFixedHeight(std::min(rows * view_->sizeHintForRow(0) + 2, std::max(80, around.height() * 2 / 3)));
    }
    layout()->activate();
    setGeometry((around.width() - width) / 2, std::min(64, around.height() / 10), width, layout()->sizeHint().height());
}

// An edge that is seen on dark texts as well.
void CommandPalette::paintEvent(QPaintEvent* event)
{
    QFrame::paintEvent(event);
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

bool CommandPalette::eventFilter(QObject* object, QEvent* event)
{
    if (object == parent()) {
        if (event->type() == QEvent::Resize && isVisible())
            place();
        return false;
    }
    if (event->type() == QEvent::ShortcutOverride) {
        // All keys are the palette's while it has the focus.
        event->accept();
        return false;
    }
    return event->type() == QEvent::KeyPress && handleKey(*static_cast<QKeyEvent*>(event));
}

bool CommandPalette::handleKey(const QKeyEvent& event)
{
    const int page = std::max(1, view_->height() / std::max(1, view_->sizeHintForRow(0)) - 1);
    switch (event.key()) {
    case Qt::Key_Escape:
        dismiss();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        runCurrent();
        return true;
    case Qt::Key_Up:
        move(-1);
        return true;
    case Qt::Key_Down:
        move(1);
        return true;
    case Qt::Key_PageUp:
        move(-page);
        return true;
    case Qt::Key_PageDown:
        move(page);
        return true;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return true;  // there is nowhere to go
    default:
        return false;
    }
}

void CommandPalette::move(int rows)
{
    const int count = list_->rowCount();
    if (count == 0)
        return;
    const int current = view_->currentIndex().row();
    // One step over the edge leads to the other end; a page stops there.
    const int wanted = current + rows;
    const bool wraps = rows == 1 || rows == -1;
    const int row = wraps ? (wanted + count) % count : std::clamp(wanted, 0, count - 1);
    view_->setCurrentIndex(list_->index(row));
    announceCurrent();
}

// The focus stays in the line, so what is chosen in the list is told as the line's description.
void CommandPalette::announceCurrent()
{
    const QModelIndex current = view_->currentIndex();
    line_->setAccessibleDescription(list_->rowCount() > 0 && current.isValid()
                                        ? current.data(Qt::AccessibleTextRole).toString()
                                        : nothing_->text());
}

void CommandPalette::runCurrent()
{
    const QModelIndex current = view_->currentIndex();
    if (list_->rowCount() == 0 || !current.isValid() || current.data(CommandList::reasonRole).isValid())
        return;
    const Command& command = list_->command(current.row());
    registry_.noteUse(command.id);
    dismiss();
    // Not inside the palette's own event: the command may take the window away.
    QTimer::singleShot(0, this, [&registry = registry_, context = context_, &command] {
        CommandContext now = context();
        registry.run(command, now);
    });
}

}  // namespace penmark
