// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/ShownEditor.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QSet>
#include <QTimer>

namespace penmark {
namespace {

// Every default key is one combination, belongs to one command, and reaches it.
TEST(EditorKeys, EachKeyHasOneCommand)
{
    QSet<QKeyCombination> keys;
    QSet<QString> ids;
    for (const EditorCommand& command : editorCommands()) {
        EXPECT_FALSE(ids.contains(QString::fromLatin1(command.id))) << command.id;
        ids.insert(QString::fromLatin1(command.id));
        EXPECT_EQ(editorCommand(command.id), &command);
        const QString shortcuts = QString::fromLatin1(command.shortcuts);
        if (shortcuts.isEmpty())
            continue;
        for (const QKeySequence& sequence : QKeySequence::listFromString(shortcuts)) {
            SCOPED_TRACE(std::string(command.id) + " " + sequence.toString().toStdString());
            ASSERT_EQ(sequence.count(), 1);
            EXPECT_NE(sequence[0].key(), Qt::Key_unknown);
            EXPECT_FALSE(keys.contains(sequence[0]));
            keys.insert(sequence[0]);
            EXPECT_EQ(editorCommand(sequence[0]), &command);
        }
    }
    EXPECT_GT(keys.size(), 70);
}

TEST(EditorKeys, EditTheText)
{
    struct Case {
        const char* text;
        std::size_t at;
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        const char* after;
        const char* carets;
    };
    const auto control = Qt::ControlModifier;
    const auto shift = Qt::ShiftModifier;
    const auto alt = Qt::AltModifier;
    const Case cases[] = {
        {"ab", 1, Qt::Key_Return, {}, "a\nb", "2"},
        {"ab", 1, Qt::Key_Enter, Qt::KeypadModifier, "a\nb", "2"},
        {"ab", 1, Qt::Key_Backspace, {}, "b", "0"},
        {"ab", 1, Qt::Key_Delete, {}, "a", "1"},
        {"a\r\nb", 1, Qt::Key_Delete, {}, "ab", "1"},
        {"one two", 7, Qt::Key_Backspace, control, "one ", "4"},
        {"one two", 0, Qt::Key_Delete, control, "two", "0"},
        {"one two", 4, Qt::Key_Backspace, control | shift, "two", "0"},
        {"one two", 3, Qt::Key_Delete, control | shift, "one", "3"},
        {"a\nb\nc", 2, Qt::Key_Up, alt, "b\na\nc", "0"},
        {"a\nb\nc", 2, Qt::Key_Down, alt, "a\nc\nb", "4"},
        {"a\nb\nc", 2, Qt::Key_K, control | shift, "a\nc", "2"},
        {"a\nb\nc", 2, Qt::Key_D, control | shift, "a\nb\nb\nc", "4"},
        {"a\nb\nc", 0, Qt::Key_J, control, "a b\nc", "2"},
        {"a\nb", 0, Qt::Key_Return, control, "a\n\nb", "2"},
        {"a\nb", 2, Qt::Key_Return, control | shift, "a\n\nb", "2"},
        {"a", 0, Qt::Key_Tab, {}, "    a", "4"},
        {"    a", 5, Qt::Key_Backtab, shift, "a", "1"},
        {"a", 1, Qt::Key_BracketRight, control, "    a", "5"},
        {"    a", 5, Qt::Key_BracketLeft, control, "a", "1"},
    };
    ShownEditor editor;
    for (const Case& each : cases) {
        SCOPED_TRACE(QKeySequence(QKeyCombination(each.modifiers, each.key)).toString().toStdString());
        editor.setText(each.text);
        editor.put(each.at);
        editor.key(each.key, each.modifiers);
        EXPECT_EQ(editor.text(), each.after);
        EXPECT_EQ(editor.carets(), each.carets);
        editor.key(Qt::Key_Z, control);
        EXPECT_EQ(editor.text(), each.text);
        EXPECT_EQ(editor.carets(), std::to_string(each.at));
        editor.key(Qt::Key_Z, control | shift);
        EXPECT_EQ(editor.text(), each.after);
        EXPECT_EQ(editor.carets(), each.carets);
        // Of a text that cannot be edited nothing changes.
        editor.setText(each.text);
        editor.put(each.at);
        editor.view.setReadOnly(true);
        editor.key(each.key, each.modifiers);
        editor.type("x");
        EXPECT_EQ(editor.text(), each.text);
        editor.view.setReadOnly(false);
    }
}

TEST(EditorKeys, MoveAndSelect)
{
    const auto control = Qt::ControlModifier;
    const auto shift = Qt::ShiftModifier;
    struct Case {
        std::size_t at;
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        std::size_t head;
    };
    //                       0         10        20
    const char* const text = "one two\n  three\nfour five\n";
    const Case cases[] = {{1, Qt::Key_Right, {}, 2},      {1, Qt::Key_Left, {}, 0},      {8, Qt::Key_Left, {}, 7},
                          {7, Qt::Key_Right, {}, 8},      {1, Qt::Key_Down, {}, 9},      {9, Qt::Key_Up, {}, 1},
                          {0, Qt::Key_Up, {}, 0},         {26, Qt::Key_Down, {}, 26},    {12, Qt::Key_Home, {}, 10},
                          {10, Qt::Key_Home, {}, 8},      {8, Qt::Key_Home, {}, 10},     {12, Qt::Key_End, {}, 15},
                          {1, Qt::Key_Right, control, 4}, {5, Qt::Key_Left, control, 4}, {12, Qt::Key_Home, control, 0},
                          {12, Qt::Key_End, control, 26}, {1, Qt::Key_PageDown, {}, 26}, {20, Qt::Key_PageUp, {}, 4}};
    ShownEditor editor(text);
    for (const Case& each : cases) {
        SCOPED_TRACE(QKeySequence(QKeyCombination(each.modifiers, each.key)).toString().toStdString() + " at " +
                     std::to_string(each.at));
        editor.put(each.at);
        editor.key(each.key, each.modifiers);
        EXPECT_EQ(editor.carets(), std::to_string(each.head));
        editor.put(each.at);
        editor.key(each.key, each.modifiers | shift);
        EXPECT_EQ(editor.view.editor().carets().main().anchor.value, each.at);
        EXPECT_EQ(editor.head(), each.head);
    }
}

TEST(EditorKeys, HomeAndEndStayOnTheRow)
{
    std::string text;
    for (int word = 0; word < 60; ++word)
        text += "word ";
    ShownEditor editor(text);
    editor.put(150);
    const int y = editor.at(150).y();
    editor.key(Qt::Key_End);
    EXPECT_EQ(editor.view.caretRect(editor.view.editor().carets().main()).center().y(), y);
    const std::size_t end = editor.head();
    EXPECT_GT(end, 150U);
    editor.key(Qt::Key_End);
    EXPECT_EQ(editor.head(), end);
    editor.key(Qt::Key_Home);
    const std::size_t start = editor.head();
    EXPECT_LT(start, 150U);
    EXPECT_GT(start, 0U);
    EXPECT_EQ(editor.view.caretRect(editor.view.editor().carets().main()).center().y(), y);
    editor.key(Qt::Key_Home);
    EXPECT_EQ(editor.head(), 0U) << "a second time to the start of the line";
}

// Keyboards bring signs beyond 16 bits and joiners, too.
TEST(EditorKeys, TypeWhatTheKeyboardSends)
{
    ShownEditor editor;
    for (const QString& text : {QStringLiteral("a"), QStringLiteral("é"), QString::fromUtf8("😀"),
                                QString(QChar(0x200C)), QStringLiteral("xyz")}) {
        QKeyEvent event(QEvent::KeyPress, Qt::Key_unknown, {}, text);
        QCoreApplication::sendEvent(&editor.view, &event);
        EXPECT_TRUE(event.isAccepted());
    }
    EXPECT_EQ(editor.text(), "aé😀\u200Cxyz");
    QKeyEvent altGr(QEvent::KeyPress, Qt::Key_At, Qt::ControlModifier | Qt::AltModifier, QStringLiteral("@"));
    QCoreApplication::sendEvent(&editor.view, &altGr);
    EXPECT_EQ(editor.text(), "aé😀\u200Cxyz@");
    QKeyEvent control(QEvent::KeyPress, Qt::Key_E, Qt::ControlModifier, QStringLiteral("\x05"));
    QCoreApplication::sendEvent(&editor.view, &control);
    EXPECT_FALSE(control.isAccepted()) << "left to the window";
    EXPECT_EQ(editor.text(), "aé😀\u200Cxyz@");
}

// Shift is ignored for signs only: Ctrl+Shift+V is not Paste.
TEST(EditorKeys, ShiftIsPartOfALetter)
{
    ShownEditor editor("ab");
    QGuiApplication::clipboard()->setText(QStringLiteral("pasted"));
    editor.key(Qt::Key_V, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(editor.text(), "ab");
    const double size = editor.view.textLayout().font().pointSizeF();
    editor.key(Qt::Key_Plus, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(editor.view.textLayout().font().pointSizeF(), size + 1);
    editor.key(Qt::Key_0, Qt::ControlModifier);
    EXPECT_EQ(editor.view.textLayout().font().pointSizeF(), size);
}

TEST(EditorKeys, ClipboardKeepsPartsLinesAndZeros)
{
    const auto control = Qt::ControlModifier;
    ShownEditor editor("one two\nthree");
    editor.view.setCarets(CaretSet({Caret(Utf8Offset(0), Utf8Offset(3)), Caret(Utf8Offset(4), Utf8Offset(7))}, 1));
    editor.key(Qt::Key_C, control);
    EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), "one\ntwo");
    editor.putAll({8, 13});
    editor.key(Qt::Key_V, control);
    EXPECT_EQ(editor.text(), "one two\nonethreetwo");
    editor.key(Qt::Key_Z, control);
    EXPECT_EQ(editor.text(), "one two\nthree");
    editor.put(2);
    editor.key(Qt::Key_X, control);
    EXPECT_EQ(editor.text(), "three");
    editor.put(3);
    editor.key(Qt::Key_V, control);
    EXPECT_EQ(editor.text(), "one two\nthree") << "a whole line goes above";
    const std::string zeros("a\0b", 3);
    editor.setText(zeros);
    editor.key(Qt::Key_A, control);
    editor.key(Qt::Key_C, control);
    editor.key(Qt::Key_End);
    editor.key(Qt::Key_V, control);
    EXPECT_EQ(editor.text(), zeros + zeros);
}

TEST(EditorKeys, OpenFoldsTheyGoInto)
{
    ShownEditor editor("a {\n  b\n  c\n}\nend", EditorLanguage::c);
    editor.put(0);
    editor.run("fold.fold");
    ASSERT_FALSE(editor.view.editor().folds().empty());
    const int folded = editor.at(14).y();
    editor.put(5);
    EXPECT_TRUE(editor.view.editor().folds().empty());
    EXPECT_GT(editor.at(14).y(), folded) << "and show what was hidden";
}

// Esc belongs to bars and dialogs when the text has nothing to give up.
TEST(EditorKeys, EscapeIsTakenOnlyIfThereIsSomethingToGiveUp)
{
    ShownEditor editor("one two");
    const auto escape = [&] {
        QKeyEvent event(QEvent::KeyPress, Qt::Key_Escape, {});
        QCoreApplication::sendEvent(&editor.view, &event);
        return event.isAccepted();
    };
    editor.putAll({1, 5});
    EXPECT_TRUE(escape());
    EXPECT_EQ(editor.carets(), "5");
    EXPECT_FALSE(escape());
    editor.select(0, 3);
    EXPECT_TRUE(escape());
    EXPECT_EQ(editor.carets(), "3");
    EXPECT_FALSE(escape());
}

// What is typed over and how the caret looks belong to the text, not to the view whose key it was.
TEST(EditorKeys, OvertypeIsSeenInAllViews)
{
    ShownEditor editor("one");
    EditorView other(editor.document);
    other.resize(300, 200);
    other.show();
    editor.settle();
    PaintRecord record(other.viewport());
    editor.key(Qt::Key_Insert);
    editor.settle();
    EXPECT_FALSE(record.region.isEmpty());
}

// The menu does not hold up whoever opened it, so the view may go while it is open.
TEST(EditorKeys, AViewGoesWhileItsMenuIsOpen)
{
    auto editor = std::make_unique<ShownEditor>("one");
    bool inMenu = true;
    QTimer::singleShot(0, qApp, [&] {
        if (inMenu && QApplication::activePopupWidget()) {
            ADD_FAILURE() << "the menu waits inside of the view's event";
            QApplication::activePopupWidget()->close();
        }
    });
    QContextMenuEvent event(QContextMenuEvent::Mouse, {50, 10}, editor->view.mapToGlobal(QPoint(50, 10)));
    QCoreApplication::sendEvent(editor->area(), &event);
    inMenu = false;
    EXPECT_TRUE(QApplication::activePopupWidget());
    editor.reset();
    EXPECT_FALSE(QApplication::activePopupWidget());
}

}  // namespace
}  // namespace penmark
