// SPDX-License-Identifier: GPL-3.0-or-later
// What can be done with sessions, and with windows and tabs in them.
#include "app/navigator/DraggedRows.h"
#include "app/navigator/SessionSection.h"

#include <QCheckBox>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>

namespace penmark {

bool SessionSection::activate(const Rows& rows, Activation how)
{
    for (const int row : rows) {
        const Node node = at(row);  // opening changes the rows
        switch (node.kind) {
        case Kind::session:
            if (how == Activation::switchTo)
                actions_.switchToSession(node.session->id);
            else
                actions_.openSession(node.session->id);
            return true;  // the others would come to the front above it
        case Kind::window:
            actions_.showWindow(node.window);
            return true;
        case Kind::tab:
            if (how == Activation::newWindow)
                actions_.openDocument(node.document, true);
            else
                actions_.showWindow(node.window, node.document);
            return true;
        case Kind::message:
            break;
        }
    }
    return true;
}

bool SessionSection::rename(int row, const QString& name)
{
    if (at(row).kind != Kind::session)
        return false;
    actions_.renameSession(at(row).session->id, name.simplified());
    return true;
}

bool SessionSection::remove(const Rows& rows)
{
    if (rows.size() == 1 && at(rows.front()).kind == Kind::session)
        askToDelete(*at(rows.front()).session);
    return true;
}

void SessionSection::askToDelete(const PenmarkSession& session)
{
    auto* const box = new QMessageBox(QMessageBox::Warning, tr("Delete Session"),
                                      tr("Delete the session “%1”?").arg(source_.sessionTitle(session)),
                                      QMessageBox::Cancel, &window());
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(tr("Its windows are removed, and this cannot be undone. The documents stay in the "
                               "library. Sessions nested in it are kept."));
    QPushButton* const button = box->addButton(tr("Delete Session"), QMessageBox::DestructiveRole);
    auto* const discards = new QCheckBox(tr("Also discard drafts that are in no other session"), box);
    box->setCheckBox(discards);
    box->setDefaultButton(QMessageBox::Cancel);
    connect(box, &QMessageBox::buttonClicked, this,
            [this, button, discards, id = session.id](QAbstractButton* pressed) {
                if (pressed == button)
                    actions_.deleteSession(id, discards->isChecked());
            });
    box->open();
}

void SessionSection::fillMenu(QMenu& menu, const Rows& rows)
{
    if (rows.empty()) {
        menu.addAction(tr("New Session…"), this, [this] { actions_.askForNewSession(window()); });
        menu.addAction(tr("Keep Checkpoint…"), this, [this] { actions_.askToKeepCheckpoint(window()); });
        return;
    }
    const Node& node = at(rows.front());
    if (rows.size() == 1 && node.kind == Kind::session)
        fillSessionMenu(menu, rows.front());
    else if (rows.size() == 1 && node.kind != Kind::message)
        fillPartMenu(menu, node);
}

void SessionSection::fillSessionMenu(QMenu& menu, int row)
{
    const PenmarkSession& session = *at(row).session;
    const Uuid id = session.id;
    const auto add = [&](const QString& text, auto action, const QString& keys = {}) {
        QAction* const added = menu.addAction(text, this, action);
        added->setShortcut(QKeySequence(keys, QKeySequence::PortableText));
        added->setShortcutVisibleInContextMenu(true);
        return added;
    };
    add(
        tr("Open"), [this, id] { actions_.openSession(id); }, QStringLiteral("Return"));
    add(
        tr("Switch To"), [this, id] { actions_.switchToSession(id); }, QStringLiteral("Shift+Return"));
    const bool isActive = library().settings.activeSessionID == id;
    add(tr("Open Here"), [this, id] { actions_.openSessionHere(id); })->setEnabled(!isActive);
    QAction* const close = add(tr("Close Session"), [this, id] { actions_.closeSession(id); });
    close->setEnabled(session.isOpen);
    close->setToolTip(tr("Put these windows and nested sessions aside together. Their tabs, layout and search "
                         "membership are kept."));
    menu.setToolTipsVisible(true);
    menu.addSeparator();
    add(
        tr("Rename…"), [this, row] { emit renameAsked(row); }, QStringLiteral("F2"));
    add(tr("New Nested Session…"), [this, id] { actions_.askForNewSession(window(), id); })->setEnabled(session.isOpen);
    QMenu* const into = menu.addMenu(tr("Move into Session"));
    if (session.parentID) {
        into->addAction(tr("None"), this, [this, id] { actions_.moveSession(id, std::nullopt); });
        into->addSeparator();
    }
    addSessionChoices(
        *into, source_, actions_,
        [this, &session](const PenmarkSession& target) {
            return target.id != session.parentID && !isWithin(library(), target.id, session.id) &&
                   (target.isOpen || !session.isOpen);
        },
        [this, id](const Uuid& target) { actions_.moveSession(id, target); });
    add(tr("Duplicate"), [this, id] { actions_.duplicateSession(id); });
    menu.addSeparator();
    if (session.returnNoteID)
        add(tr("Open Return Note"), [this, id] { actions_.openReturnNote(id); });
    else
        add(tr("Create Return Note"), [this, id] { actions_.createReturnNote(id); });
    add(tr("Keep Checkpoint…"), [this] { actions_.askToKeepCheckpoint(window()); });
    menu.addSeparator();
    const auto remove = [this, id] {
        if (const PenmarkSession* const found = library().sessions.find(id))
            askToDelete(*found);
    };
    add(tr("Delete Session…"), remove, QStringLiteral("Del"));
}

void SessionSection::fillPartMenu(QMenu& menu, const Node& node)
{
    const Uuid window = node.window;
    const Uuid document = node.document;
    const Uuid session = node.session->id;
    const bool isTab = node.kind == Kind::tab;
    menu.addAction(isTab ? tr("Go to Tab") : tr("Go to Window"), this, [this, window, document, isTab] {
        actions_.showWindow(window, isTab ? std::optional(document) : std::nullopt);
    });
    QMenu* const into = menu.addMenu(isTab ? tr("Add to Session") : tr("Move to Session"));
    addSessionChoices(
        *into, source_, actions_,
        [session, isTab](const PenmarkSession& target) { return target.id != session && (isTab || target.isOpen); },
        [this, window, document, isTab](const Uuid& target) {
            if (isTab)
                actions_.addDocumentsToSession({document}, target);
            else
                actions_.moveWindowToSession(window, target);
        });
    if (isTab)
        menu.addAction(tr("Document History…"), this, [this, document] { actions_.showHistory(document); });
}

void SessionSection::drag(int row, DraggedRows& dragged) const
{
    const Node& node = at(row);
    switch (node.kind) {
    case Kind::session:
        dragged.sessions.push_back(node.session->id);
        break;
    case Kind::window:
        dragged.windows.push_back(node.window);
        break;
    case Kind::tab:
        dragged.tabs.push_back({node.window, node.document});
        dragged.documents.push_back(node.document);
        break;
    case Kind::message:
        break;
    }
}

/// On the heading a session leaves the one around it.
bool SessionSection::canDrop(const DraggedRows& dragged, int row) const
{
    const Session& target = row < 0 ? nullptr : at(row).session;
    if (!target)
        return !dragged.sessions.empty() && row < 0;
    for (const Uuid& id : dragged.sessions) {
        const PenmarkSession* const moved = library().sessions.find(id);
        if (!moved || isWithin(library(), target->id, id) || (moved->isOpen && !target->isOpen))
            return false;
    }
    for (const Uuid& id : dragged.windows) {
        const PenmarkSession* const owner = library().sessionOf(id);
        if (!owner || owner->id == target->id || !target->isOpen)
            return false;
    }
    return !dragged.sessions.empty() || !dragged.windows.empty() || !dragged.documents.empty();
}

void SessionSection::drop(const DraggedRows& dragged, int row)
{
    const std::optional<Uuid> target = row < 0 ? std::nullopt : std::optional(at(row).session->id);
    for (const Uuid& id : dragged.sessions)
        actions_.moveSession(id, target);
    if (!target)
        return;
    for (const Uuid& id : dragged.windows)
        actions_.moveWindowToSession(id, *target);
    if (!dragged.documents.empty())
        actions_.addDocumentsToSession(dragged.documents, *target);
}

}  // namespace penmark
