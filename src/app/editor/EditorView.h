// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/editor/ViewLayout.h"
#include "text/editor/EditorState.h"
#include "text/editor/TextEditor.h"

#include <QAbstractScrollArea>
#include <QBasicTimer>
#include <QPoint>
#include <QPointer>
#include <QVariantAnimation>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class QInputMethodEvent;
class QMimeData;

namespace penmark {

struct ColorScheme;
struct EditorCommand;
class EditorKeys;

/// Shows a document and lets it be edited: draws what is visible from a ViewLayout, and turns keys, mouse, input
/// methods and drops into commands of its TextEditor. Any number of views can show one document.
///
/// After each event the view compares what is seen with what was drawn, and repaints the lines that differ.
class EditorView final : public QAbstractScrollArea, private TextObserver {
    Q_OBJECT

public:
    /// The document outlives the view.
    explicit EditorView(EditorDocument& document, QWidget* parent = nullptr);
    ~EditorView() override;

    EditorDocument& document() const { return document_; }
    TextEditor& editor() { return editor_; }
    const TextEditor& editor() const { return editor_; }
    ViewLayout& textLayout() { return layout_; }

    /// Runs a command of the table in EditorCommands.h as if its key had been pressed.
    void run(const EditorCommand& command);
    /// Makes an edit and shows the caret.
    void perform(const EditResult& result, EditKind kind = EditKind::command);
    void setCarets(const CaretSet& carets, bool show = true);
    void typeText(const QString& text);
    /// Draws what changed. For commands that change carets or folds through editor().
    void refresh(bool showCaret = true);

    /// What keys mean; they outlive the view. Null: the default keys.
    void setKeys(const EditorKeys* keys);
    void setEditorFont(const QFont& font);
    const QFont& editorFont() const { return font_; }  ///< without the zoom
    /// The document's options have changed: tabs may be wider.
    void optionsChanged();
    void setColors(const ColorScheme& colors);
    const ColorScheme& colors() const { return *colors_; }
    /// How texts are shown unless somebody has chosen otherwise for this view; what changes here counts for it again.
    struct Defaults {
        bool wraps = true;
        bool showsBlanks = false;
        bool showsLineNumbers = true;
    };
    void setDefaults(const Defaults& defaults);
    void setWrap(bool wrap);
    bool wraps() const { return layout_.wraps(); }
    void setShowsBlanks(bool shows);
    bool showsBlanks() const { return showsBlanks_; }
    void setShowsLineNumbers(bool shows);
    bool showsLineNumbers() const { return showsLineNumbers_; }
    void setRightMargin(std::size_t column);  ///< 0: none
    void setReadOnly(bool readOnly) { readOnly_ = readOnly; }
    bool isReadOnly() const { return readOnly_; }
    void setOvertype(bool overtype);
    void zoom(int steps);  ///< 0: back to the font's own size
    /// Places in the text, marked there and on the scroll bar; ascending. An empty one is a line between characters.
    void setFindMarks(std::vector<Utf8Range> marks);
    /// Where in the text is searched, marked quietly; it grows with what is inserted at its ends.
    void setSearchedRange(std::optional<Utf8Range> range);
    /// A short text behind the end of a line; an empty one takes it away. They do not move with edits.
    void setAnnotation(LineNumber line, const QString& text);
    /// A bar above the text, which the view takes over; none takes it away.
    void setBar(QWidget* bar);

    void cut();
    void copy();
    void paste();
    void pasteText(const QString& text);
    void goHome(bool select);
    void giveUpCarets();  ///< of several all but the main one, of one its selection

    /// Carets, scroll place and folds, to be stored and brought back.
    EditorState state() const;
    void restore(const EditorState& state);

