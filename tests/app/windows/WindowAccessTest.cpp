// SPDX-License-Identifier: GPL-3.0-or-later
// Windows without a mouse and without eyes.
#include "app/editor/EditorView.h"
#include "app/navigator/NavigatorView.h"
#include "app/penmark/FailureWindow.h"
#include "app/settings/SettingsWindow.h"
#include "app/windows/CompareWindow.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/DocumentTabBar.h"
#include "app/windows/MessageBar.h"
#include "app/windows/ProgramTest.h"

#include <QAbstractItemView>
#include <QAbstractScrollArea>
#include <QAccessible>
#include <QApplication>
#include <QSet>
#include <QToolButton>

namespace penmark {
namespace {

constexpr auto ctrl = Qt::ControlModifier;
constexpr auto shift = Qt::ShiftModifier;

QString described(const QWidget& widget)
{
    return QString::fromLatin1(widget.metaObject()->className()) + QLatin1String(" in ") +
           QString::fromLatin1(widget.parentWidget() ? widget.parentWidget()->metaObject()->className() : "-");
}

bool takesFocus(const QWidget& widget)
{
    return widget.isVisible() && widget.isEnabled() && (widget.focusPolicy() & Qt::TabFocus) && !widget.focusProxy();
}

void expectNames(QWidget& top)
{
    int seen = 0;
    for (QWidget* widget : top.findChildren<QWidget*>()) {
        if (!widget->isVisible() || widget->focusPolicy() == Qt::NoFocus || widget->focusProxy())
            continue;
        ++seen;
        QAccessibleInterface* const access = QAccessible::queryAccessibleInterface(widget);
        ASSERT_NE(access, nullptr) << described(*widget).toStdString();
        EXPECT_FALSE(access->text(QAccessible::Name).isEmpty()) << described(*widget).toStdString();
    }
    EXPECT_GT(seen, 0);
}

class WindowAccessTest : public ProgramTest {};

TEST_F(WindowAccessTest, EverythingThatTakesTheFocusHasAName)
{
    writeFile("a.txt", "text");
    openFile("a.txt");
    writeFile("a.txt", "other");
    key(Qt::Key_F9);
    window().showBar(QStringLiteral("A message."), DocumentMessage::Weight::note, {{QStringLiteral("Act"), [] {}}});
    QEvent back(QEvent::WindowActivate);
    QCoreApplication::sendEvent(&window(), &back);
    ASSERT_TRUE(wait([this] { return window().findChildren<MessageBar*>().size() == 2; }));
    {
        SCOPED_TRACE("window");
        expectNames(window());
    }
    key(Qt::Key_P, ctrl | shift);
    {
        SCOPED_TRACE("palette");
        expectNames(window());
    }
    key(Qt::Key_Escape);
    {
        SCOPED_TRACE("settings");
        program->showSettings(window());
        for (QWidget* top : QApplication::topLevelWidgets()) {
            if (auto* shown = qobject_cast<SettingsWindow*>(top)) {
                for (const char* page : {"general", "editor", "appearance", "keys", "files", "library", "privacy"}) {
                    SCOPED_TRACE(page);
                    shown->showPage(QString::fromLatin1(page));
                    expectNames(*shown);
                }
                shown->close();
            }
        }
    }
    {
        SCOPED_TRACE("failure");
        FailureWindow failure(StorageInitializationStatus::failed(RecoveryError(RecoveryError::Case::locked)),
                              {folder.path() / "library", {}}, 7);
        failure.show();
        expectNames(failure);
    }
    {
        SCOPED_TRACE("compare");
        CompareWindow compare(*program, {QStringLiteral("a"), TextSnapshot(std::string("a"))},
                              {QStringLiteral("b"), TextSnapshot(std::string("b"))}, EditorLanguage::plainText);
        compare.setAttribute(Qt::WA_DeleteOnClose, false);
        compare.show();
        expectNames(compare);
    }
}

// Tab types a tab in a text, so another key has to lead out of it.
TEST_F(WindowAccessTest, EverythingIsReachedFromTheTextByKeys)
{
    drafts({"one", "two"});
    key(Qt::Key_F9);
    QTest::qWait(20);
    window().showBar(QStringLiteral("A message."), DocumentMessage::Weight::note, {{QStringLiteral("Act"), [] {}}});
    window().pane()->focusText();
    QSet<QWidget*> reached;
    for (int part = 1; part < 6; ++part) {
        window().pane()->focusText();
        for (int step = 0; step < part; ++step)
            key(Qt::Key_F6);
        for (int step = 0; step < 30; ++step) {
            QWidget* const focus = QApplication::focusWidget();
            ASSERT_NE(focus, nullptr);
            reached.insert(focus);
            if (qobject_cast<EditorView*>(focus))
                break;
            // One that Tab leads on from; a list has a key of its own to leave it.
            key(Qt::Key_Tab);
        }
    }
    for (QWidget* widget : window().findChildren<QWidget*>()) {
        if (takesFocus(*widget)) {
            EXPECT_TRUE(reached.contains(widget))
                << described(*widget).toStdString() << " " << widget->accessibleName().toStdString();
        }
    }
}

TEST_F(WindowAccessTest, F6GoesRoundAndEscBackToTheText)
{
    type("text");
    QWidget* const view = window().view();
    key(Qt::Key_F6);
    EXPECT_TRUE(window().statusLine().isAncestorOf(QApplication::focusWidget()));
    key(Qt::Key_F6);
    EXPECT_EQ(QApplication::focusWidget(), &window().tabBar());
    key(Qt::Key_F6);
    EXPECT_EQ(QApplication::focusWidget(), view);
    key(Qt::Key_F6, shift);
    EXPECT_EQ(QApplication::focusWidget(), &window().tabBar());
    key(Qt::Key_Escape);
    EXPECT_EQ(QApplication::focusWidget(), view);
    key(Qt::Key_F9);
    key(Qt::Key_F6);
    EXPECT_EQ(QApplication::focusWidget(), view);
    key(Qt::Key_F6, shift);
    EXPECT_TRUE(window().navigator()->isAncestorOf(QApplication::focusWidget()));
}

}  // namespace
}  // namespace penmark
