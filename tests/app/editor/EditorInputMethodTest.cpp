// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/ShownEditor.h"

#include <QInputMethodEvent>
#include <QLineEdit>

namespace penmark {
namespace {

void compose(ShownEditor& editor, const char* preedit)
{
    QInputMethodEvent event(QString::fromUtf8(preedit), {});
    QCoreApplication::sendEvent(&editor.view, &event);
}

void commit(ShownEditor& editor, const char* text, int from = 0, int length = 0)
{
    QInputMethodEvent event;
    event.setCommitString(QString::fromUtf8(text), from, length);
    QCoreApplication::sendEvent(&editor.view, &event);
}

TEST(EditorInputMethod, ComposesInPlaceAndCommitsAtAllCarets)
{
    ShownEditor editor("one\ntwo");
    editor.putAll({3, 7});
    const QImage before = editor.painted();
    const QRect caret = editor.view.inputMethodQuery(Qt::ImCursorRectangle).toRect();
    compose(editor, "にほ");
    EXPECT_EQ(editor.text(), "one\ntwo");
    EXPECT_NE(editor.painted(), before);
    EXPECT_GT(editor.view.inputMethodQuery(Qt::ImCursorRectangle).toRect().left(), caret.left());
    commit(editor, "日本");
    EXPECT_EQ(editor.text(), "one日本\ntwo日本");
    editor.settle();
    EXPECT_EQ(editor.seen(), editor.painted());
    editor.key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(editor.text(), "one\ntwo");
    // Given up, it leaves nothing behind.
    compose(editor, "に");
    compose(editor, "");
    EXPECT_EQ(editor.text(), "one\ntwo");
    EXPECT_EQ(editor.painted(), before);
}

TEST(EditorInputMethod, TellsAndReplacesWhatStandsAround)
{
    const std::string text = "before\r\n😀e\u0301 word\r\nbehind";
    ShownEditor editor(text);
    const std::size_t end = text.find("\r\nbehind");
    editor.put(end);
    EXPECT_EQ(editor.view.inputMethodQuery(Qt::ImSurroundingText).toString().toStdString(), "😀e\u0301 word");
    EXPECT_EQ(editor.view.inputMethodQuery(Qt::ImCursorPosition).toInt(), 9);
    EXPECT_EQ(editor.view.inputMethodQuery(Qt::ImTextBeforeCursor).toString().toStdString(), "😀e\u0301 word");
    commit(editor, "x", -4, 4);
    EXPECT_EQ(editor.text(), "before\r\n😀e\u0301 x\r\nbehind");
    commit(editor, "", -4, 2);
    EXPECT_EQ(editor.text(), "before\r\n😀 x\r\nbehind");
    // Of a long line only what is near, and places count from there.
    std::string longText(100'000, 'a');
    editor.setText(longText);
    editor.put(50'000);
    const QString around = editor.view.inputMethodQuery(Qt::ImSurroundingText).toString();
    EXPECT_LE(around.size(), 10'000);
    const int cursor = editor.view.inputMethodQuery(Qt::ImCursorPosition).toInt();
    QInputMethodEvent event({}, {{QInputMethodEvent::Selection, cursor - 3, 3, {}}});
    QCoreApplication::sendEvent(&editor.view, &event);
    EXPECT_EQ(editor.carets(), "49997-50000");
}

// Whatever comes in between, what was composed is part of the text first.
TEST(EditorInputMethod, NothingComposedIsLost)
{
    ShownEditor editor("ab");
    editor.put(1);
    compose(editor, "に");
    editor.key(Qt::Key_Home);
    EXPECT_EQ(editor.text(), "aにb");
    EXPECT_EQ(editor.carets(), "0");
    compose(editor, "x");
    QTest::mouseClick(editor.area(), Qt::LeftButton, {}, editor.at(4));
    EXPECT_EQ(editor.text(), "xaにb");
    compose(editor, "y");
    QLineEdit other;
    other.show();
    other.activateWindow();
    other.setFocus();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !editor.view.hasFocus(); }));
    EXPECT_NE(editor.text().find('y'), std::string::npos);
    // Another text has no place for it.
    compose(editor, "z");
    editor.setText("new");
    editor.key(Qt::Key_Right);
    EXPECT_EQ(editor.text(), "new");
    editor.view.setReadOnly(true);
    commit(editor, "no");
    EXPECT_EQ(editor.text(), "new");
}

// A range that begins before the text ends where it says all the same.
TEST(EditorInputMethod, ReplacesNothingBehindTheRange)
{
    ShownEditor editor("abcdefgh");
    editor.put(2);
    commit(editor, "x", -5, 5);
    EXPECT_EQ(editor.text(), "xcdefgh");
    EXPECT_EQ(editor.carets(), "1");
    commit(editor, "y", -4, 2);
    EXPECT_EQ(editor.text(), "yxcdefgh") << "the range is before the text altogether";
}

// Between two pieces of a long line the candidates' place is where the composed text is drawn.
TEST(EditorInputMethod, ComposesBetweenPieces)
{
    ShownEditor editor(std::string(30'000, 'a'));
    editor.view.setWrap(false);
    editor.view.setCarets(CaretSet(Caret(Utf8Offset(ViewLayout::pieceBytes))));
    const QRect caret = editor.view.inputMethodQuery(Qt::ImCursorRectangle).toRect();
    compose(editor, "に");
    const QRect composing = editor.view.inputMethodQuery(Qt::ImCursorRectangle).toRect();
    EXPECT_EQ(composing.top(), caret.top());
    EXPECT_GT(composing.left(), caret.left());
    compose(editor, "");
}

}  // namespace
}  // namespace penmark
