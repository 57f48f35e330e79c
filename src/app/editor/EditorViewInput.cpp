// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/Colors.h"
#include "app/editor/EditorCommands.h"
#include "app/editor/EditorKeys.h"
#include "app/editor/EditorView.h"
#include "app/editor/Strings.h"
#include "text/commands/Clipboard.h"
#include "text/commands/Deleting.h"
#include "text/commands/Typing.h"

#include <QApplication>
#include <QClipboard>
#include <QInputMethod>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <algorithm>
#include <utility>

namespace penmark {

namespace {

/// Carries where the copied parts stand, for pastes within the program.
const QString partsFormat = QStringLiteral("application/x-penmark-parts");
constexpr std::size_t surroundingBytes = 4'000;  // of the caret's line that an input method is told, on either side

// What the clipboard holds of a text that may be large is made when somebody asks for it.
class TextData final : public QMimeData {
public:
    explicit TextData(commands::ClipboardText copied) : copied_(std::move(copied)) {}

    QStringList formats() const override { return {QStringLiteral("text/plain"), partsFormat}; }
    bool hasFormat(const QString& format) const override { return formats().contains(format); }

protected:
    QVariant retrieveData(const QString& format, QMetaType type) const override
    {
        if (format == partsFormat)
            return parts();
        if (!format.startsWith(QLatin1String("text/plain")))
            return {};
        if (type.id() == QMetaType::QByteArray)
            return QByteArray(copied_.text.data(), static_cast<qsizetype>(copied_.text.size()));
        return toQString(copied_.text);
    }

private:
    QByteArray parts() const
    {
        QByteArray list = copied_.wholeLines ? "lines" : "parts";
        for (const Utf8Range& part : copied_.parts)
            list += ' ' + QByteArray::number(static_cast<qulonglong>(part.start.value)) + ' ' +
                    QByteArray::number(static_cast<qulonglong>(part.end.value));
        return list;
    }

    commands::ClipboardText copied_;
};

// Any program can put this there, so nothing of it is trusted.
commands::ClipboardText fromClipboard(const QMimeData& data)
{
    commands::ClipboardText pasted;
    pasted.text = data.text().toStdString();
    const QList<QByteArray> words = data.data(partsFormat).split(' ');
    if (words.size() < 3 || words.size() % 2 == 0)
        return pasted;
    std::vector<Utf8Range> parts;
    std::size_t last = 0;
    const auto isBoundary = [&](std::size_t at) {
        return at == pasted.text.size() || (static_cast<unsigned char>(pasted.text[at]) & 0xC0) != 0x80;
    };
    for (qsizetype index = 1; index + 1 < words.size(); index += 2) {
        bool readStart = false;
        bool readEnd = false;
        const std::size_t start = words[index].toULongLong(&readStart);
        const std::size_t end = words[index + 1].toULongLong(&readEnd);
        if (!readStart || !readEnd || start < last || end < start || end > pasted.text.size() || !isBoundary(start) ||
            !isBoundary(end))
            return pasted;
        parts.push_back({Utf8Offset(start), Utf8Offset(end)});
        last = end;
    }
    pasted.parts = std::move(parts);
    pasted.wholeLines = words[0] == "lines";
    return pasted;
}

}  // namespace

namespace {

struct Meaning {
    const EditorCommand* command = nullptr;
    bool isTaken = false;
};

// Of what a key may stand for, the first that means something counts, whoever it belongs to.
Meaning meaningOf(const QKeyEvent& event, const EditorKeys& keys)
{
    for (const QKeyCombination key : combinationsOf(event)) {
        const Meaning meaning{keys.commandFor(key), keys.isTaken(key)};
        if (meaning.command || meaning.isTaken)
            return meaning;
    }
    return {};
}

// Joiners, direction marks and signs beyond 16 bits are typed like letters; controls are not.
bool isTyped(const QString& text)
{
    return !text.isEmpty() && text.at(0).category() != QChar::Other_Control;
}

}  // namespace

bool EditorView::event(QEvent* event)
{
    if (event->type() == QEvent::ShortcutOverride) {
        const auto* key = static_cast<QKeyEvent*>(event);
        const Meaning meaning = meaningOf(*key, *keys_);
        if ((meaning.command || meaning.isTaken) && !(key->key() == Qt::Key_Escape && editor_.carets().size() == 1))
            event->accept();
        return true;
    }
    // Tab is a key of the text, not a way out of it; Ctrl+Tab leaves.
    if (event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) {
            keyPressEvent(key);
            if (key->isAccepted())
                return true;
        }
    }
    return QAbstractScrollArea::event(event);
}

