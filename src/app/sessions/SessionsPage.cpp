// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/SessionsPage.h"

#include "app/appearance/Icon.h"
#include "app/documents/SessionRecords.h"
#include "app/sessions/DocumentPreviews.h"
#include "app/sessions/SessionActions.h"
#include "app/sessions/SessionDetails.h"
#include "app/sessions/SessionTitles.h"
#include "app/sessions/SessionTree.h"

#include <QAction>
#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QSplitter>
#include <utility>

namespace penmark {

namespace {

constexpr int menuLimit = 40;       // sessions in a menu; the tree takes drops for all
constexpr int previewsPause = 500;  // milliseconds

QWidget* sideOf(QSplitter& splitter, QVBoxLayout*& layout)
{
    auto* const side = new QWidget;
    layout = new QVBoxLayout(side);
    layout->setContentsMargins(0, 0, 0, 0);
    splitter.addWidget(side);
    return side;
}

}  // namespace

SessionsPage::SessionsPage(SessionRecords& records, SessionActions& actions, DocumentRegistry& documents,
                           DocumentPreviews& previews)
    : records_(records), actions_(actions), documents_(documents), previews_(previews),
      model_(records, documents, previews), filter_(new QLineEdit), order_(new QComboBox),
      tree_(new SessionTree(model_)), empty_(makeNote(tr("One session so far. New Session puts other work aside "
                                                         "without closing it."))),
      details_(new SessionDetails(records, actions, documents, previews))
{
    createActions();
    auto* const splitter = new QSplitter;
    splitter->setChildrenCollapsible(false);
    QVBoxLayout* left = nullptr;
    QVBoxLayout* right = nullptr;
    sideOf(*splitter, left)->setMinimumWidth(240);
    sideOf(*splitter, right)->setMinimumWidth(320);
    left->setContentsMargins(0, 0, 6, 0);
    right->setContentsMargins(6, 0, 0, 0);
    createLeft(*left);
    createRight(*right);
    splitter->setStretchFactor(0, 2);
    splitter->setStretchFactor(1, 3);
    splitter->setSizes({380, 520});
    auto* const whole = new QVBoxLayout(this);
    whole->addWidget(splitter);

    connect(&records_, &SessionRecords::changed, this, [this] { refreshSoon(); });
    connect(&documents_.headers(), &DocumentHeaders::loaded, this, [this] { refreshSoon(); });
    connect(&documents_.headers(), &DocumentHeaders::changed, this, [this] { refreshSoon(); });
    connect(&previews_, &DocumentPreviews::changed, this, [this] {
        if (model_.isFiltered())
            previewsCame();
        else
            showCurrent();
    });
    previewsPause_.setSingleShot(true);
    previewsPause_.setInterval(previewsPause);
    connect(&previewsPause_, &QTimer::timeout, this, [this] {
        if (std::exchange(previewsWait_, false))
            previewsCame();
    });
}

void SessionsPage::createLeft(QBoxLayout& layout)
{
    filter_->setPlaceholderText(tr("Filter by name, title or text"));
    filter_->setAccessibleName(tr("Filter sessions"));
    filter_->setClearButtonEnabled(true);
    filter_->addAction(icon(IconShape::search), QLineEdit::LeadingPosition);
    filter_->installEventFilter(this);
    connect(filter_, &QLineEdit::textChanged, this, [this] { filterChanged(); });
    order_->addItems({tr("Recent use"), tr("Name"), tr("Created")});
    order_->setAccessibleName(tr("Sort by"));
    order_->setToolTip(tr("Sort by"));
    connect(order_, &QComboBox::currentIndexChanged, this, [this](int index) {
        model_.setOrder(static_cast<SessionTreeModel::Order>(index));
        refreshNow();
    });
    auto* const top = new QHBoxLayout;
    top->addWidget(filter_, 1);
    top->addWidget(order_);
    layout.addLayout(top);

    layout.addWidget(tree_, 1);
    connect(tree_, &SessionTree::openAsked, this, [this] { open_->trigger(); });
    connect(tree_, &SessionTree::switchAsked, this, [this] { switchTo_->trigger(); });
    connect(tree_, &SessionTree::deleteAsked, this, [this] { delete_->trigger(); });
    connect(tree_, &SessionTree::currentSessionChanged, this, [this] { showCurrent(); });
    connect(tree_, &SessionTree::renameEnded, this, [this] { refreshSoon(); });
    connect(tree_, &SessionTree::typed, this, [this](const QString& text) {
        filter_->setFocus();
        filter_->setText(text);
    });
    connect(tree_, &SessionTree::menuAsked, this, [this](QPoint position) {
        auto* const menu = new QMenu(this);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        fillMenu(*menu);
        menu->popup(position);
    });
    connect(&model_, &SessionTreeModel::renamed, this,
            [this](const Uuid& session, const QString& name) { actions_.renameSession(session, name); });
    connect(&model_, &SessionTreeModel::moveAsked, this,
            [this](const Uuid& session, const std::optional<Uuid>& parent) { actions_.moveSession(session, parent); });
    layout.addWidget(empty_);

    auto* const bottom = new QHBoxLayout;
    connect(addButton(*bottom, tr("New Session…")), &QPushButton::clicked, this,
            [this] { actions_.askForNewSession(*window()); });
    connect(addButton(*bottom, tr("Keep Checkpoint…")), &QPushButton::clicked, this,
            [this] { actions_.askToKeepCheckpoint(*window()); });
    bottom->addStretch(1);
    layout.addLayout(bottom);
}

QAction* SessionsPage::addAction(const QString& text, const QString& shownKeys, std::function<void(const Uuid&)> call)
{
    auto* const action = new QAction(shownKeys.isEmpty() ? text : text + QLatin1Char('\t') + shownKeys, this);
    connect(action, &QAction::triggered, this, [this, call = std::move(call)] {
        if (const auto session = tree_->current())
            call(*session);
    });
    return action;
}

QAction* SessionsPage::addAction(const QString& text, const QString& shownKeys, void (SessionActions::*call)(Uuid))
{
    return addAction(text, shownKeys, [this, call](const Uuid& session) { (actions_.*call)(session); });
}

void SessionsPage::createActions()
{
    open_ = addAction(tr("Open"), tr("Enter"), &SessionActions::openSession);
    switchTo_ = addAction(tr("Switch To"), tr("Shift+Enter"), &SessionActions::switchToSession);
    switchTo_->setToolTip(tr("Puts the current session aside, then opens this one."));
    openHere_ = addAction(tr("Open Here"), {}, &SessionActions::openSessionHere);
    openHere_->setToolTip(tr("Moves its windows into the current session."));
    close_ = addAction(tr("Close Session"), {}, &SessionActions::closeSession);
    close_->setToolTip(tr("Put these windows and nested sessions aside together. Their tabs, layout and search "
                          "membership are kept."));
    rename_ = addAction(tr("Rename"), tr("F2"), [this](const Uuid&) {
        tree_->setFocus();
        tree_->rename();
    });
    nested_ = addAction(tr("New Nested Session…"), {},
                        [this](const Uuid& session) { actions_.askForNewSession(*window(), session); });
    duplicate_ = addAction(tr("Duplicate"), {}, &SessionActions::duplicateSession);
    starter_ =
        addAction(tr("Save Session as Starter…"), {}, [this](const Uuid& session) { emit starterAsked(session); });
    delete_ = addAction(tr("Delete Session…"), tr("Delete"), [this](const Uuid& session) { askToDelete(session); });
}

void SessionsPage::createRight(QBoxLayout& layout)
{
    layout.addWidget(details_, 1);
    auto* const row = new QHBoxLayout;
    for (QAction* const action : {open_, switchTo_, openHere_, close_}) {
        QPushButton* const button = addButton(*row, action->text().section(QLatin1Char('\t'), 0, 0));
        const QString keys = action->text().section(QLatin1Char('\t'), 1);
        const QString said = action->toolTip() == action->iconText() ? QString() : action->toolTip();
        button->setToolTip(keys.isEmpty() || said.isEmpty() ? said + keys : said + QStringLiteral(" (%1)").arg(keys));
        button->setAccessibleDescription(said);
        button->setEnabled(action->isEnabled());
        connect(button, &QPushButton::clicked, action, &QAction::trigger);
        connect(action, &QAction::enabledChanged, button, &QWidget::setEnabled);
    }
    row->addStretch(1);
    QPushButton* const more = addButton(*row, tr("More"));
    more->setAccessibleName(tr("More that can be done with the session"));
    auto* const menu = new QMenu(more);
    more->setMenu(menu);
    connect(menu, &QMenu::aboutToShow, this, [this, menu] {
        menu->clear();
        fillMenu(*menu);
    });
    layout.addLayout(row);
}

void SessionsPage::fillMenu(QMenu& menu)
{
    const auto session = tree_->current();
    menu.addActions({open_, switchTo_, openHere_, close_});
    menu.addSeparator();
    menu.addActions({rename_, nested_});
    QMenu* const move = menu.addMenu(tr("Move into Session"));
    if (session)
        fillMoveMenu(*move, *session);
    move->setEnabled(!move->isEmpty());
    menu.addActions({duplicate_, starter_});
    menu.addSeparator();
    menu.addAction(delete_);
}

void SessionsPage::fillMoveMenu(QMenu& menu, const Uuid& session)
{
    const auto add = [&](const QString& title, const std::optional<Uuid>& parent) {
        QString shown = menu.fontMetrics().elidedText(title, Qt::ElideRight, 360);
        menu.addAction(shown.replace(QLatin1Char('&'), QStringLiteral("&&")), this,
                       [this, session, parent] { actions_.moveSession(session, parent); });
    };
    if (model_.canMove(session, std::nullopt)) {
        add(tr("No Session (Top Level)"), std::nullopt);
        menu.addSeparator();
    }
    // In the order of the tree, so that what is found there is found here.
    int count = 0;
    for (QModelIndex at = model_.index(0, 0); at.isValid() && count < menuLimit; at = tree_->indexBelow(at)) {
        const Uuid target = *model_.session(at);
        if (!model_.canMove(session, target))
            continue;
        add(model_.data(at, Qt::DisplayRole).toString(), target);
        ++count;
    }
}

void SessionsPage::askToDelete(const Uuid& session)
{
    const PenmarkSession* const asked = records_.library().sessions.find(session);
    if (asked == nullptr)
        return;
    auto* const box =
        new QMessageBox(QMessageBox::NoIcon, tr("Delete Session"),
                        tr("Delete “%1”?").arg(sessionTitle(documents_, *asked)), QMessageBox::Cancel, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(tr("Its windows and tabs are removed. Its documents stay in the library, and sessions "
                               "nested in it take its place."));
    auto* const drafts = new QCheckBox(tr("Also discard drafts that are in no other session"));
    box->setCheckBox(drafts);
    const QAbstractButton* const confirm = box->addButton(tr("Delete Session"), QMessageBox::DestructiveRole);
    box->setDefaultButton(QMessageBox::Cancel);
    connect(box, &QMessageBox::buttonClicked, this, [this, session, confirm, drafts](QAbstractButton* button) {
        if (button == confirm)
            actions_.deleteSession(session, drafts->isChecked());
    });
    box->open();
}

void SessionsPage::refresh()
{
    tree_->refresh();
    const std::size_t count = records_.library().sessions.size();
    if (model_.isFiltered() && model_.shownCount() == 0)
        empty_->setText(tr("No session has these words."));
    else
        empty_->setText(tr("One session so far. New Session puts other work aside without closing it."));
    empty_->setVisible(count <= 1 || (model_.isFiltered() && model_.shownCount() == 0));
}

void SessionsPage::showCurrent()
{
    const auto current = tree_->current();
    const PenmarkSession* const session = current ? records_.library().sessions.find(*current) : nullptr;
    const bool isActive = session != nullptr && records_.library().settings.activeSessionID == current;
    for (QAction* const action : {open_, rename_, nested_, duplicate_, starter_, delete_})
        action->setEnabled(session != nullptr);
    switchTo_->setEnabled(session != nullptr && !isActive);
    openHere_->setEnabled(session != nullptr && !isActive);
    close_->setEnabled(session != nullptr && session->isOpen);
    nested_->setEnabled(session != nullptr && session->isOpen);
    details_->show(current);
}

void SessionsPage::filterChanged()
{
    model_.setFilter(filter_->text());
    refreshNow();
}

/// Of a large library texts come many times a second, and each time the whole tree may become another.
void SessionsPage::previewsCame()
{
    if (previewsPause_.isActive()) {
        previewsWait_ = true;
        return;
    }
    previewsPause_.start();
    refreshSoon();
}

void SessionsPage::takeFocus()
{
    tree_->setFocus();
}

bool SessionsPage::clearFilter()
{
    if (filter_->text().isEmpty())
        return false;
    filter_->clear();
    return true;
}

void SessionsPage::focusFilter()
{
    filter_->setFocus();
    filter_->selectAll();
}

/// Keys of the filter that are meant for the list below it.
bool SessionsPage::eventFilter(QObject* object, QEvent* event)
{
    if (object != filter_ || event->type() != QEvent::KeyPress)
        return OrganiserPage::eventFilter(object, event);
    const auto& key = static_cast<QKeyEvent&>(*event);
    switch (key.key()) {
    case Qt::Key_Down:
        tree_->setFocus();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        (key.modifiers() & Qt::ShiftModifier ? switchTo_ : open_)->trigger();
        return true;
    default:
        return false;
    }
}

}  // namespace penmark
