// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/RecoveryBuffer.h"
#include "app/windows/DocumentMessage.h"
#include "text/editor/EditorState.h"

#include <QFont>
#include <QPointer>
#include <QUrl>
#include <QWidget>
#include <optional>

class QSplitter;

namespace penmark {

class DocumentRegistry;
class EditorView;
class FindBar;
class MessageBar;
class Program;
struct Settings;

/// The font of texts, as the user has chosen it.
QFont documentFont(const Settings& settings);

/// What a window shows of one document: its text, once or in two views beside one another, and the bar above. Retains
/// the document. Empty until the document has been read.
class DocumentPane final : public QWidget {
    Q_OBJECT

public:
    DocumentPane(Program& program, const Uuid& document, QWidget* parent);
    ~DocumentPane() override;

    const Uuid& document() const { return document_; }
    /// Null until it has been read.
    RecoveryBuffer* buffer() const { return buffer_; }
    void setBuffer(RecoveryBuffer& buffer, const EditorState* state);

    /// The view that has or had the focus; null until there is one.
    EditorView* view() const { return view_; }
    std::optional<EditorState> state() const;
    void focusText();

    /// A second view of the text beside or below the first; asked for again it goes.
    void split(Qt::Orientation orientation);
    bool isSplit() const;

    /// Shows the bar for finding, with the focus in it. Not while the document is being read.
    void openFind(bool withReplacement);
    /// To the next match of what is looked for, or the one before.
    void findAgain(bool forwards);
    /// Hides the bar for finding if it is there.
    bool closeFind();
    /// Null until it is needed.
    FindBar* findBar() const { return findBar_; }

    /// Says something that belongs to this document until it is dismissed or something else is to be said.
    void say(const QString& sentence);
    /// Null if there was nothing to say yet; hidden if there is nothing now.
    MessageBar* bar() const { return bar_; }
    /// Esc: hides the bar if it is there.
    bool hideMessage();
    /// While another message stands in the bar's place.
    void setBarAllowed(bool allowed);

signals:
    void messageWaits();  ///< a new one, for the bar's place
    void viewChanged();   ///< another view is in front, or its carets moved
    void actionWanted(penmark::MessageAction action);
    void statusMessage(const QString& sentence);
    void filesDropped(const QList<QUrl>& files);

private:
    bool eventFilter(QObject* object, QEvent* event) override;
    EditorView* makeView();
    bool makeFindBar();
    void applySettings(EditorView& view) const;
    void update();

    Program& program_;
    Uuid document_;
    QPointer<RecoveryBuffer> buffer_;
    MessageBar* bar_ = nullptr;   // made when there is something to say
    FindBar* findBar_ = nullptr;  // made when it is first asked for
    QSplitter* views_ = nullptr;
    EditorView* view_ = nullptr;
    bool barIsAllowed_ = true;
    std::optional<DocumentMessage> shown_;
    std::optional<DocumentMessage> hidden_;  // until there is another one
};

}  // namespace penmark
