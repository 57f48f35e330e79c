// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/NavigatorView.h"

#include "app/navigator/NavigatorDelegate.h"
#include "app/navigator/ProjectSection.h"

#include <QActionGroup>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QToolButton>
#include <QVBoxLayout>
#include <utility>

namespace penmark {
namespace {

using Order = DocumentCatalog::Order;

Order orderOf(const QString& word)
{
    if (word == QLatin1String("title"))
        return Order::title;
    return word == QLatin1String("created") ? Order::created : Order::recent;
}

QString wordOf(Order order)
{
    switch (order) {
    case Order::title:
        return QStringLiteral("title");
    case Order::created:
        return QStringLiteral("created");
    case Order::recent:
        break;
    }
    return QStringLiteral("recent");
}

/// Shows three lines that get shorter, in the colour of text: no theme of icons need be there.
class MenuButton final : public QToolButton {
public:
    using QToolButton::QToolButton;

protected:
    void paintEvent(QPaintEvent* event) override
    {
        QToolButton::paintEvent(event);
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const double unit = fontMetrics().height() / 16.0;
        painter.setPen(QPen(palette().color(QPalette::ButtonText), 1.4 * unit, Qt::SolidLine, Qt::RoundCap));
        const QPointF center = QRectF(rect()).center();
        for (int line = -1; line <= 1; ++line) {
            const double half = (6 - 2 * (line + 1)) * unit;
            const double y = center.y() + line * 4 * unit;
            painter.drawLine(QPointF(center.x() - half, y), QPointF(center.x() + half, y));
        }
    }
    QSize sizeHint() const override
    {
        const int side = fontMetrics().height() * 3 / 2;
        return {side, side};
    }
};

}  // namespace

NavigatorView::NavigatorView(DocumentHeaders& headers, QWidget* parent)
    : QWidget(parent), headers_(headers), model_(headers)
{
    setAccessibleName(tr("Library"));
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    createFilter();
    createTree();
    createPage();
    undo_ = new UndoStrip(this);
    column->addWidget(undo_);
    connect(undo_, &UndoStrip::undoRequested, this, &NavigatorView::undoDiscardRequested);
    connect(undo_, &UndoStrip::closed, this, [this](bool hadFocus) {
        if (hadFocus)
            tree_->enter();
    });
    patience_.setSingleShot(true);
    patience_.setInterval(200);
    connect(&patience_, &QTimer::timeout, this, &NavigatorView::refresh);
    connectRows();
    applySections();
    refresh();
}

/// Before the list, which would have an editor that is open commit to a view that is half gone.
NavigatorView::~NavigatorView()
{
    delete tree_->itemDelegate();
}

void NavigatorView::createFilter()
{
    filter_ = new QLineEdit(this);
    filter_->setAccessibleName(tr("Filter documents"));
    filter_->setPlaceholderText(tr("Filter"));
    filter_->setClearButtonEnabled(true);
    filter_->installEventFilter(this);
    connect(filter_, &QLineEdit::textChanged, this, &NavigatorView::applyFilter);

    menuButton_ = new MenuButton(this);
    menuButton_->setAccessibleName(tr("Sorting and sections"));
    menuButton_->setToolTip(tr("Sorting and sections"));
    menuButton_->setAutoRaise(true);
    menuButton_->setFocusPolicy(Qt::TabFocus);
    connect(menuButton_, &QToolButton::clicked, this, [this] {
        createMenu();
        menu_->popup(menuButton_->mapToGlobal(menuButton_->rect().bottomLeft()));
    });

    auto* const row = new QHBoxLayout;
    const int margin = fontMetrics().height() / 2;
    row->setContentsMargins(margin, margin, margin, margin / 2);
    row->setSpacing(margin / 2);
    row->addWidget(filter_, 1);
    row->addWidget(menuButton_);
    static_cast<QVBoxLayout*>(layout())->addLayout(row);
}

void NavigatorView::createTree()
{
    tree_ = new NavigatorTree(model_, this);
    tree_->setItemDelegate(new NavigatorDelegate(model_, &Date::now, this));
    layout()->addWidget(tree_);
    static_cast<QVBoxLayout*>(layout())->setStretchFactor(tree_, 1);

    connect(tree_, &NavigatorTree::activated, this, &NavigatorView::open);
    connect(tree_, &NavigatorTree::peeked, this, &NavigatorView::peek);
    connect(tree_, &NavigatorTree::renameAsked, this, &NavigatorView::rename);
    connect(tree_, &NavigatorTree::discardAsked, this, &NavigatorView::discard);
    connect(tree_, &NavigatorTree::undoAsked, this, [this] { undo_->undo(); });
    connect(tree_, &NavigatorTree::left, this, &NavigatorView::leaveRequested);
    connect(tree_, &NavigatorTree::leftUpwards, this, &NavigatorView::focusFilter);
    connect(tree_, &NavigatorTree::menuAsked, this, &NavigatorView::showMenu);
    connect(tree_, &NavigatorTree::typed, this, [this](const QString& text) {
        filter_->setFocus(Qt::OtherFocusReason);
        filter_->insert(text);
    });
    const auto toggled = [this](const QModelIndex& index, bool isOpen) {
        if (isOpen && !isApplying_)
            model_.sectionOf(index)->build();
        // While a filter is typed all sections are open, and closing one lasts as long.
        if (isApplying_ || !filter_->text().isEmpty())
            return;
        const QString word = model_.section(index.row()).word();
        state_.collapsed.removeAll(word);
        if (!isOpen)
            state_.collapsed << word;
        changedByUser();
    };
    connect(tree_, &QTreeView::expanded, this, [toggled](const QModelIndex& index) { toggled(index, true); });
    connect(tree_, &QTreeView::collapsed, this, [toggled](const QModelIndex& index) { toggled(index, false); });
    connect(&model_, &NavigatorModel::renamed, this, &NavigatorView::renameRequested);
    connect(&model_, &NavigatorModel::renameAsked, this, [this](const QModelIndex& index) {
        tree_->select(index);
        rename();
    });
    connect(&model_, &NavigatorModel::failed, this, &NavigatorView::failed);
    connect(&model_, &NavigatorModel::undoOffered, this,
            [this](const QString& message, const std::function<void()>& undo) { undo_->offer(message, undo); });
}

void NavigatorView::createPage()
{
    page_ = new QWidget(this);
    page_->setBackgroundRole(QPalette::Base);
    page_->setAutoFillBackground(true);
    pageText_ = new QLabel(page_);
    pageText_->setWordWrap(true);
    pageText_->setAlignment(Qt::AlignHCenter);
    pageText_->setForegroundRole(QPalette::Text);
    pageButton_ = new QPushButton(tr("New Draft"), page_);
    connect(pageButton_, &QPushButton::clicked, this, &NavigatorView::newDraftRequested);
    searchButton_ = new QPushButton(page_);
    // However long the filter, the panel stays as narrow as it is wanted.
    searchButton_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    connect(searchButton_, &QPushButton::clicked, this, [this] { emit searchRequested(filter_->text()); });
    auto* const column = new QVBoxLayout(page_);
    const int margin = fontMetrics().height();
    column->setContentsMargins(margin, 3 * margin, margin, margin);
    column->setSpacing(margin);
    column->addWidget(pageText_);
    column->addWidget(pageButton_, 0, Qt::AlignHCenter);
    column->addWidget(searchButton_);
    column->addStretch(1);
    layout()->addWidget(page_);
    static_cast<QVBoxLayout*>(layout())->setStretchFactor(page_, 1);
}

void NavigatorView::createMenu()
{
    if (menu_)
        return;
    menu_ = new QMenu(this);
    auto* const orders = new QActionGroup(menu_);
    const auto addOrder = [&](const QString& text, Order order) {
        QAction* const action = menu_->addAction(text);
        action->setCheckable(true);
        action->setChecked(orderOf(state_.order) == order);
        orders->addAction(action);
        connect(action, &QAction::triggered, this, [this, order] {
            state_.order = wordOf(order);
            model_.documents().setOrder(order);
            changedByUser();
        });
        connect(menu_, &QMenu::aboutToShow, action,
                [this, action, order] { action->setChecked(orderOf(state_.order) == order); });
    };
    addOrder(tr("Sort by Last Change"), Order::recent);
    addOrder(tr("Sort by Title"), Order::title);
    addOrder(tr("Sort by Creation"), Order::created);
    menu_->addSeparator();
    QAction* const discarded = menu_->addAction(tr("Show Discarded"));
    discarded->setCheckable(true);
    connect(menu_, &QMenu::aboutToShow, discarded, [this, discarded] { discarded->setChecked(state_.showsDiscarded); });
    connect(discarded, &QAction::triggered, this, [this](bool shows) {
        state_.showsDiscarded = shows;
        applySections();
        refresh();
        changedByUser();
    });
}

void NavigatorView::connectRows()
{
    const auto rowsChanged = [this] {
        applySections();
        refresh();
    };
    connect(&model_, &QAbstractItemModel::rowsInserted, this, rowsChanged);
    connect(&model_, &QAbstractItemModel::rowsRemoved, this, rowsChanged);
    connect(&model_.documents(), &DocumentCatalog::rearranged, this, &NavigatorView::refresh);
    connect(&headers_, &DocumentHeaders::loaded, this, &NavigatorView::refresh);
}

void NavigatorView::setCurrent(const Uuid& document)
{
    model_.setCurrent(document == Uuid() ? std::nullopt : std::optional(document));
}

void NavigatorView::focusFilter()
{
    filter_->setFocus(Qt::ShortcutFocusReason);
    filter_->selectAll();
    model_.documents().prepareFilter();
}

NavigatorState NavigatorView::state() const
{
    NavigatorState state = state_;
    state.filter = filter_->text();
    state.collapsed.clear();
    for (int number = 0; number < model_.sectionCount(); ++number)
        if (const QString word = model_.section(number).word(); state_.collapsed.contains(word))
            state.collapsed << word;
    // Those of sections that are not there yet.
    for (const QString& word : state_.collapsed)
        if (!state.collapsed.contains(word))
            state.collapsed << word;
    if (projects_)
        state.expandedPaths = projects_->expandedPaths();
    return state;
}

void NavigatorView::setState(const NavigatorState& state)
{
    const QScopedValueRollback applying(isApplying_, true);
    state_ = state;
    model_.documents().setOrder(orderOf(state.order));
    if (projects_)
        projects_->setExpandedPaths(state.expandedPaths);
    filter_->setText(state.filter);
    applySections();
    refresh();
    updateGeometry();
}

QSize NavigatorView::sizeHint() const
{
    return {state_.width, QWidget::sizeHint().height()};
}

void NavigatorView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    if (searchButton_->isVisible())
        showSearchButton(true);
    if (!isVisible() || width() == state_.width)
        return;
    state_.width = width();
    changedByUser();
}