void EditorView::setKeys(const EditorKeys* keys)
{
    keys_ = keys ? keys : &defaultEditorKeys();
}

void EditorView::run(const EditorCommand& command)
{
    if (command.edits && readOnly_)
        return;
    finishComposition();
    command.run(*this);
    if (QGuiApplication::clipboard()->supportsSelection() && drag_ == Drag::none)
        publishSelection();
}

void EditorView::keyPressEvent(QKeyEvent* event)
{
    scrollAnimation_.stop();
    const Meaning meaning = meaningOf(*event, *keys_);
    const EditorCommand* command = meaning.command;
    const bool letters =
        isTyped(event->text()) && !(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier));
    if (meaning.isTaken && !isTyping(*event)) {
        event->ignore();
        return;
    }
    // With nothing to give up Esc is for whoever is around: a bar, a dialog.
    const bool idleEscape =
        event->key() == Qt::Key_Escape && editor_.carets().size() == 1 && !editor_.carets().hasSelection();
    if (command && !idleEscape && !(letters && event->key() < Qt::Key_Escape)) {
        run(*command);
        event->accept();
        return;
    }
    // AltGr arrives as Ctrl+Alt on some systems, with a text all the same.
    const bool altGr =
        (event->modifiers() & (Qt::ControlModifier | Qt::AltModifier)) == (Qt::ControlModifier | Qt::AltModifier);
    if (isTyped(event->text()) && (letters || altGr)) {
        typeText(event->text());
        event->accept();
        return;
    }
    event->ignore();
}

void EditorView::finishComposition()
{
    if (!composing_)
        return;
    QGuiApplication::inputMethod()->commit();
    if (!std::exchange(composing_, false))
        return;
    // An input method that does not answer must not take what was written along.
    const QString composed = layout_.preedit().text;
    layout_.clearPreedit();
    perform(commands::typeText(text(), editor_.carets(), composed.toStdString(), editor_.options()), EditKind::typing);
    QGuiApplication::inputMethod()->reset();
}

void EditorView::typeText(const QString& typed)
{
    if (readOnly_)
        return;
    finishComposition();
    if (viewport()->cursor().shape() != Qt::BlankCursor && !underMouse())
        viewport()->unsetCursor();
    perform(commands::typeText(text(), editor_.carets(), typed.toStdString(), editor_.options()), EditKind::typing);
}

void EditorView::goHome(bool select)
{
    // To the start of the row; from there, or in the first row, to the first letter of the line and then to its start.
    const Caret& main = editor_.carets().main();
    const VisualRows::Place start = layout_.rowStart({main.head, main.affinity});
    const bool firstRow = start.offset == text().lineContaining(main.head).start;
    if (firstRow || start.offset == main.head)
        setCarets(moveCarets(text(), editor_.carets(), Motion::lineStart, select));
    else
        setCarets(moveCarets(text(), editor_.carets(), VisualMotion::rowStart, select, layout_));
}

void EditorView::giveUpCarets()
{
    if (editor_.carets().size() > 1)
        setCarets(editor_.carets().onlyMain());
    else if (editor_.carets().hasSelection())
        setCarets(CaretSet(Caret(editor_.carets().main().head)));
}

// Clipboard

std::unique_ptr<QMimeData> EditorView::selectedData() const
{
    return std::make_unique<TextData>(commands::copy(text(), editor_.carets(), editor_.options()));
}

