// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QBasicTimer>
#include <QFrame>
#include <QPointer>
#include <array>

class QHBoxLayout;
class QLabel;
class QMenu;
class QToolButton;

namespace penmark {

class EditorView;
class RecoveryBuffer;

/// What is said of the document in front, below its text: where it is stored, where the caret is, how much there is of
/// it and how it is written. Each part is a button.
class DocumentStatusBar final : public QFrame {
    Q_OBJECT

public:
    enum class Part { stored, file, caret, selection, counts, language, encoding, lineEnd, indent };
    static constexpr std::size_t partCount = 9;

    explicit DocumentStatusBar(QWidget* parent);

    /// The document and view that are shown from now on; null for none.
    void setDocument(RecoveryBuffer* buffer, EditorView* view);
    /// What has changed is shown in a moment, all in one.
    void refresh();
    /// In place of the first parts for so long.
    void showMessage(const QString& sentence, int milliseconds = 6'000);
    void endMessage();
    QString textOf(Part part) const;
    QString message() const;

    /// The menu that a click on the part opens; parts that were not asked for one are clicked.
    QMenu* menuOf(Part part);

    /// Small: where there is no room for all that is said, the longest parts give way, not the window.
    QSize minimumSizeHint() const override;

signals:
    void clicked(penmark::DocumentStatusBar::Part part);

private:
    void timerEvent(QTimerEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void update();
    void press(Part part);
    void set(Part part, const QString& text, const QString& toolTip = {});
    QToolButton& button(Part part) const { return *buttons_[static_cast<std::size_t>(part)]; }

    std::array<QToolButton*, partCount> buttons_{};
    std::array<QMenu*, partCount> menus_{};
    QLabel* message_;
    QPointer<RecoveryBuffer> buffer_;
    QPointer<EditorView> view_;
    QBasicTimer updateTimer_;
    QBasicTimer messageTimer_;
    QBasicTimer countTimer_;
};

}  // namespace penmark
