// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/sessions/OrganiserPage.h"
#include "app/sessions/SessionTreeModel.h"

#include <QPointer>

class QAction;
class QBoxLayout;
class QComboBox;
class QLineEdit;
class QMenu;

namespace penmark {

class DocumentPreviews;
class DocumentRegistry;
class SessionActions;
class SessionDetails;
class SessionTree;

/// All sessions with what they hold, and what is done with them. Main thread.
class SessionsPage final : public OrganiserPage {
    Q_OBJECT

public:
    /// All outlive the page.
    SessionsPage(SessionRecords& records, SessionActions& actions, DocumentRegistry& documents,
                 DocumentPreviews& previews);

    void takeFocus() override;
    /// Empties the filter; false if it is empty.
    bool clearFilter();
    void focusFilter();

signals:
    void starterAsked(const Uuid& session);  ///< Save Session as Starter…

private:
    void refresh() override;
    bool eventFilter(QObject* object, QEvent* event) override;

    void createLeft(QBoxLayout& layout);
    void createActions();
    void createRight(QBoxLayout& layout);
    QAction* addAction(const QString& text, const QString& shownKeys, void (SessionActions::*call)(Uuid));
    QAction* addAction(const QString& text, const QString& shownKeys, std::function<void(const Uuid&)> call);
    void fillMenu(QMenu& menu);
    void fillMoveMenu(QMenu& menu, const Uuid& session);
    void showCurrent();
    void askToDelete(const Uuid& session);
    void filterChanged();
    void previewsCame();

    SessionRecords& records_;
    SessionActions& actions_;
    DocumentRegistry& documents_;
    DocumentPreviews& previews_;
    SessionTreeModel model_;
    QLineEdit* filter_;
    QComboBox* order_;
    SessionTree* tree_;
    QLabel* empty_;
    SessionDetails* details_;
    QTimer previewsPause_;  // after a refresh for texts that came
    bool previewsWait_ = false;
    QAction* open_ = nullptr;
    QAction* switchTo_ = nullptr;
    QAction* openHere_ = nullptr;
    QAction* close_ = nullptr;
    QAction* rename_ = nullptr;
    QAction* nested_ = nullptr;
    QAction* duplicate_ = nullptr;
    QAction* starter_ = nullptr;
    QAction* delete_ = nullptr;
};

}  // namespace penmark