void NavigatorView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    applySections();
    if (!headers_.isLoaded())
        patience_.start();
}

void NavigatorView::changedByUser()
{
    if (!isApplying_)
        emit stateChanged();
}

/// The list, or why there is none.
void NavigatorView::refresh()
{
    int rows = 0;
    for (int number = 0; number < model_.sectionCount(); ++number)
        if (!tree_->isRowHidden(number, {}))
            rows += model_.section(number).count();
    QString text;
    bool offersDraft = false;
    bool offersSearch = false;
    if (rows == 0 && !headers_.isLoaded()) {
        if (isVisible() && !patience_.isActive())
            text = tr("Reading the library…");
    } else if (rows == 0 && !filter_->text().isEmpty()) {
        if (!model_.documents().isWaiting()) {
            text = tr("No titles match.");
            offersSearch = !filter_->text().trimmed().isEmpty();
        }
    } else if (rows == 0) {
        text = tr("Nothing here. Ctrl+N starts a draft; it is kept without a file.");
        offersDraft = true;
    }
    const bool searchHadFocus = searchButton_->hasFocus();
    const bool hadFocus = tree_->hasFocus() || pageButton_->hasFocus() || searchHadFocus;
    pageText_->setText(text);
    pageButton_->setVisible(offersDraft);
    showSearchButton(offersSearch);
    page_->setVisible(!text.isEmpty());
    tree_->setVisible(text.isEmpty());
    if (hadFocus && text.isEmpty())
        tree_->setFocus();
    else if (hadFocus && !(searchHadFocus && offersSearch))
        (offersDraft ? static_cast<QWidget*>(pageButton_) : filter_)->setFocus();
}

