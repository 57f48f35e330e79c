// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/ShownEditor.h"
#include "text/RandomText.h"

#include <QScrollBar>
#include <QWheelEvent>
#include <cstdlib>
#include <cstring>

namespace penmark {
namespace {

// Where two pictures differ, or an empty rectangle.
QRect difference(const QImage& left, const QImage& right)
{
    if (left.size() != right.size())
        return {0, 0, 1, 1};
    QRect all;
    for (int y = 0; y < left.height(); ++y) {
        const auto* a = reinterpret_cast<const QRgb*>(left.constScanLine(y));
        const auto* b = reinterpret_cast<const QRgb*>(right.constScanLine(y));
        for (int x = 0; x < left.width(); ++x) {
            if ((a[x] & 0xFFFFFF) != (b[x] & 0xFFFFFF))
                all |= QRect(x, y, 1, 1);
        }
    }
    return all;
}

bool isExcluded(const char* id)
{
    for (const char* each : {"view.zoomIn", "view.zoomOut", "edit.line.duplicate", "caret.allOccurrences"}) {
        if (std::strcmp(id, each) == 0)
            return true;
    }
    return false;
}

// Does something to the view, as a user or another view would; returns what it was.
std::string step(ShownEditor& editor, EditorView& other, Random& random)
{
    EditorView& view = editor.view;
    const QSize size = view.viewport()->size();
    const auto point = [&] {
        return QPoint(static_cast<int>(random.below(static_cast<std::size_t>(size.width()))),
                      static_cast<int>(random.below(static_cast<std::size_t>(size.height()))));
    };
    const std::size_t bytes = view.text().end().value;
    const auto place = [&] { return view.text().characterStart(Utf8Offset(random.below(bytes + 1))); };
    const auto commands = editorCommands();
    const Qt::KeyboardModifiers modifiers[] = {Qt::NoModifier, Qt::ShiftModifier, Qt::AltModifier,
                                               Qt::ShiftModifier | Qt::AltModifier};
    switch (random.below(20)) {
    case 0:
    case 1:
        view.typeText(QString::fromStdString(random.text(1)));
        return "type";
    case 2:
        editor.type("{x}");
        return "type braces";
    case 3:
        editor.key(Qt::Key_Return);
        return "Return";
    case 4:
    case 5:
    case 6:
    case 7:
    case 8: {
        const EditorCommand& command = commands[random.below(commands.size())];
        if (isExcluded(command.id))
            return "nothing";
        view.run(command);
        return command.id;
    }
    case 9:
    case 10: {
        const Qt::KeyboardModifiers held = modifiers[random.below(4)];
        QTest::mouseClick(editor.area(), Qt::LeftButton, held, point());
        return "click " + std::to_string(held.toInt());
    }
    case 11:
        editor.drag(point(), point(), modifiers[random.below(2) * 3]);
        return "drag";
    case 12: {
        const QPoint at = point();
        QTest::mouseDClick(editor.area(), Qt::LeftButton, {}, at);
        return "double click";
    }
    case 13: {
        const int angle = (random.below(2) ? 1 : -1) * static_cast<int>(random.below(110) + 1);
        QWheelEvent event(QPointF(50, 50), QPointF(50, 50), {}, {0, angle}, {}, {}, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(editor.area(), &event);
        return "wheel " + std::to_string(angle);
    }
    case 14: {
        QScrollBar* bar = view.verticalScrollBar();
        bar->setValue(static_cast<int>(random.below(static_cast<std::size_t>(bar->maximum()) + 1)));
        return "scroll bar";
    }
    case 15: {
        std::vector<Utf8Range> marks;
        if (random.below(3)) {
            const Utf8Offset start = place();
            marks.push_back(
                {start, std::min(view.text().end(), view.text().characterStart(start + (random.below(3) ? 20 : 0)))});
        }
        view.setSearchedRange(marks.empty() ? std::nullopt : std::optional(marks.front()));
        view.setFindMarks(std::move(marks));
        return "find marks";
    }
    case 16: {
        const Utf8Offset at = place();
        other.setCarets(
            CaretSet(Caret(at, std::max(at, view.text().characterStart(std::min(at + 5, view.text().end()))))));
        other.typeText(QString::fromStdString(random.text(2)));
        return "other view types";
    }
    case 17:
        view.setAnnotation(LineNumber(random.below(view.text().lineCount())),
                           random.below(2) ? QStringLiteral("note") : QString());
        return "annotation";
    case 18: {
        view.setCarets(CaretSet(Caret(place(), place())));
        return "select";
    }
    default:
        if (random.below(4) == 0) {
            editor.view.setColors(view.colors());
            return "colours";
        }
        QTest::mouseClick(editor.area(), Qt::LeftButton, modifiers[random.below(3)],
                          QPoint(static_cast<int>(random.below(50)), point().y()));
        return "margin";
    }
}

// After each of many random steps the window shows what painting all of it would show.
TEST(EditorDamage, LeavesNothingOldOnTheScreen)
{
    struct Case {
        const char* name;
        EditorLanguage language;
        std::size_t lines;
        std::size_t words;
        bool plain;
    };
    const std::size_t steps =
        std::getenv("PENMARK_TEST_STEPS") ? std::strtoull(std::getenv("PENMARK_TEST_STEPS"), nullptr, 10) : 250;
    const Case cases[] = {{"code", EditorLanguage::c, 40, 6, true},
                          {"short", EditorLanguage::c, 4, 6, true},
                          {"prose", EditorLanguage::markdown, 20, 60, true},
                          {"scripts", EditorLanguage::plainText, 30, 12, false},
                          {"long line", EditorLanguage::plainText, 1, 4'000, true}};
    for (const Case& each : cases) {
        for (unsigned seed = 1; seed <= 3; ++seed) {
            SCOPED_TRACE(std::string(each.name) + ", seed " + std::to_string(seed));
            Random random(seed);
            std::string text;
            for (std::size_t line = 0; line < each.lines; ++line) {
                if (!each.plain) {
                    text += random.text(each.words) + "\n";
                    continue;
                }
                text += std::string(4 * random.below(3), ' ');
                for (std::size_t word = 0; word < each.words; ++word)
                    text += std::vector<const char*>{
                        "if ", "(x) ", "word ", "\"s\" ", "{ ", "} ", "// c "}[random.below(7)];
                text += "\n";
            }
            ShownEditor editor(text, each.language);
            EditorView other(editor.document);
            ASSERT_TRUE(editor.view.hasFocus());
            std::string last;
            for (std::size_t count = 0; count < steps; ++count) {
                last = step(editor, other, random);
                editor.settle();
                const QRect wrong = difference(editor.seen(), editor.painted());
                ASSERT_TRUE(wrong.isEmpty())
                    << "after step " << count << " (" << last << ") at " << wrong.left() << ", " << wrong.top() << ", "
                    << wrong.width() << " x " << wrong.height() << "; carets " << editor.carets();
            }
        }
    }
}

// A key repaints the row it changes, and a move the rows it leaves and enters; each with the quarters of its neighbours
// that marks reach into.
TEST(EditorDamage, PaintsOnlyWhatChanged)
{
    std::string text;
    for (int line = 0; line < 200; ++line)
        text += "int value = 1; // a line\n";
    ShownEditor editor(text, EditorLanguage::c);
    editor.put(25 * 5 + 3);
    editor.settle();
    const int row = static_cast<int>(editor.view.textLayout().rowHeight());
    const int over = 2 * ((row + 3) / 4);
    PaintRecord record(editor.area());
    PaintRecord bar(editor.view.verticalScrollBar());
    const auto height = [&] {
        editor.settle();
        const int painted = record.region.boundingRect().height();
        record.region = {};
        return painted;
    };
    editor.key(Qt::Key_A);
    EXPECT_LE(height(), row + over) << "typing";
    editor.key(Qt::Key_Right);
    EXPECT_LE(height(), row + over) << "a step within the line";
    editor.key(Qt::Key_Down);
    EXPECT_LE(height(), 2 * row + over) << "a step down";
    editor.key(Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_LE(height(), 2 * row + over) << "selecting a line";
    editor.settle();
    EXPECT_EQ(height(), 0) << "doing nothing";
    // What nobody sees costs no painting.
    editor.document.buffer().apply(TextEdit({Utf8Offset(25 * 150), Utf8Offset(25 * 150)}, "x"), {}, {});
    EXPECT_EQ(height(), 0) << "an edit far below";
    EXPECT_TRUE(bar.region.isEmpty()) << "the handle is where it was";
    editor.document.buffer().apply(TextEdit({Utf8Offset(0), Utf8Offset(0)}, std::string(400, '\n')), {}, {});
    editor.settle();
    EXPECT_FALSE(bar.region.isEmpty()) << "it has moved and is shorter";
}

}  // namespace
}  // namespace penmark