    QVariant inputMethodQuery(Qt::InputMethodQuery query) const override;
    /// In view coordinates of the viewport; empty if it is not seen.
    QRect caretRect(const Caret& caret);
    Utf8Offset offsetAt(QPoint viewportPoint);
    /// What the character at the offset covers, as caretRect() gives it; at the end of a line, the caret there.
    QRect characterRect(Utf8Offset offset);
    /// The character that covers the point, not the nearest border.
    Utf8Offset characterUnder(QPointF viewportPoint);
    const TextSnapshot& text() const { return document_.text(); }

signals:
    void caretsChanged();
    void message(const QString& sentence);  ///< for the status bar
    void filesDropped(const QList<QUrl>& files);

protected:
    bool event(QEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void changeEvent(QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    /// What decides how a row looks; equal stamps need no drawing.
    struct Stamp {
        std::uint64_t text;
        double top;
        double left;
        std::size_t line;
        std::uint64_t decoration;
        friend bool operator==(const Stamp&, const Stamp&) = default;
    };
    enum class Drag { none, pending, characters, words, lines, column };

    void setZoom(int zoom);
    void textChanged(const TextChange& change) override;
    void damage();
    std::uint64_t decorationOf(const ViewLayout::Placed& placed, int row, LineNumber mainLine) const;
    void updateGeometryOfText();
    void updateScrollBars();
    void updateBrackets();
    bool isInStringOrComment(Utf8Offset offset) const;
    void restartBlinking();
    void scheduleWork(int milliseconds);
    void doWork();
    void announceCarets(const CaretSet& before);

    QRectF textArea() const;
    double marginWidth() const { return marginWidth_; }
    void drawBlock(QPainter& painter, const ViewLayout::Placed& placed, const QRectF& clip);
    void drawRanges(QPainter& painter, const ViewLayout::Placed& placed);
    void drawPlace(QPainter& painter, const ViewLayout::Placed& placed, Utf8Offset place, const QColor& color);
    void drawBlanks(QPainter& painter, const ViewLayout::Placed& placed);
    void drawMargin(QPainter& painter, const ViewLayout::Placed& placed);
    void drawCarets(QPainter& painter);
    void fillRange(QPainter& painter, const ViewLayout::Placed& placed, Utf8Range range, const QColor& color,
                   bool outline = false, bool lineEnd = false);

    ViewLayout::Hit hitAt(QPointF viewportPoint);
    void dragTo(QPointF viewportPoint);
    void autoscroll();
    void hoverMargin(bool hovers);
    void clickMargin(QPointF point, Qt::KeyboardModifiers modifiers);
    void startDrag();
    void finishComposition();
    Utf8Range surroundings() const;
    std::size_t columnOf(QPointF viewportPoint) const;
    void columnSelect(QPointF to);
    bool isInSelection(Utf8Offset offset) const;
    std::unique_ptr<QMimeData> selectedData() const;
    void publishSelection();
    void insertFrom(const QMimeData& source, std::optional<Utf8Offset> at);
    void smoothScrollBy(double pixels);

    EditorDocument& document_;
    TextEditor editor_;
    ViewLayout layout_;
    const ColorScheme* colors_;
    const EditorKeys* keys_;
    QFont font_;
    int zoom_ = 0;
    Defaults defaults_;
    bool showsBlanks_ = false;
    bool showsLineNumbers_ = true;
    bool readOnly_ = false;
    std::size_t rightMargin_ = 0;
    double marginWidth_ = 0;
    double numberWidth_ = 0;
    QPointer<QWidget> bar_;

    std::vector<Stamp> drawn_;
    bool refreshPosted_ = false;
    bool hadFolds_ = false;
    bool updatingScrollBars_ = false;
    CaretSet lastCarets_;
    std::vector<Utf8Range> findMarks_;
    std::optional<Utf8Range> searchedRange_;
    std::map<std::size_t, QString> annotations_;
    std::optional<std::pair<Utf8Offset, Utf8Offset>> brackets_;
    std::uint64_t bracketsFor_ = 0;  // generation
    Utf8Offset bracketsAt_;
    bool bracketsHidden_ = false;
    mutable std::optional<TextLine> tokenLine_;  // whose tokens follow, while brackets are matched
    mutable std::vector<Token> lineTokens_;

    bool caretOn_ = true;
    QBasicTimer blinkTimer_;
    QBasicTimer workTimer_;
    QBasicTimer autoscrollTimer_;
    QVariantAnimation scrollAnimation_;
    double scrollTarget_ = 0;  // what is left of the animation, pixels
    double scrollDone_ = 0;

    Drag drag_ = Drag::none;
    QPointF pressedAt_;
    QPointF draggedTo_;
    Caret dragOrigin_;  // what the first click selected
    CaretSet dragKept_;
    LineNumber columnLine_;  // of the corner where a column selection began
    std::size_t column_ = 0;
    bool dragAdds_ = false;
    std::optional<Utf8Offset> dropAt_;
    qint64 lastDoubleClick_ = 0;
    QPoint lastDoubleClickAt_;
    bool hoversMargin_ = false;
    int zoomTurned_ = 0;  // of the wheel, less than a notch

    bool composing_ = false;
};

}  // namespace penmark