void EditorView::copy()
{
    QGuiApplication::clipboard()->setMimeData(selectedData().release());
}

void EditorView::cut()
{
    copy();
    perform(commands::cut(text(), editor_.carets()));
}

void EditorView::paste()
{
    if (const QMimeData* source = QGuiApplication::clipboard()->mimeData())
        insertFrom(*source, std::nullopt);
}

void EditorView::insertFrom(const QMimeData& source, std::optional<Utf8Offset> at)
{
    if (readOnly_ || !source.hasText())
        return;
    if (at)
        editor_.setCarets(CaretSet(Caret(*at)));
    perform(commands::paste(text(), editor_.carets(), fromClipboard(source), editor_.options()));
}

void EditorView::pasteText(const QString& pasted)
{
    commands::ClipboardText clipboard;
    clipboard.text = pasted.toStdString();
    perform(commands::paste(text(), editor_.carets(), clipboard, editor_.options()));
}

void EditorView::contextMenuEvent(QContextMenuEvent* event)
{
    // It outlasts this event, in which the view must not go.
    auto* const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const auto add = [&](const char* id, bool enabled) {
        const EditorCommand* command = editorCommand(id);
        QAction* action = menu->addAction(tr(command->name), this, [this, command] { run(*command); });
        action->setEnabled(enabled && !(command->edits && readOnly_));
    };
    add("edit.undo", document_.buffer().canUndo());
    add("edit.redo", document_.buffer().canRedo());
    menu->addSeparator();
    add("edit.cut", true);
    add("edit.copy", true);
    add("edit.paste", QGuiApplication::clipboard()->mimeData() && QGuiApplication::clipboard()->mimeData()->hasText());
    menu->addSeparator();
    add("edit.selectAll", true);
    menu->popup(event->globalPos());
}

// Input methods. What is composed is drawn by the layout and reaches the text when it is committed, at all carets.

void EditorView::inputMethodEvent(QInputMethodEvent* event)
{
    if (readOnly_) {
        event->ignore();
        return;
    }
    if (!event->commitString().isEmpty() || event->replacementLength() > 0) {
        layout_.clearPreedit();
        composing_ = false;
        TextBuffer::Transaction transaction(document_.buffer());
        // The range is counted from the caret, in UTF-16 units of the text without the preedit.
        if (event->replacementLength() > 0) {
            std::vector<Caret> replaced;
            for (const Caret& caret : editor_.carets()) {
                const auto head = static_cast<std::ptrdiff_t>(
                    text().toUtf16(caret.hasSelection() ? caret.start() : caret.head).value);
                // Either end may be before the text.
                const std::ptrdiff_t start = head + event->replacementStart();
                const auto place = [&](std::ptrdiff_t units) {
                    return text().toUtf8(Utf16Offset(static_cast<std::size_t>(std::max<std::ptrdiff_t>(0, units))));
                };
                replaced.emplace_back(place(start), place(start + event->replacementLength()));
            }
            editor_.setCarets(CaretSet(std::move(replaced), editor_.carets().mainIndex()));
        }
        EditOptions options = editor_.options();
        options.overtype = options.overtype && event->replacementLength() == 0;
        const EditResult result =
            event->commitString().isEmpty()
                ? commands::deleteSelections(text(), editor_.carets())
                : commands::typeText(text(), editor_.carets(), event->commitString().toStdString(), options);
        editor_.perform(result, EditKind::typing);
        transaction.commit();
    }
    Preedit preedit;
    preedit.text = event->preeditString();
    preedit.cursor = static_cast<int>(preedit.text.size());
    for (const QInputMethodEvent::Attribute& attribute : event->attributes()) {
        if (attribute.type == QInputMethodEvent::Cursor) {
            preedit.cursor = attribute.length ? attribute.start : -1;
        } else if (attribute.type == QInputMethodEvent::TextFormat) {
            const QTextCharFormat format = qvariant_cast<QTextFormat>(attribute.value).toCharFormat();
            if (format.isValid())
                preedit.formats.append({attribute.start, attribute.length, format});
        } else if (attribute.type == QInputMethodEvent::Selection && preedit.text.isEmpty()) {
            const Utf16Offset base = text().toUtf16(surroundings().start);
            const auto place = [&](int units) {
                return text().toUtf8(base + static_cast<std::size_t>(std::max(0, units)));
            };
            editor_.setCarets(CaretSet(Caret(place(attribute.start), place(attribute.start + attribute.length))));
        }
    }
    composing_ = !preedit.text.isEmpty();
    if (composing_) {
        // A selection gives way to what is composed in its place.
        if (editor_.carets().hasSelection())
            editor_.perform(commands::deleteSelections(text(), editor_.carets()));
        if (preedit.formats.isEmpty()) {
            QTextCharFormat underlined;
            underlined.setFontUnderline(true);
            preedit.formats.append({0, static_cast<int>(preedit.text.size()), underlined});
        }
        layout_.setPreedit(editor_.carets().main().head, preedit);
    } else {
        layout_.clearPreedit();
    }
    event->accept();
    refresh();
    QGuiApplication::inputMethod()->update(Qt::ImQueryInput);
}

