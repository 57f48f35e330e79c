// SPDX-License-Identifier: GPL-3.0-or-later
// The tabs of a window: opening, closing, moving and going through them.
#include "app/appearance/Icon.h"
#include "app/editor/EditorView.h"
#include "app/editor/Strings.h"
#include "app/navigator/NavigatorView.h"
#include "app/settings/SettingsStore.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/DocumentStatusBar.h"
#include "app/windows/DocumentTabBar.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/MessageBar.h"
#include "app/windows/Program.h"
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

constexpr auto behindTheKey = std::chrono::milliseconds(60);
constexpr std::size_t livePanes = 12;  // of a window; others keep their carets and are read again

}  // namespace

QString DocumentWindow::tabTitle(const Uuid& document) const
{
    if (const RecoveryBuffer* buffer = program_.documents().find(document))
        return toQString(buffer->shownTitle());
    if (const DocumentHeader* header = program_.documents().headers().find(document); header && !header->title.empty())
        return toQString(header->title);
    return tr("New Draft");
}

DocumentTabBar::Tab DocumentWindow::tabOf(const Uuid& document) const
{
    DocumentTabBar::Tab tab;
    tab.document = document;
    tab.title = tabTitle(document);
    if (const RecoveryBuffer* buffer = program_.documents().find(document)) {
        tab.fileDiffers = !buffer->isDraft() && !buffer->fileMatchesSavedVersion();
        tab.toolTip = buffer->isDraft() ? tr("Draft: kept without a file") : toQString(*buffer->record().externalPath);
    } else if (const DocumentHeader* header = program_.documents().headers().find(document)) {
        tab.toolTip = toQString(header->path);
    }
    return tab;
}

void DocumentWindow::tabsChanged()
{
    std::vector<DocumentTabBar::Tab> tabs;
    for (const Uuid& document : tabs_.documents())
        tabs.push_back(tabOf(document));
    tabBar_->setTabs(tabs, tabs_.selected());
    if (navigator_) {
        navigator_->setOpenHere(tabs_.documents());
        navigator_->setCurrent(tabs_.selected().value_or(Uuid()));
    }
    updateTitle();
    isTouched();
}

void DocumentWindow::tabChanged(const Uuid& document)
{
    tabBar_->setTab(tabOf(document));
    if (document == tabs_.selected())
        updateTitle();
}

void DocumentWindow::tabChangesSoon(const Uuid& document)
{
    changedTabs_.insert(document);
    if (!changedTabsTimer_.isActive())
        changedTabsTimer_.start(behindTheKey);
}

void DocumentWindow::updateTitle()
{
    const auto selected = tabs_.selected();
    if (!selected)
        return;
    QString title = tabTitle(*selected);
    const RecoveryBuffer* buffer = program_.documents().find(*selected);
    if (buffer && buffer->isDraft())
        title += tr(" (Draft)");
    else if (buffer && !buffer->fileMatchesSavedVersion())
        title += QStringLiteral(" •");
    const PenmarkSession* const session = program_.records().library().sessionOf(id());
    if (session && session->name && !session->name->empty())
        title += QStringLiteral(": ") + toQString(*session->name);
    setWindowTitle(title + QStringLiteral(" - Penmark"));
}

DocumentPane& DocumentWindow::paneOf(const Uuid& document)
{
    if (const auto found = panes_.find(document); found != panes_.end())
        return *found->second;
    auto* const pane = new DocumentPane(program_, document, stack_);
    panes_.emplace(document, pane);
    stack_->addWidget(pane);
    connect(pane, &DocumentPane::viewChanged, this, [this, pane] {
        if (tabs_.selected() == pane->document())
            status_->setDocument(pane->buffer(), pane->view());
        isTouched();
    });
    connect(pane, &DocumentPane::messageWaits, this, [this, pane] {
        if (pane == this->pane() && bar_ && !barIsUrgent_)
            bar_->hide();
    });
    connect(pane, &DocumentPane::actionWanted, this, &DocumentWindow::act);
    connect(pane, &DocumentPane::statusMessage, this, &DocumentWindow::showMessage);
    connect(pane, &DocumentPane::filesDropped, this,
            [this](const QList<QUrl>& urls) { program_.openDropped(urls, *this); });
    program_.documents().load(document, pane, [this, pane](RecoveryBuffer& buffer) {
        connect(&buffer, &RecoveryBuffer::stateChanged, pane, [this, pane] { tabChangesSoon(pane->document()); });
        connect(&buffer, &RecoveryBuffer::onEdit, pane, [this, pane] { noteEdit(*pane); });
        pane->setBuffer(buffer, tabs_.stateOf(pane->document()));
        if (const auto goal = goals_.extract(pane->document()))
            goal.mapped()(*pane->view());
        if (tabs_.selected() == pane->document()) {
            status_->setDocument(&buffer, pane->view());
            if (focusWidget() == pane)  // now, or as soon as the window is the active one
                pane->focusText();
        }
        tabsChanged();
    });
    return *pane;
}

