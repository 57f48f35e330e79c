// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/ShownEditor.h"

#include <QInputMethodEvent>
#include <QMimeData>
#include <QScrollBar>
#include <QUrl>
#include <QWheelEvent>

namespace penmark {
namespace {

std::string lines(int count)
{
    std::string text;
    for (int line = 0; line < count; ++line)
        text += "line\n";
    return text;
}

TEST(EditorMouse, ClicksPutCaretsAndSelect)
{
    ShownEditor editor("one two three\nfour five\nsix");
    editor.click(5);
    EXPECT_EQ(editor.carets(), "5");
    editor.click(16, Qt::ShiftModifier);
    EXPECT_EQ(editor.carets(), "5-16");
    editor.click(25);
    editor.click(2, Qt::AltModifier);
    EXPECT_EQ(editor.carets(), "2 25");
    editor.click(2, Qt::AltModifier);
    EXPECT_EQ(editor.carets(), "25") << "a second click takes it away";
    editor.click(25);
    editor.drag(editor.at(1), editor.at(17));
    EXPECT_EQ(editor.carets(), "1-17");
}

TEST(EditorMouse, DoubleAndTripleClicksSelectWordsAndLines)
{
    ShownEditor editor("one two three\nfour five\nsix");
    const QPoint word = editor.at(5);
    editor.forgetDoubleClick();
    QTest::mouseClick(editor.area(), Qt::LeftButton, {}, word);
    QTest::mouseDClick(editor.area(), Qt::LeftButton, {}, word);
    EXPECT_EQ(editor.carets(), "4-7");
    QTest::mousePress(editor.area(), Qt::LeftButton, {}, word);
    EXPECT_EQ(editor.carets(), "0-14");
    editor.moveTo(editor.at(20));
    EXPECT_EQ(editor.carets(), "0-24");
    QTest::mouseRelease(editor.area(), Qt::LeftButton, {}, editor.at(20));
    // Held down, a double click goes on by words, in either direction.
    editor.put(0);
    QMouseEvent press(QEvent::MouseButtonDblClick, word, editor.area()->mapToGlobal(word), Qt::LeftButton,
                      Qt::LeftButton, {});
    QCoreApplication::sendEvent(editor.area(), &press);
    editor.moveTo(editor.at(10));
    EXPECT_EQ(editor.carets(), "4-13");
    editor.moveTo(editor.at(1));
    EXPECT_EQ(editor.carets(), "7-0");
}

TEST(EditorMouse, ColumnsKeepTheirCornerWhileScrolling)
{
    ShownEditor editor(lines(100));
    const auto held = Qt::ShiftModifier | Qt::AltModifier;
    QTest::mousePress(editor.area(), Qt::LeftButton, held, editor.at(6));
    editor.moveTo(editor.at(18), held);
    EXPECT_EQ(editor.carets(), "6-8 11-13 16-18");
    editor.view.textLayout().scrollBy(-10 * editor.view.textLayout().rowHeight());
    editor.moveTo(editor.at(5 * 15 + 3), held);
    EXPECT_EQ(editor.view.editor().carets().size(), 15U);
    EXPECT_EQ(editor.view.editor().carets()[0].anchor, Utf8Offset(6));
    QTest::mouseRelease(editor.area(), Qt::LeftButton, held, {100, 100});
}

TEST(EditorMouse, AClickOnASelectionKeepsItUntilTheButtonIsReleased)
{
    ShownEditor editor("one two three");
    editor.select(4, 7);
    const QPoint inside = editor.at(5);
    QTest::mousePress(editor.area(), Qt::LeftButton, {}, inside);
    EXPECT_EQ(editor.carets(), "4-7");
    QTest::mouseRelease(editor.area(), Qt::LeftButton, {}, inside);
    EXPECT_EQ(editor.carets(), "5");
}

TEST(EditorMouse, TheMarginSelectsLinesAndFolds)
{
    ShownEditor editor("a {\n  b\n}\nend\n", EditorLanguage::c);
    QTest::mouseClick(editor.area(), Qt::LeftButton, {}, {3, editor.at(5).y()});
    EXPECT_EQ(editor.carets(), "4-8");
    const int triangle = editor.at(0).x() - 8;
    QTest::mouseClick(editor.area(), Qt::LeftButton, {}, {triangle, editor.at(0).y()});
    EXPECT_EQ(editor.view.editor().folds().all().size(), 1U);
    EXPECT_EQ(editor.carets(), "3-8") << "out of the fold";
    QTest::mouseClick(editor.area(), Qt::LeftButton, {}, {triangle, editor.at(0).y()});
    EXPECT_TRUE(editor.view.editor().folds().empty());
}

TEST(EditorMouse, WheelAndScrollBarGoTheirWay)
{
    ShownEditor editor(lines(300));
    const auto wheel = [&](int angle, int pixels, Qt::KeyboardModifiers modifiers = {}) {
        QWheelEvent event(QPointF(50, 50), QPointF(50, 50), {0, pixels}, {0, angle}, {}, modifiers, Qt::NoScrollPhase,
                          false);
        QCoreApplication::sendEvent(editor.area(), &event);
        return editor.view.textLayout().anchor().offset.value;
    };
    EXPECT_GT(wheel(0, -100), 0U);
    EXPECT_EQ(wheel(0, 100), 0U);
    EXPECT_GT(wheel(-60, 0), 0U);
    EXPECT_EQ(wheel(60, 0), 0U);
    wheel(-120, 0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return editor.view.textLayout().anchor().offset.value > 0; }));
    editor.key(Qt::Key_Home, Qt::ControlModifier);
    editor.view.textLayout().scrollToStart();
    editor.view.refresh(false);
    QScrollBar* bar = editor.view.verticalScrollBar();
    bar->triggerAction(QAbstractSlider::SliderPageStepAdd);
    const std::size_t page = editor.view.textLayout().anchor().offset.value;
    EXPECT_GT(page, 50U);
    bar->triggerAction(QAbstractSlider::SliderPageStepSub);
    EXPECT_EQ(editor.view.textLayout().anchor().offset.value, 0U);
    bar->setValue(bar->maximum());
    EXPECT_FALSE(editor.view.caretRect(Caret(editor.document.text().end())).isEmpty());
    const double size = editor.view.textLayout().font().pointSizeF();
    wheel(120, 0, Qt::ControlModifier);
    EXPECT_EQ(editor.view.textLayout().font().pointSizeF(), size + 1);
}