void NavigatorView::showSearchButton(bool shown)
{
    searchButton_->setVisible(shown);
    if (!shown)
        return;
    const QString typed = filter_->text();
    const auto sentence = [](const QString& query) { return tr("Search texts for “%1” (Ctrl+Shift+F)").arg(query); };
    searchButton_->setAccessibleName(sentence(typed));
    searchButton_->setToolTip(QLatin1String("<qt>") + sentence(typed).toHtmlEscaped() + QLatin1String("</qt>"));
    const QFontMetrics metrics = searchButton_->fontMetrics();
    const int margin = fontMetrics().height();
    const int room = width() - 4 * margin;
    const int around = metrics.horizontalAdvance(tr("Search texts for “%1”").arg(QString()));
    // On two lines, and no key of the button's own in what was typed.
    QString query = metrics.elidedText(typed, Qt::ElideMiddle, std::max(room - around, 4 * margin));
    query.replace(QLatin1Char('&'), QLatin1String("&&"));
    searchButton_->setText(tr("Search texts for “%1”").arg(query) + QLatin1Char('\n') + tr("(Ctrl+Shift+F)"));
}

QString NavigatorView::typedFilter() const
{
    return filter_->hasFocus() || searchButton_->hasFocus() ? filter_->text().trimmed() : QString();
}