void DocumentWindow::dropPane(const Uuid& document)
{
    // Whoever opens the document again has not asked for it.
    if (!tabs_.contains(document))
        goals_.erase(document);
    const auto found = panes_.find(document);
    if (found == panes_.end())
        return;
    DocumentPane* const pane = found->second;
    if (auto state = pane->state(); state && tabs_.contains(document))
        tabs_.setState(document, std::move(*state));
    panes_.erase(found);
    std::erase(paneUse_, document);
    if (stack_->currentWidget() == pane)
        status_->setDocument(nullptr, nullptr);
    delete pane;
}

void DocumentWindow::forgetOldPanes()
{
    while (paneUse_.size() > livePanes) {
        const Uuid oldest = paneUse_.back();
        dropPane(oldest);
    }
}

void DocumentWindow::showTab(bool focus)
{
    const auto selected = tabs_.selected();
    if (!selected)
        return;
    const bool hadFocus = stack_->isAncestorOf(QApplication::focusWidget()) || !QApplication::focusWidget();
    std::erase(paneUse_, *selected);
    paneUse_.insert(paneUse_.begin(), *selected);
    DocumentPane& pane = paneOf(*selected);
    if (auto* before = qobject_cast<DocumentPane*>(stack_->currentWidget()); before && before != &pane) {
        if (before->buffer())
            program_.documents().store(*before->buffer());
    }
    stack_->setCurrentWidget(&pane);
    shareBarPlace();
    forgetOldPanes();
    status_->setDocument(pane.buffer(), pane.view());
    if (pane.buffer() && !pane.buffer()->isDraft())
        program_.files().check(*pane.buffer());
    if (focus || hadFocus)
        pane.focusText();
    tabsChanged();
    emit program_.activeDocumentChanged();
}

void DocumentWindow::selectTab(const Uuid& document)
{
    if (!tabs_.contains(document))
        return;
    tabs_.select(document);
    showTab();
}

void DocumentWindow::showDocument(const Uuid& document, bool atEnd)
{
    if (!tabs_.contains(document)) {
        tabs_.add(document, atEnd);
        removeEmptyDraft(document);
    }
    selectTab(document);
}

void DocumentWindow::insertTab(const Uuid& document, std::size_t index, GivenTab given)
{
    if (const auto present = tabs_.indexOf(document)) {
        tabs_.move(*present, std::min(index, tabs_.documents().size() - 1));
    } else {
        tabs_.insert(document, index, given.tabID);
        if (given.state)
            tabs_.setState(document, std::move(*given.state));
        removeEmptyDraft(document);
    }
    selectTab(document);
}

// An empty draft gives way to what is opened in its place.
void DocumentWindow::removeEmptyDraft(const Uuid& opened)
{
    const auto front = tabs_.selected();
    const RecoveryBuffer* const before = front && *front != opened ? program_.documents().find(*front) : nullptr;
    if (!before || before->isInLibrary() || !before->text().empty() || !before->isDraft() ||
        before->record().displayTitle)
        return;
    tabs_.select(opened);
    tabs_.remove(*front);
    dropPane(*front);
}

void DocumentWindow::goTo(const Uuid& document, std::size_t line, std::size_t column)
{
    if (line == 0)
        return;
    whenShown(document, [line, column](EditorView& view) {
        const TextLine place = view.text().line(LineNumber(line - 1));
        Utf8Offset offset = place.start;
        for (std::size_t passed = 1; passed < column && offset < place.end; ++passed)
            offset = nextGrapheme(view.text(), offset);
        view.editor().rememberPlace();
        view.setCarets(CaretSet(Caret(std::min(offset, place.end))));
    });
}

void DocumentWindow::whenShown(const Uuid& document, std::function<void(EditorView& view)> call)
{
    const auto found = panes_.find(document);
    if (found == panes_.end() || !found->second->view())
        goals_[document] = std::move(call);
    else
        call(*found->second->view());
}

void DocumentWindow::newDraft()
{
    const Settings& settings = program_.settings().settings();
    RecoveryBuffer& draft = program_.documents().createDraft(
        languageNamed(settings.newLanguage).value_or(EditorLanguage::plainText), {}, settings.newEncoding);
    tabs_.add(draft.id());
    selectTab(draft.id());
}