// The line of the main caret; of a long one only what is near.
Utf8Range EditorView::surroundings() const
{
    const TextLine line = text().lineContaining(editor_.carets().main().head);
    const Utf8Offset head = std::clamp(editor_.carets().main().head, line.start, line.end);
    return {head - line.start <= surroundingBytes ? line.start : text().characterStart(head - surroundingBytes),
            line.end - head <= surroundingBytes ? line.end : text().characterStart(head + surroundingBytes)};
}

QVariant EditorView::inputMethodQuery(Qt::InputMethodQuery query) const
{
    const Caret& main = editor_.carets().main();
    const TextLine line = text().lineContaining(main.head);
    const auto clamped = [&](Utf8Offset offset) { return std::clamp(offset, line.start, line.end); };
    const Utf8Offset head = clamped(main.head);
    const Utf8Offset from = surroundings().start;
    const Utf8Offset to = surroundings().end;
    const auto inSurroundings = [&](Utf8Offset offset) {
        return static_cast<int>(text().toUtf16(std::clamp(offset, from, to)) - text().toUtf16(from));
    };
    auto& layout = const_cast<ViewLayout&>(layout_);
    const auto rectOf = [&](Utf8Offset offset) -> QRectF {
        std::optional<QRectF> rect = offset == main.head && composing_ ? layout.preeditCaret() : std::nullopt;
        if (!rect) {
            Caret caret(offset);
            caret.affinity = main.affinity;
            rect = layout.caretRect(caret);
        }
        return rect ? rect->translated(marginWidth_ + viewport()->x(), viewport()->y()) : QRectF();
    };
    switch (query) {
    case Qt::ImEnabled:
        return !readOnly_;
    case Qt::ImHints:
        return static_cast<int>(Qt::ImhMultiLine | Qt::ImhNoPredictiveText);
    case Qt::ImFont:
        return layout_.font();
    case Qt::ImCursorRectangle:
        return rectOf(main.head).toAlignedRect();
    case Qt::ImAnchorRectangle:
        return rectOf(main.anchor).toAlignedRect();
    case Qt::ImCursorPosition:
        return inSurroundings(main.head);
    case Qt::ImAnchorPosition:
        return inSurroundings(main.anchor);
    case Qt::ImSurroundingText:
        return toQString(text().text({from, to}));
    case Qt::ImTextBeforeCursor:
        return toQString(text().text({from, head}));
    case Qt::ImTextAfterCursor:
        return toQString(text().text({head, to}));
    case Qt::ImCurrentSelection:
        return toQString(text().text({clamped(main.start()), clamped(main.end())}));
    case Qt::ImAbsolutePosition:
        return static_cast<int>(std::min<std::size_t>(text().toUtf16(main.head).value, INT_MAX));
    default:
        return QAbstractScrollArea::inputMethodQuery(query);
    }
}

}  // namespace penmark