bool NavigatorView::filterKey(const QKeyEvent& event)
{
    switch (event.key()) {
    case Qt::Key_Escape:
        if (filter_->text().isEmpty())
            emit leaveRequested();
        else
            filter_->clear();
        return true;
    case Qt::Key_Down:
    case Qt::Key_PageDown:
        if (tree_->isVisible())
            tree_->enter();
        else if (searchButton_->isVisible())
            searchButton_->setFocus();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter: {
        const QModelIndex current = tree_->currentIndex();
        const auto row = model_.row(current);
        open(row && row->kind != NavigatorRow::Kind::message ? current : tree_->firstDocument(),
             event.modifiers() & Qt::ControlModifier ? NavigatorSection::Activation::newWindow
             : event.modifiers() & Qt::ShiftModifier ? NavigatorSection::Activation::switchTo
                                                     : NavigatorSection::Activation::open);
        return true;
    }
    default:
        return false;
    }
}

bool NavigatorView::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == filter_ && event->type() == QEvent::KeyPress)
        return filterKey(*static_cast<QKeyEvent*>(event));
    if (watched == filter_ && event->type() == QEvent::ShortcutOverride &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        event->accept();
        return true;
    }
    if (watched == filter_ && event->type() == QEvent::FocusIn)
        model_.documents().prepareFilter();
    return QWidget::eventFilter(watched, event);
}

void NavigatorView::showProject(const Uuid& project)
{
    const PenmarkProject* const found = source_ ? source_->library().projects.find(project) : nullptr;
    if (!found)
        return;
    NavigatorState shown = state();
    shown.collapsed.removeAll(projects_->word());
    shown.expandedPaths.insert(found->path);
    setState(shown);
    changedByUser();
}

}  // namespace penmark