bool DocumentWindow::isNothing(const Uuid& document) const
{
    const RecoveryBuffer* const buffer = program_.documents().find(document);
    return buffer && !buffer->isInLibrary() && buffer->text().empty();
}

void DocumentWindow::follow(const RecoveryWindow& record)
{
    record_.sessionID = record.sessionID;
    const std::vector<Uuid> before = tabs_.documents();
    const auto front = tabs_.selected();
    tabs_.follow(record);
    if (before == tabs_.documents() || tabs_.empty()) {
        updateTitle();
        return;
    }
    for (const Uuid& document : before) {
        if (tabs_.contains(document))
            continue;
        dropPane(document);
        if (!program_.isShown(document))
            emit program_.tabClosed(document);
    }
    if (front != tabs_.selected())
        showTab(false);
    else
        tabsChanged();
}

void DocumentWindow::closeTab(const Uuid& document)
{
    removeTab(document, true);
}

void DocumentWindow::removeTab(const Uuid& document, bool mayEnd)
{
    const auto index = tabs_.indexOf(document);
    if (!index)
        return;
    const bool wasNothing = isNothing(document);
    const bool isLast = tabs_.documents().size() == 1;
    if (isLast && ((wasNothing && mayEnd) || !program_.hasOneWindow())) {
        close();
        return;
    }
    if (isLast)
        newDraft();             // which the window then shows: a window without tabs is none
    if (!wasNothing && mayEnd)  // one that is discarded is listed as such
        program_.noteClosed(*this, document);
    tabs_.remove(document);
    dropPane(document);
    showTab();
    if (!program_.isShown(document))
        emit program_.tabClosed(document);
}

void DocumentWindow::closeOtherTabs(const Uuid& document)
{
    for (const Uuid& other : std::vector<Uuid>(tabs_.documents())) {
        if (other != document)
            closeTab(other);
    }
}

void DocumentWindow::moveTab(std::ptrdiff_t steps)
{
    const auto selected = tabs_.selected();
    if (!selected)
        return;
    const std::size_t from = *tabs_.indexOf(*selected);
    const auto to = static_cast<std::ptrdiff_t>(from) + steps;
    if (to < 0 || to >= static_cast<std::ptrdiff_t>(tabs_.documents().size()))
        return;
    tabs_.move(from, static_cast<std::size_t>(to));
    tabsChanged();
}

void DocumentWindow::cycleTabs(std::ptrdiff_t steps)
{
    const std::size_t count = tabs_.documents().size();
    if (count < 2)
        return;
    cycled_ = (cycled_ + count + static_cast<std::size_t>(steps + static_cast<std::ptrdiff_t>(count))) % count;
    tabs_.show(*tabs_.byUse(cycled_));
    isCycling_ = true;
    showTab();
}

void DocumentWindow::endCycle()
{
    if (!std::exchange(isCycling_, false))
        return;
    cycled_ = 0;
    tabs_.select(*tabs_.selected());
    isTouched();
}

void DocumentWindow::moveToNewWindow(const Uuid& document)
{
    if (tabs_.documents().size() < 2)
        return;
    // The other window holds the document before this one lets go of it.
    DocumentWindow& window = program_.newWindowBeside(*this);
    window.insertTab(document, 0, tabToGive(document));
    giveTab(document);
}

std::optional<EditorState> DocumentWindow::stateOf(const Uuid& document) const
{
    if (const auto pane = panes_.find(document); pane != panes_.end()) {
        if (auto state = pane->second->state())
            return state;
    }
    const EditorState* const kept = tabs_.stateOf(document);
    return kept ? std::optional(*kept) : std::nullopt;
}

DocumentWindow::GivenTab DocumentWindow::tabToGive(const Uuid& document) const
{
    return {stateOf(document), tabs_.tabID(document)};
}

DocumentWindow::GivenTab DocumentWindow::giveTab(const Uuid& document)
{
    GivenTab given = tabToGive(document);
    const bool isLast = tabs_.documents().size() == 1;
    tabs_.remove(document);
    dropPane(document);
    if (!isLast)
        showTab(false);
    else if (!program_.hasOneWindow() && tabBar_->isDragging())
        connect(tabBar_, &DocumentTabBar::dragEnded, this, &QWidget::close, Qt::QueuedConnection);
    else if (!program_.hasOneWindow())
        QMetaObject::invokeMethod(this, &QWidget::close, Qt::QueuedConnection);
    else
        newDraft();
    return given;
}

}  // namespace penmark