TEST(EditorMouse, DraggingOutsideScrolls)
{
    ShownEditor editor(lines(300));
    QTest::mousePress(editor.area(), Qt::LeftButton, {}, editor.at(6));
    editor.moveTo({100, editor.area()->height() + 40});
    EXPECT_TRUE(QTest::qWaitFor([&] { return editor.head() > 5 * 60; }));
    EXPECT_EQ(editor.view.editor().carets().main().anchor, Utf8Offset(6));
    // Meanwhile the text goes: the drag stays inside of what is left.
    editor.document.load(TextSnapshot(std::string_view("ab")), EditorLanguage::plainText);
    editor.moveTo({100, 5});
    editor.settle();
    EXPECT_LE(editor.head(), 2U);
    QTest::mouseRelease(editor.area(), Qt::LeftButton, {}, {100, 5});
}

TEST(EditorMouse, TextAndFilesAreDropped)
{
    ShownEditor editor("one two");
    QList<QUrl> files;
    QObject::connect(&editor.view, &EditorView::filesDropped, &editor.view,
                     [&](const QList<QUrl>& urls) { files = urls; });
    const auto drop = [&](const QMimeData& data, QPoint at, Qt::KeyboardModifiers modifiers = {}) {
        QDragEnterEvent enter(at, Qt::CopyAction, &data, Qt::LeftButton, modifiers);
        QCoreApplication::sendEvent(editor.area(), &enter);
        QDragMoveEvent move(at, Qt::CopyAction, &data, Qt::LeftButton, modifiers);
        QCoreApplication::sendEvent(editor.area(), &move);
        QDropEvent event(at, Qt::CopyAction, &data, Qt::LeftButton, modifiers);
        QCoreApplication::sendEvent(editor.area(), &event);
    };
    QMimeData text;
    text.setText(QStringLiteral("new "));
    drop(text, editor.at(4));
    EXPECT_EQ(editor.text(), "one new two");
    EXPECT_EQ(editor.carets(), "4-8");
    editor.key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(editor.text(), "one two");
    QMimeData urls;
    urls.setUrls({QUrl::fromLocalFile(QStringLiteral("/tmp/a b"))});
    drop(urls, editor.at(4));
    EXPECT_EQ(files.size(), 1);
    EXPECT_EQ(editor.text(), "one two");
    drop(urls, editor.at(0), Qt::ShiftModifier);
    EXPECT_EQ(editor.text(), "/tmp/a bone two");
    editor.view.setReadOnly(true);
    drop(text, editor.at(4));
    EXPECT_EQ(editor.text(), "/tmp/a bone two");
}

