// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/editor/EditorCommands.h"
#include "app/editor/EditorView.h"

#include <QApplication>
#include <QImage>
#include <QPaintEvent>
#include <QScreen>
#include <QTest>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace penmark {

/// Which parts of a widget were painted.
class PaintRecord final : public QObject {
public:
    explicit PaintRecord(QWidget* widget) { widget->installEventFilter(this); }
    QRegion region;
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            region += static_cast<QPaintEvent*>(event)->region();
        return false;
    }
};

/// A view in a window that has the focus.
class ShownEditor {
public:
    explicit ShownEditor(std::string_view text = {}, EditorLanguage language = EditorLanguage::plainText)
        : own_(std::make_unique<EditorDocument>(TextSnapshot(text), language)), document(*own_), view(document)
    {
        show();
    }
    explicit ShownEditor(EditorDocument& shared) : document(shared), view(document) { show(); }

    std::string text() const { return document.text().text(); }
    void setText(std::string_view text)
    {
        document.load(TextSnapshot(text), document.language());
        settle();
    }

    /// The carets as "3 5-9": offsets, selections from the anchor to the head.
    std::string carets() const
    {
        std::string list;
        for (const Caret& caret : view.editor().carets()) {
            list += list.empty() ? "" : " ";
            list += std::to_string(caret.anchor.value);
            if (caret.hasSelection())
                list += "-" + std::to_string(caret.head.value);
        }
        return list;
    }
    void put(std::size_t head) { view.setCarets(CaretSet(Caret(Utf8Offset(head)))); }
    void select(std::size_t anchor, std::size_t head)
    {
        view.setCarets(CaretSet(Caret(Utf8Offset(anchor), Utf8Offset(head))));
    }
    void putAll(const std::vector<std::size_t>& heads)
    {
        std::vector<Caret> carets;
        for (const std::size_t head : heads)
            carets.emplace_back(Utf8Offset(head));
        view.setCarets(CaretSet(std::move(carets), heads.size() - 1));
    }
    std::size_t head() const { return view.editor().carets().main().head.value; }

    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(&view, key, modifiers); }
    void type(const char* text)
    {
        for (; *text; ++text)
            QTest::keyClick(&view, *text);
    }
    void run(const char* id)
    {
        ASSERT_NE(editorCommand(id), nullptr) << id;
        view.run(*editorCommand(id));
    }

    QWidget* area() { return view.viewport(); }
    /// The middle left of the character at the offset.
    QPoint at(std::size_t offset)
    {
        const QRect rect = view.caretRect(Caret(Utf8Offset(offset)));
        EXPECT_FALSE(rect.isEmpty()) << offset << " is not seen";
        return {rect.left() + 1, rect.center().y()};
    }
    void click(std::size_t offset, Qt::KeyboardModifiers modifiers = {})
    {
        forgetDoubleClick();
        QTest::mouseClick(area(), Qt::LeftButton, modifiers, at(offset));
    }
    /// So that the next click is not taken as the third of a row.
    void forgetDoubleClick() { QTest::mouseClick(area(), Qt::RightButton); }
    void drag(QPoint from, QPoint to, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::mousePress(area(), Qt::LeftButton, modifiers, from);
        moveTo((from + to) / 2, modifiers);
        moveTo(to, modifiers);
        QTest::mouseRelease(area(), Qt::LeftButton, modifiers, to);
    }
    void moveTo(QPoint to, Qt::KeyboardModifiers modifiers = {})
    {
        QMouseEvent event(QEvent::MouseMove, to, area()->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, modifiers);
        QCoreApplication::sendEvent(area(), &event);
    }

    /// Lets everything happen that is due, including painting.
    void settle()
    {
        for (int round = 0; round < 3; ++round) {
            QCoreApplication::processEvents();
            QEvent update(QEvent::UpdateRequest);
            QCoreApplication::sendEvent(view.window(), &update);
        }
    }
    /// What the window shows, put together from all that has been painted so far.
    QImage seen() { return view.screen()->grabWindow(view.winId()).toImage().convertToFormat(QImage::Format_RGB32); }
    /// What it would show if all of it were painted now.
    QImage painted()
    {
        QImage image(view.size() * view.devicePixelRatio(), QImage::Format_RGB32);
        image.setDevicePixelRatio(view.devicePixelRatio());
        image.fill(Qt::white);
        view.render(&image);
        return image;
    }

private:
    std::unique_ptr<EditorDocument> own_;

    void show()
    {
        view.resize(520, 400);
        view.show();
        view.activateWindow();
        view.setFocus();
        (void)QTest::qWaitForWindowActive(&view);
        settle();
    }

public:
    EditorDocument& document;
    EditorView view;
};

}  // namespace penmark
