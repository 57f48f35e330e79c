// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/DocumentWindow.h"

#include "app/appearance/Icon.h"
#include "app/editor/EditorView.h"
#include "app/editor/Strings.h"
#include "app/navigator/NavigatorView.h"
#include "app/settings/SettingsStore.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/DocumentStatusBar.h"
#include "app/windows/DocumentTabBar.h"
#include "app/windows/MessageBar.h"
#include "app/windows/Program.h"
#include "base/Utf8.h"
#include "text/Characters.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QDragEnterEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QScreen>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>

namespace penmark {

namespace {

constexpr int defaultWidth = 980;
constexpr int defaultHeight = 720;

}  // namespace

DocumentWindow::DocumentWindow(Program& program, RecoveryWindow record)
    : program_(program), record_(std::move(record)), tabs_(record_)
{
    record_.isOpen = true;
    setAcceptDrops(true);
    createContent();
    createMenus();
    createStatusMenus();
    restorePlacement();
    if (record_.presentation && record_.presentation->libraryVisible.value_or(false))
        setLibraryVisible(true);
    tabsChanged();
    connect(&program_.documents().headers(), &DocumentHeaders::changed, this, [this](std::size_t index) {
        const Uuid& document = program_.documents().headers().all()[index].id;
        if (tabs_.contains(document))
            tabChangesSoon(document);
    });
    connect(&program_.documents().headers(), &DocumentHeaders::loaded, this, &DocumentWindow::tabsChanged);
    connect(&program_.records(), &SessionRecords::collect, this, [this] {
        if (!closing_)
            program_.records().put(this->record());
    });
}

DocumentWindow::~DocumentWindow()
{
    // Panes release their documents, which is why they go while everything else is there.
    for (const auto& [document, pane] : panes_)
        delete pane;
}

void DocumentWindow::createContent()
{
    auto* const content = new QWidget(this);
    auto* const layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto* const top = new QWidget(content);
    auto* const topLayout = new QHBoxLayout(top);
    topLayout->setContentsMargins(0, 0, 4, 0);
    topLayout->setSpacing(2);
    tabBar_ = new DocumentTabBar(record_.id, top);
    topLayout->addWidget(tabBar_, 1);
    auto* const add = new QToolButton(top);
    add->setAutoRaise(true);
    add->setIcon(icon(IconShape::add));
    add->setFocusPolicy(Qt::TabFocus);
    add->setAccessibleName(tr("New Draft"));
    add->setToolTip(tr("New draft (Ctrl+N)"));
    connect(add, &QToolButton::clicked, this, &DocumentWindow::newDraft);
    topLayout->addWidget(add);

    stack_ = new QStackedWidget(content);
    status_ = new DocumentStatusBar(content);
    layout->addWidget(top);
    layout->addWidget(stack_, 1);
    layout->addWidget(status_);

    splitter_ = new QSplitter(this);
    splitter_->setChildrenCollapsible(false);
    splitter_->setHandleWidth(1);
    splitter_->addWidget(content);
    splitter_->setStretchFactor(0, 1);
    setCentralWidget(splitter_);

    connect(tabBar_, &DocumentTabBar::selected, this, &DocumentWindow::selectTab);
    connect(tabBar_, &DocumentTabBar::closeWanted, this, &DocumentWindow::closeTab);
    connect(tabBar_, &DocumentTabBar::menuWanted, this, &DocumentWindow::tabMenu);
    connect(tabBar_, &DocumentTabBar::renameWanted, this, &DocumentWindow::rename);
    connect(tabBar_, &DocumentTabBar::newDraftWanted, this, &DocumentWindow::newDraft);
    connect(tabBar_, &DocumentTabBar::draggedOut, this, &DocumentWindow::moveToNewWindow);
    connect(tabBar_, &DocumentTabBar::movedByUser, this, [this](int from, int to) {
        tabs_.move(static_cast<std::size_t>(from), static_cast<std::size_t>(to));
        tabsChanged();
    });
    connect(tabBar_, &DocumentTabBar::droppedIn, this, [this](const DocumentTabBar::Dragged& dragged, int index) {
        for (const Uuid& document : dragged.documents) {
            GivenTab given;
            for (DocumentWindow* other : program_.windows()) {
                if (other != this && dragged.window == other->id())
                    given = other->giveTab(document);
            }
            insertTab(document, static_cast<std::size_t>(index), std::move(given));
        }
    });
    changedTabsTimer_.setSingleShot(true);
    connect(&changedTabsTimer_, &QTimer::timeout, this, [this] {
        for (const Uuid& document : std::exchange(changedTabs_, {})) {
            if (tabs_.contains(document))
                tabChanged(document);
        }
    });
    barTimer_.setSingleShot(true);
    connect(&barTimer_, &QTimer::timeout, this, &DocumentWindow::hideBar);
}

// ---- placement and record ----

void DocumentWindow::restorePlacement()
{
    const auto& placement = record_.placement;
    const QSize size = placement ? QSize(static_cast<int>(placement->width), static_cast<int>(placement->height))
                                 : QSize(defaultWidth, defaultHeight);
    resize(size.expandedTo(QSize(320, 240)).boundedTo(screen()->availableSize()));
    if (!placement)
        return;
    const QPoint corner(static_cast<int>(placement->x), static_cast<int>(placement->y));
    // A screen that is gone does not take the window with it.
    for (const QScreen* screen : QGuiApplication::screens()) {
        if (screen->availableGeometry().adjusted(-size.width() + 80, 0, -80, -40).contains(corner)) {
            move(corner);
            return;
        }
    }
}

RecoveryWindow DocumentWindow::record() const
{
    TabList tabs = tabs_;
    for (const auto& [document, pane] : panes_) {
        if (auto state = pane->state())
            tabs.setState(document, std::move(*state));
    }
    RecoveryWindow record = record_;
    if (const PenmarkSession* const session = program_.records().library().sessionOf(record.id))
        record.sessionID = session->id;
    tabs.fill(record);
    WindowPlacement placement = record.placement.value_or(WindowPlacement());
    const QRect place = isMaximized() || isFullScreen() ? normalGeometry() : QRect(pos(), size());
    placement.x = place.x();
    placement.y = place.y();
    placement.width = place.width();
    placement.height = place.height();
    record.placement = placement;
    WindowPresentation presentation = record.presentation.value_or(WindowPresentation());
    presentation.minimized = isMinimized() ? std::optional(true) : std::nullopt;
    presentation.libraryVisible = isLibraryVisible() ? std::optional(true) : std::nullopt;
    if (navigator_) {
        const NavigatorState state = navigator_->state();
        presentation.libraryFilter = state.filter.isEmpty() ? std::nullopt : std::optional(state.filter.toStdString());
        std::set<std::string> collapsed;
        for (const QString& section : state.collapsed)
            collapsed.insert(section.toStdString());
        presentation.collapsedLibrarySections = std::move(collapsed);
        std::set<std::string> expanded = state.expandedPaths;
        std::erase_if(expanded, [](const std::string& path) { return !isValidUtf8(path); });  // records are UTF-8
        presentation.expandedProjectPaths = expanded.empty() ? std::nullopt : std::optional(std::move(expanded));
        presentation.libraryWidth = navigator_->isVisible() ? navigator_->width() : state.width;
    }
    record.presentation = std::move(presentation);
    return record;
}

void DocumentWindow::isTouched()
{
    if (!closing_)
        program_.records().touch();
}

// ---- what is in front ----

DocumentPane* DocumentWindow::pane() const
{
    return qobject_cast<DocumentPane*>(stack_->currentWidget());
}

RecoveryBuffer* DocumentWindow::buffer() const
{
    return pane() ? pane()->buffer() : nullptr;
}

EditorView* DocumentWindow::view() const
{
    return pane() ? pane()->view() : nullptr;
}

CommandContext DocumentWindow::context()
{
    return {this, view()};
}

void DocumentWindow::showMessage(const QString& sentence)
{
    status_->showMessage(sentence);
}

void DocumentWindow::showBar(const QString& sentence, DocumentMessage::Weight weight, const std::vector<Offer>& offers,
                             const Passing& passing)
{
    if (offers.empty() && barIsUrgent_ && bar_->isVisible()) {
        showMessage(sentence);
        return;
    }
    barIsUrgent_ = weight == DocumentMessage::Weight::failure && !offers.empty();
    if (!bar_) {
        bar_ = new MessageBar(stack_->parentWidget());
        static_cast<QVBoxLayout*>(stack_->parentWidget()->layout())->insertWidget(1, bar_);
        connect(bar_, &MessageBar::shownOrHidden, this, &DocumentWindow::shareBarPlace);
        connect(bar_, &MessageBar::dismissed, this, [this] {
            bar_->hide();
            if (pane())
                pane()->focusText();
        });
    }
    std::vector<MessageBar::Button> buttons;
    for (const Offer& offer : offers) {
        buttons.push_back({offer.name, [this, take = offer.take] {
                               bar_->hide();
                               if (pane())
                                   pane()->focusText();
                               take();
                           }});
    }
    bar_->show(sentence, weight, buttons);
    barGoesWithTyping_ = passing.withTyping;
    barTimer_.stop();
    if (passing.after.count() > 0)
        barTimer_.start(passing.after);
}

void DocumentWindow::shareBarPlace()
{
    if (!closing_ && pane())
        pane()->setBarAllowed(!bar_ || bar_->isHidden());
}

void DocumentWindow::endBar(const QString& sentence)
{
    if (bar_ && bar_->isVisibleTo(this) && bar_->sentence() == sentence)
        hideBar();
}

void DocumentWindow::hideBar()
{
    barTimer_.stop();
    const bool hadFocus = bar_->isAncestorOf(QApplication::focusWidget());
    bar_->hide();
    if (hadFocus && pane())
        pane()->focusText();
}

/// Who works on has seen what a passing bar says.
void DocumentWindow::noteEdit(const DocumentPane& pane)
{
    if (!barTimer_.isActive() || !barGoesWithTyping_ || &pane != this->pane())
        return;
    // Behind the edit, whose observers are not done yet. A text that was reloaded is stored by then; one that was
    // edited is not.
    const auto hide = [this, said = bar_->sentence(), buffer = QPointer<RecoveryBuffer>(pane.buffer())] {
        if (buffer && buffer->generation() != buffer->savedGeneration())
            endBar(said);
    };
    QMetaObject::invokeMethod(this, hide, Qt::QueuedConnection);
}

std::stop_source DocumentWindow::beginOpening(const std::filesystem::path& file)
{
    openings_.emplace_back();
    const QString name = QString::fromStdString(file.filename().string());
    // Most files are there before anybody could read that.
    QTimer::singleShot(300, this, [this, opening = openings_.back(), name] {
        if (std::find(openings_.begin(), openings_.end(), opening) != openings_.end())
            status_->showMessage(tr("Opening %1 · Esc cancels").arg(name), 60'000);
    });
    return openings_.back();
}

void DocumentWindow::endOpening(const std::stop_source& opening)
{
    std::erase(openings_, opening);
    if (openings_.empty())
        status_->endMessage();
}

// ---- events ----

bool DocumentWindow::event(QEvent* event)
{
    if (event->type() == QEvent::WindowActivate) {
        program_.windowActivated(*this);
        if (buffer() && !buffer()->isDraft())
            program_.files().check(*buffer());
    } else if (event->type() == QEvent::WindowDeactivate && !closing_) {
        endCycle();
        for (const Uuid& document : tabs_.documents()) {
            if (RecoveryBuffer* open = program_.documents().find(document))
                program_.documents().store(*open);
        }
        program_.records().save();
    }
    return QMainWindow::event(event);
}

void DocumentWindow::closeEvent(QCloseEvent* event)
{
    event->ignore();
    program_.windowClosed(*this);
}

void DocumentWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        if (!openings_.empty()) {
            for (std::stop_source& opening : std::exchange(openings_, {}))
                opening.request_stop();
            showMessage(tr("Opening was cancelled."));
        } else if (bar_ && bar_->isVisible()) {
            emit bar_->dismissed();
        } else if (pane() && !pane()->closeFind() && !pane()->hideMessage()) {
            pane()->focusText();
        }
        return;
    }
    CommandContext where = context();
    if (!program_.commands().handleKey(*event, where))
        QMainWindow::keyPressEvent(event);
}

void DocumentWindow::keyReleaseEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Control)
        endCycle();
    QMainWindow::keyReleaseEvent(event);
}

void DocumentWindow::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::WindowStateChange)
        isTouched();
    QMainWindow::changeEvent(event);
}

void DocumentWindow::resizeEvent(QResizeEvent* event)
{
    QMainWindow::resizeEvent(event);
    isTouched();
}

void DocumentWindow::moveEvent(QMoveEvent* event)
{
    QMainWindow::moveEvent(event);
    isTouched();
}

void DocumentWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls() || DocumentTabBar::draggedIn(*event->mimeData()))
        event->acceptProposedAction();
}

void DocumentWindow::dropEvent(QDropEvent* event)
{
    event->acceptProposedAction();
    if (const auto dragged = DocumentTabBar::draggedIn(*event->mimeData())) {
        emit tabBar_->droppedIn(*dragged, tabBar_->count());
        return;
    }
    program_.openDropped(event->mimeData()->urls(), *this);
}

}  // namespace penmark
