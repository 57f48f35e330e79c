// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QTimer>
#include <QWidget>

class QBoxLayout;
class QLabel;
class QPushButton;

namespace penmark {

/// A page of the organiser: shows something that changes outside it. It is worked out anew a moment after
/// `refreshSoon`, once for many, and only while it is seen. Main thread.
class OrganiserPage : public QWidget {
public:
    /// Where the keys go when the page is turned to.
    virtual void takeFocus() = 0;
    void refreshSoon();
    void refreshNow();

    /// A button that Enter does not press from elsewhere, behind those that are there.
    static QPushButton* addButton(QBoxLayout& layout, const QString& text);
    /// A label of a sentence that may take several lines, in the colour of placeholders if it is `quiet`.
    static QLabel* makeNote(const QString& text, bool quiet = true);

protected:
    OrganiserPage();

    virtual void refresh() = 0;
    void showEvent(QShowEvent* event) override;

private:
    QTimer timer_;
    bool stale_ = true;
};

}  // namespace penmark
