// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"
#include "text/Caret.h"

#include <QAccessibleWidget>
#include <cstddef>
#include <optional>

namespace penmark {

class EditorView;
struct TextChange;

/// Lets views be asked by assistive technology. Each is given its EditorAccessible when the first question comes.
void installEditorAccessible();

/// Tells assistive technology what happened, if there is any; costs nothing otherwise. An edit is told place by place;
/// one of very many places, or of much text, as one change that spans them all, of whose texts only the beginnings are
/// told.
void announceTextChange(EditorView& view, const TextChange& change);
void announceCaretChange(EditorView& view, const CaretSet& before);
/// What is told goes there instead, whether or not there is assistive technology; null: to the toolkit, as at first.
void setAnnouncementHandler(void (*handler)(QAccessibleEvent* event));

/// A view as screen readers and other assistive technology see it. Offsets are UTF-16 units from the start of the text,
/// as they expect; -1 stands for the end and -2 for the caret. What lies behind INT_MAX cannot be reached.
///
/// What is asked is found near the place that it is asked for, whatever the length of the text. A "line" is a row as it
/// is seen, a "paragraph" a line of the text, of which at most `pieceBytes` are given at a time. Each character of the
/// text belongs to one unit of a kind, line ends included.
class EditorAccessible final : public QAccessibleWidget,
                               public QAccessibleTextInterface,
                               public QAccessibleEditableTextInterface {
public:
    static constexpr std::size_t pieceBytes = 64 << 10;
    static constexpr std::size_t announcedPlaces = 16;  ///< of one edit
    static constexpr std::size_t announcedBytes = 64 << 10;

    explicit EditorAccessible(EditorView& view);

    void* interface_cast(QAccessible::InterfaceType type) override;
    QAccessible::State state() const override;
    /// The value is the text, empty if it is larger than `pieceBytes`.
    QString text(QAccessible::Text which) const override;

    // Selections are the carets that have one, from the start of the text to its end.
    int selectionCount() const override;
    void selection(int index, int* start, int* end) const override;
    void addSelection(int start, int end) override;
    void removeSelection(int index) override;
    void setSelection(int index, int start, int end) override;

    int cursorPosition() const override;
    void setCursorPosition(int position) override;

    QString text(int start, int end) const override;
    QString textBeforeOffset(int offset, QAccessible::TextBoundaryType boundary, int* start, int* end) const override;
    QString textAtOffset(int offset, QAccessible::TextBoundaryType boundary, int* start, int* end) const override;
    QString textAfterOffset(int offset, QAccessible::TextBoundaryType boundary, int* start, int* end) const override;
    int characterCount() const override;

    /// On the screen; empty if the character is not seen.
    QRect characterRect(int offset) const override;
    /// Of a place on the screen; -1 outside of the text area.
    int offsetAtPoint(const QPoint& point) const override;
    void scrollToSubstring(int start, int end) override;
    /// The font and the colour, and how far they reach.
    QString attributes(int offset, int* start, int* end) const override;

    // Nothing happens if the text cannot be edited.
    void deleteText(int start, int end) override;
    void insertText(int offset, const QString& text) override;
    void replaceText(int start, int end, const QString& text) override;

private:
    ~EditorAccessible() override = default;

    EditorView& view() const;
    /// Absent for what is no offset of the text.
    std::optional<Utf8Offset> place(int offset) const;
    /// The unit that a place is in; at the end of the text an empty one if nothing follows.
    Utf8Range unitAt(Utf8Offset offset, QAccessible::TextBoundaryType boundary) const;
    Utf8Range rowAt(Utf8Offset offset) const;
    QString answer(std::optional<Utf8Range> range, int* start, int* end) const;
};

}  // namespace penmark
