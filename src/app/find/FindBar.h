// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/find/DocumentFind.h"

#include <QFrame>
#include <QTimer>

class QBoxLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QToolButton;

namespace penmark {

struct FindMemory;

/// The bar above a text in which people type what they look for and what takes its place. It searches while they type
/// and keeps the focus until Esc gives it back to the text. In a narrow window it takes more rows.
class FindBar final : public QFrame {
    Q_OBJECT

public:
    /// The memory outlives the bar, which is hidden at first.
    FindBar(FindMemory& memory, QWidget* parent);

    /// As DocumentFind::setView.
    void setView(EditorView* view) { find_.setView(view); }
    DocumentFind& find() { return find_; }

    /// Shows the bar with the focus in it. What is selected in the text, if it is of one line, is looked for.
    void open(bool withReplacement);
    /// To the next match or the one before, also while the bar is hidden: then of what is selected in the text, or else
    /// of what was looked for last.
    void findAgain(bool forwards);
    /// Hides the bar, and no selection confines the search any more; the match stays selected. False if it is hidden.
    bool dismiss();

signals:
    void dismissed(bool hadFocus);
    void message(const QString& sentence);  ///< for the status bar

protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void createQueryRow();
    void createReplacementRow();
    QToolButton* makeButton(const QString& name, const QString& toolTip);
    QToolButton* makeToggle(const QString& sign, const QString& name, const QString& key);
    QToolButton* toggleOf(const QKeyEvent& event) const;
    void arrange();
    void showReplacement(bool shows);
    void setTabOrders();

    TextSearchRule typedRule() const;
    bool takeSelection();
    void setOptions(bool caseSensitive, bool wholeWord, bool regex);
    void queryTyped();
    void noteUse();
    void replace();
    void replaceAll();
    void update();
    void showCount();
    bool handleKey(const QKeyEvent& event);
    bool handleReturn(Qt::KeyboardModifiers modifiers);
    void recall(QLineEdit& field, const QStringList& list, int steps);

    FindMemory& memory_;
    DocumentFind find_;
    QLineEdit* query_ = nullptr;
    QLineEdit* replacement_ = nullptr;
    QLabel* count_ = nullptr;
    QLabel* problem_ = nullptr;
    QToolButton* previous_ = nullptr;
    QToolButton* next_ = nullptr;
    QToolButton* case_ = nullptr;
    QToolButton* word_ = nullptr;
    QToolButton* regex_ = nullptr;
    QToolButton* inSelection_ = nullptr;
    QToolButton* close_ = nullptr;
    QPushButton* replaceOne_ = nullptr;
    QPushButton* replaceAll_ = nullptr;
    QWidget* options_ = nullptr;         // how much was found and how; in a narrow bar it has a row of its own
    QWidget* replacementRow_ = nullptr;  // made when it is first shown
    QBoxLayout* rows_ = nullptr;
    QBoxLayout* queryRow_ = nullptr;
    bool isNarrow_ = false;
    QTimer searchingTimer_;  // a search that takes long says so
    int recalled_ = -1;      // index in the list; -1: what was typed
    QString typed_;
};

}  // namespace penmark