// Files are opened elsewhere, so a text that cannot be edited takes them, too, and they are never moved away.
TEST(EditorMouse, FilesAreDroppedOnAReadOnlyText)
{
    ShownEditor editor("one two");
    editor.view.setReadOnly(true);
    QList<QUrl> files;
    QObject::connect(&editor.view, &EditorView::filesDropped, &editor.view,
                     [&](const QList<QUrl>& urls) { files = urls; });
    QMimeData urls;
    urls.setUrls({QUrl::fromLocalFile(QStringLiteral("/tmp/a"))});
    QMimeData text;
    text.setText(QStringLiteral("new "));
    const Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction;
    QDragEnterEvent enter(QPoint(60, 10), actions, &urls, Qt::LeftButton, {});
    enter.ignore();
    QCoreApplication::sendEvent(editor.area(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(60, 10), actions, &urls, Qt::LeftButton, {});
    drop.setDropAction(Qt::MoveAction);
    QCoreApplication::sendEvent(editor.area(), &drop);
    EXPECT_EQ(files.size(), 1);
    EXPECT_TRUE(drop.isAccepted());
    EXPECT_EQ(drop.dropAction(), Qt::CopyAction);
    QDragEnterEvent enterText(QPoint(60, 10), actions, &text, Qt::LeftButton, {});
    enterText.ignore();
    QCoreApplication::sendEvent(editor.area(), &enterText);
    EXPECT_FALSE(enterText.isAccepted());
}

// What is being composed is part of the text before something else comes into it.
TEST(EditorMouse, ADropFinishesTheComposition)
{
    ShownEditor editor("one two");
    editor.put(7);
    QInputMethodEvent compose(QString::fromUtf8("に"), {});
    QCoreApplication::sendEvent(&editor.view, &compose);
    QMimeData text;
    text.setText(QStringLiteral("new "));
    QDragEnterEvent enter(editor.at(0), Qt::CopyAction, &text, Qt::LeftButton, {});
    QCoreApplication::sendEvent(editor.area(), &enter);
    QDropEvent drop(editor.at(0), Qt::CopyAction, &text, Qt::LeftButton, {});
    QCoreApplication::sendEvent(editor.area(), &drop);
    EXPECT_EQ(editor.text(), "new one twoに");
    EXPECT_EQ(editor.carets(), "0-4");
}

TEST(EditorMouse, FoldMarksOfTheMarginGoWithTheMouse)
{
    ShownEditor editor("a {\n  b\n}\nend\n", EditorLanguage::c);
    const QImage before = editor.painted();
    QMouseEvent over(QEvent::MouseMove, QPointF(3, 5), editor.area()->mapToGlobal(QPointF(3, 5)), Qt::NoButton,
                     Qt::NoButton, {});
    QCoreApplication::sendEvent(editor.area(), &over);
    EXPECT_NE(editor.painted(), before);
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(editor.area(), &leave);
    EXPECT_EQ(editor.painted(), before);
}

// Small steps of a touchpad zoom as far as a wheel's notch when they have come as far.
TEST(EditorMouse, SmallWheelStepsZoomByNotches)
{
    ShownEditor editor("one");
    const double size = editor.view.textLayout().font().pointSizeF();
    for (int step = 0; step < 16; ++step) {
        QWheelEvent event(QPointF(50, 50), QPointF(50, 50), {}, {0, 15}, {}, Qt::ControlModifier, Qt::NoScrollPhase,
                          false);
        QCoreApplication::sendEvent(editor.area(), &event);
    }
    EXPECT_EQ(editor.view.textLayout().font().pointSizeF(), size + 2);
}

}  // namespace
}  // namespace penmark
