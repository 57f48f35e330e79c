// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/CompareWindow.h"

#include "app/appearance/Appearance.h"
#include "app/editor/EditorView.h"
#include "app/windows/Program.h"

#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QScrollBar>
#include <algorithm>
#include <string>
#include <unordered_set>

namespace penmark {

DifferingLines differingLines(const TextSnapshot& left, const TextSnapshot& right)
{
    const std::size_t leftLines = left.lineCount();
    const std::size_t rightLines = right.lineCount();
    const std::size_t limit = std::min(leftLines, rightLines);
    std::size_t before = 0;
    while (before < limit &&
           left.text(left.line(LineNumber(before)).whole()) == right.text(right.line(LineNumber(before)).whole()))
        ++before;
    if (before == leftLines && before == rightLines)
        return {};
    std::size_t behind = 0;
    while (behind < limit - before && left.text(left.line(LineNumber(leftLines - 1 - behind)).whole()) ==
                                          right.text(right.line(LineNumber(rightLines - 1 - behind)).whole()))
        ++behind;
    const auto range = [&](const TextSnapshot& text, std::size_t lines) {
        return Utf8Range{text.lineStart(LineNumber(before)), text.lineStart(LineNumber(lines - behind))};
    };
    return {range(left, leftLines), range(right, rightLines)};
}

std::vector<Utf8Range> linesOfItsOwn(const TextSnapshot& text, Utf8Range range, const TextSnapshot& other,
                                     Utf8Range otherRange)
{
    std::unordered_set<std::string> others;
    for (TextLine line = other.lineContaining(otherRange.start); line.start < otherRange.end;
         line = other.lineAfter(line)) {
        others.insert(other.text(line.whole()));
        if (line.next == other.end())
            break;
    }
    std::vector<Utf8Range> own;
    for (TextLine line = text.lineContaining(range.start); line.start < range.end; line = text.lineAfter(line)) {
        if (!others.contains(text.text(line.whole()))) {
            if (!own.empty() && own.back().end == line.start)
                own.back().end = line.next;
            else
                own.push_back(line.whole());
        }
        if (line.next == text.end())
            break;
    }
    return own;
}

CompareWindow::CompareWindow(Program& program, const Side& left, const Side& right, EditorLanguage language)
    : QWidget(nullptr, Qt::Window)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Compare: %1 - Penmark").arg(right.title));
    resize(1100, 700);
    auto* const layout = new QGridLayout(this);
    layout->setContentsMargins(0, 6, 0, 0);
    layout->setHorizontalSpacing(1);
    views_[0] = addSide(program, left, language, 0);
    views_[1] = addSide(program, right, language, 1);
    const DifferingLines differing = differingLines(left.text, right.text);
    views_[0]->setFindMarks(linesOfItsOwn(left.text, differing.left, right.text, differing.right));
    views_[1]->setFindMarks(linesOfItsOwn(right.text, differing.right, left.text, differing.left));
    views_[0]->setCarets(CaretSet(Caret(differing.left.start)));
    views_[1]->setCarets(CaretSet(Caret(differing.right.start)));
    for (int side = 0; side < 2; ++side) {
        QScrollBar* const here = views_[side]->verticalScrollBar();
        QScrollBar* const there = views_[1 - side]->verticalScrollBar();
        connect(here, &QScrollBar::valueChanged, there, [this, side, there](int value) {
            if (views_[side]->hasFocus() || views_[side]->underMouse())
                there->setValue(value);
        });
    }
    views_[1]->setFocus();
}

CompareWindow::~CompareWindow()
{
    delete views_[0];  // before what they show
    delete views_[1];
}

EditorView* CompareWindow::addSide(Program& program, const Side& side, EditorLanguage language, int column)
{
    auto* const label = new QLabel(side.title, this);
    label->setTextFormat(Qt::PlainText);
    label->setContentsMargins(12, 0, 12, 4);
    documents_[column] = std::make_unique<EditorDocument>(side.text, language);
    auto* const view = new EditorView(*documents_[column], this);
    view->setReadOnly(true);
    view->setColors(program.appearance().editorColors());
    view->setFrameShape(QFrame::NoFrame);
    view->setAccessibleName(side.title);
    auto* const layout = static_cast<QGridLayout*>(this->layout());
    layout->addWidget(label, 0, column);
    layout->addWidget(view, 1, column);
    layout->setColumnStretch(column, 1);
    return view;
}

void CompareWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape || event->matches(QKeySequence::Close))
        close();
    else
        QWidget::keyPressEvent(event);
}

}  // namespace penmark
