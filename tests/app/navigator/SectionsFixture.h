// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/NavigatorView.h"
#include "app/navigator/SomeSessions.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMenu>
#include <QSignalSpy>
#include <QTest>
#include <memory>

#include <gtest/gtest.h>

namespace penmark {

/// The panel with all sections, in the window 10 of the session 1.
class SectionsFixture : public testing::Test {
protected:
    SectionsFixture()
        : source(new GivenSessions(headers)), view(headers), tree(view.findChild<NavigatorTree*>()),
          filter(view.findChild<QLineEdit*>())
    {
        headers.adopt({header(0, "Zero"), header(1, "One"), header(2, "Two"), header(3, "Three"), header(4, "Four")});
    }

    void show()
    {
        view.setSessions(std::unique_ptr<SessionSource>(source), actions, numbered(10));
        NavigatorState state;
        state.collapsed.clear();
        view.setState(state);
        view.resize(280, 900);
        view.show();
        view.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&view));
        tree->setFocus();
    }
    const NavigatorModel& model() const { return *static_cast<const NavigatorModel*>(tree->model()); }
    NavigatorSection& section(const char* word) const
    {
        for (int number = 0; number < model().sectionCount(); ++number)
            if (model().section(number).word() == QLatin1String(word))
                return *model().sectionOf(model().index(number, 0));
        throw std::runtime_error(word);
    }
    QModelIndex heading(const char* word) const { return model().index(model().numberOf(&section(word)), 0); }
    /// The row with that title.
    QModelIndex rowOf(const char* word, const char* title) const
    {
        for (int row = 0; row < section(word).rowCount(); ++row)
            if (section(word).row(row).title == QString::fromUtf8(title))
                return model().index(row, 0, heading(word));
        ADD_FAILURE() << word << " has no " << title;
        return {};
    }
    void select(const char* word, const char* title) { tree->select(rowOf(word, title)); }
    void key(Qt::Key pressed, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(tree, pressed, modifiers); }
    std::string rows(const char* word) const { return dumpTree(section(word)); }
    std::string current() const { return tree->currentIndex().data().toString().toStdString(); }
    std::string spoken(const char* word, const char* title) const
    {
        return rowOf(word, title).data(Qt::AccessibleTextRole).toString().toStdString();
    }
    void typeName(const char* name)
    {
        auto* const editor = tree->viewport()->findChild<QLineEdit*>();
        ASSERT_TRUE(editor);
        editor->setText(QString::fromUtf8(name));
        QTest::keyClick(editor, Qt::Key_Return);
        ASSERT_TRUE(QTest::qWaitFor([&] { return !tree->viewport()->findChild<QLineEdit*>(); }));
    }
    QMenu* openMenu()
    {
        QContextMenuEvent event(QContextMenuEvent::Keyboard, QPoint(), QPoint());
        QApplication::sendEvent(tree, &event);
        return qobject_cast<QMenu*>(QApplication::activePopupWidget());
    }
    static std::string texts(const QMenu* menu)
    {
        std::string list;
        for (const QAction* action : menu ? menu->actions() : QList<QAction*>())
            if (action->isEnabled() && !action->isSeparator())
                list += (list.empty() ? "" : ", ") + action->text().toStdString();
        return list;
    }
    static QAction* find(const QMenu* menu, const char* text)
    {
        for (QAction* action : menu ? menu->actions() : QList<QAction*>())
            if (action->text() == QString::fromUtf8(text) && action->isEnabled())
                return action;
        ADD_FAILURE() << "no entry " << text;
        return nullptr;
    }
    void choose(const char* text, const char* below = nullptr)
    {
        QMenu* const menu = openMenu();
        QAction* action = find(menu, text);
        if (action && below)
            action = find(action->menu(), below);
        if (action)
            action->trigger();
        if (menu)
            menu->close();
    }
    /// Drops rows of one section on a row of another, or on its heading. False if that is refused.
    bool drop(const QModelIndexList& dragged, const QModelIndex& target)
    {
        auto& all = const_cast<NavigatorModel&>(model());
        const std::unique_ptr<QMimeData> data(all.mimeData(dragged));
        if (!data || !all.canDrop(*data, target))
            return false;
        all.drop(*data, target);
        return true;
    }

    DocumentHeaders headers;
    NotedActions actions;
    GivenSessions* source;  // the view's, once it is shown
    NavigatorView view;
    NavigatorTree* tree;
    QLineEdit* filter;
};

}  // namespace penmark
