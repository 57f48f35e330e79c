// SPDX-License-Identifier: GPL-3.0-or-later
// The windows of the program: making them, taking them away, and following the sessions that they belong to.
#include "app/editor/Strings.h"
#include "app/sessions/SessionTitles.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/Program.h"
#include "app/windows/ProgramSessions.h"
#include "organization/ClosedItems.h"
#include "organization/Sessions.h"
#include "organization/WindowTabs.h"
#include "organization/Workspaces.h"

#include <algorithm>
#include <set>
#include <utility>

namespace penmark {

std::vector<DocumentWindow*> Program::windows() const
{
    return windows_;
}

DocumentWindow& Program::frontWindow()
{
    const auto visible = std::find_if(windows_.begin(), windows_.end(), [](const auto* window) {
        return !window->isHidden();  // others are there all the same while a workspace is in focus
    });
    if (visible != windows_.end())
        return **visible;
    return windows_.empty() ? newWindow() : *windows_.front();
}

DocumentWindow* Program::findWindow(const Uuid& id) const
{
    const auto found =
        std::find_if(windows_.begin(), windows_.end(), [&](const auto* window) { return window->id() == id; });
    return found == windows_.end() ? nullptr : *found;
}

bool Program::hasOneWindow() const
{
    SessionLibrary unfocused = records_->library();
    unfocused.settings.focusedWorkspaceID.reset();
    return windows_.size() == 1 &&
           (!records_->library().settings.focusedWorkspaceID || shownWindows(unfocused).size() < 2);
}

void Program::bringToFront(DocumentWindow& window)
{
    // The desktop may take its time, or refuse; what follows means this window all the same.
    const auto found = std::find(windows_.begin(), windows_.end(), &window);
    std::rotate(windows_.begin(), found, found == windows_.end() ? found : found + 1);
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.raise();
    window.activateWindow();
}

void Program::endFocus()
{
    if (records_->library().settings.focusedWorkspaceID && !ending_)
        records_->change([](SessionLibrary& library) { penmark::endFocus(library); });
}

void Program::restoreAllLeftOut()
{
    if (notRestored_.empty())
        return;
    notRestored_.clear();
    followSessions();
}

DocumentWindow& Program::newWindow()
{
    endFocus();
    DocumentWindow& window = makeWindow();
    window.newDraft();
    return window;
}

DocumentWindow& Program::makeWindow(const RecoveryWindow* record)
{
    RecoveryWindow fresh;
    if (!record) {
        fresh.id = Uuid::random();
        record = &fresh;
    }
    auto* const window = new DocumentWindow(*this, *record);
    windows_.insert(windows_.begin(), window);
    if (record->presentation && record->presentation->minimized.value_or(false))
        window->showMinimized();
    else
        window->show();
    window->showFront();
    emit windowsChanged();
    return *window;
}

DocumentWindow& Program::newWindowBeside(DocumentWindow& other, std::optional<Uuid> document)
{
    endFocus();
    RecoveryWindow record;
    record.id = Uuid::random();
    if (const PenmarkSession* const session = records_->library().sessionOf(other.id()))
        record.sessionID = session->id;
    DocumentWindow& window = makeWindow(&record);
    constexpr int step = 32;
    window.resize(other.size());
    window.move(other.pos() + QPoint(step, step));
    if (document)
        window.showDocument(*document);
    else
        window.newDraft();
    return window;
}

void Program::restoreWindowsInOrder()
{
    std::vector<Uuid> shown = shownWindows(records_->library());
    std::reverse(shown.begin(), shown.end());  // the one in front comes last, above the others
    for (const Uuid& id : shown) {
        const RecoveryWindow record = *records_->library().findWindow(id);
        makeWindow(&record);
    }
}

void Program::restoreLeftOut(const std::vector<Uuid>& windows)
{
    for (const Uuid& window : windows)
        notRestored_.erase(window);
}

void Program::followSessions()
{
    if (ending_)
        return;
    const SessionLibrary library = records_->library();
    std::vector<Uuid> shown = shownWindows(library);
    std::erase_if(shown, [this](const Uuid& window) { return notRestored_.contains(window); });
    std::vector<DocumentWindow*> gone;
    for (DocumentWindow* window : std::vector<DocumentWindow*>(windows_)) {
        const RecoveryWindow* const record = library.findWindow(window->id());
        if (!record || !record->isOpen || record->documents.empty() || !library.sessionOf(window->id())->isOpen)
            gone.push_back(window);
        else
            window->follow(*record);
    }
    // New ones come before others go, so that the program is never without a window.
    for (auto id = shown.rbegin(); id != shown.rend(); ++id) {
        if (DocumentWindow* const window = findWindow(*id))
            window->setVisible(true);
        else
            makeWindow(library.findWindow(*id));
    }
    const bool hadFocus = std::any_of(gone.begin(), gone.end(), [](auto* window) { return window->isActiveWindow(); });
    for (DocumentWindow* window : gone)
        takeAway(*window);
    for (DocumentWindow* window : windows_) {
        if (std::find(shown.begin(), shown.end(), window->id()) == shown.end())
            window->hide();
    }
    keepOneVisible();
    if (hadFocus)
        frontWindow().activateWindow();
    emit windowsChanged();
}

void Program::keepOneVisible()
{
    if (ending_ ||
        std::any_of(windows_.begin(), windows_.end(), [](const auto* window) { return !window->isHidden(); }))
        return;
    if (records_->library().settings.focusedWorkspaceID)
        endFocus();
    else
        newWindow();
}

void Program::takeAway(DocumentWindow& window)
{
    std::erase(windows_, &window);
    const std::vector<Uuid> documents = window.tabs().documents();
    window.forget();
    window.hide();
    window.deleteLater();
    for (const Uuid& document : documents) {
        if (RecoveryBuffer* buffer = documents_->find(document))
            documents_->store(*buffer);
        if (!isShown(document))
            emit tabClosed(document);
    }
}

void Program::windowActivated(DocumentWindow& window)
{
    const auto found = std::find(windows_.begin(), windows_.end(), &window);
    if (found == windows_.end() || ending_)  // windows that go one after the other say nothing about their use
        return;
    std::rotate(windows_.begin(), found, found + 1);
    if (!records_->library().findWindow(window.id()))
        records_->put(window.record());
    records_->used(window.id());
    emit activeDocumentChanged();
}

bool Program::isShown(const Uuid& document) const
{
    return std::any_of(windows_.begin(), windows_.end(),
                       [&](const DocumentWindow* window) { return window->tabs().contains(document); });
}

// ---- closing and reopening ----

void Program::putIntoClosed(SessionLibrary& library, const RecoveryWindow& window,
                            FunctionRef<bool(const Uuid& document)> isWanted)
{
    const auto item = closeWindow(library, window.id, windowTitle(*documents_, window).toStdString(), records_->now());
    if (!item)
        return;
    bool isEmpty = false;
    library.recentlyClosed.change(*item, [&](ClosedPenmarkItem& closed) {
        keepTabs(closed.window, isWanted);
        isEmpty = closed.window.documents.empty();
    });
    if (isEmpty)
        forgetClosed(library, *item);
}

void Program::putLeftOutIntoClosed()
{
    records_->changeQuietly([&](SessionLibrary& library) {
        for (const Uuid& id : std::exchange(notRestored_, {})) {
            if (const RecoveryWindow* const found = library.findWindow(id))
                putIntoClosed(library, RecoveryWindow(*found),
                              [this](const Uuid& document) { return isThere(document); });
        }
    });
    records_->save();
}

void Program::windowClosed(DocumentWindow& window)
{
    if (!findWindow(window.id()))  // it has been taken away meanwhile
        return;
    if (hasOneWindow()) {
        quit();
        return;
    }
    records_->changeQuietly([&](SessionLibrary& library) {
        putIntoClosed(library, window.record(), [&](const Uuid& id) { return !window.isNothing(id); });
    });
    takeAway(window);
    records_->save();
    keepOneVisible();
    emit windowsChanged();
}

void Program::noteClosed(DocumentWindow& window, const Uuid& document)
{
    records_->changeQuietly([&](SessionLibrary& library) {
        penmark::closeTab(library, window.id(), document, documentTitle(*documents_, document).toStdString(),
                          records_->now());
    });
}

bool Program::isThere(const Uuid& document) const
{
    const DocumentHeader* const header = documents_->headers().find(document);
    return header ? !header->deleted : !documents_->headers().isLoaded() || documents_->find(document) != nullptr;
}

std::optional<Uuid> Program::lastClosed() const
{
    const SessionLibrary& library = records_->library();
    std::optional<Uuid> ofClosedSession;
    const auto& items = library.recentlyClosed.items();
    for (auto item = items.rbegin(); item != items.rend(); ++item) {
        const RecoveryWindow& window = (*item)->window;
        if (std::none_of(window.documents.begin(), window.documents.end(),
                         [this](const Uuid& document) { return isThere(document); }))
            continue;
        const PenmarkSession* const session = (*item)->sessionID ? library.sessions.find(*(*item)->sessionID) : nullptr;
        if (!session || session->isOpen)
            return (*item)->id;
        if (!ofClosedSession)
            ofClosedSession = (*item)->id;
    }
    return ofClosedSession;
}

void Program::reopenClosed()
{
    if (const auto item = lastClosed())
        sessions_->reopenClosed(*item);
}

}  // namespace penmark
