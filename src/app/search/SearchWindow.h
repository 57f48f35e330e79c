// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/search/SearchController.h"

#include <QFont>
#include <QPointer>
#include <QTimer>
#include <QWidget>

class QBoxLayout;
class QCheckBox;
class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QToolButton;

namespace penmark {

class Appearance;
class ElidedLabel;
class QueryField;
class ScopeBox;
class SearchHistory;
class SearchOptions;
class SearchProblems;
class SearchResultsView;
class SearchTargets;

/// One search: what is looked for and where, and what was found. Results follow what is typed and what changes
/// elsewhere while the window is seen; nobody waits for them. It searches nothing while it is hidden, minimised or
/// covered.
///
/// Main thread.
class SearchWindow final : public QWidget {
    Q_OBJECT

public:
    /// How lines of texts are shown.
    struct Look {
        QFont font;
    };

    /// All of these outlive the window, which deletes itself when it is closed.
    SearchWindow(TextSearchEnvironment& environment, TextSearchService& service, SearchTargets& targets,
                 SearchHistory& history, const Appearance& appearance, Look look);
    ~SearchWindow() override;

    SearchController& controller() { return *controller_; }

    /// What is typed is replaced, and searched for.
    void setRule(const TextSearchRule& rule);
    void setQuery(const std::string& query);
    void setScope(const TextSearchScope& scope);
    /// The query is chosen as a whole, so that typing replaces it.
    void focusQuery();

public slots:
    void setLook(const Look& look);
    /// Opens the hit before or after the chosen one.
    void step(int steps);

signals:
    /// A hit of the controller's report is to be shown in its text.
    void hitActivated(std::size_t hit, bool newWindow);
    /// Said to screen readers, whether or not there are any: how a search ended.
    void announced(const QString& sentence);
    /// The user wants back to where they came from.
    void leave();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    QBoxLayout* createQuery();
    QBoxLayout* createMatching();
    void createOptions();
    QWidget* createResults();
    QBoxLayout* createFoot();
    QToolButton* createMenu();
    void createShortcuts();
    void connectParts();

    void showRule();
    TextSearchRule ruleOfParts() const;
    void search(bool now);
    void setMode(TextMatchMode mode);
    void submit(bool newWindow);
    void open(std::size_t hit, bool newWindow);

    void updateState();
    void updateFoot();
    void tellReaders();
    void updatePage();
    void updateSeen();
    void updateColors();
    QString emptyText() const;
    void showProblems();
    void showOptions(bool shown);

    const Appearance& appearance_;
    SearchController* controller_;
    QTimer typing_;  // until what is typed is searched for
    bool wasRunning_ = false;
    QPointer<SearchProblems> problems_;

    QueryField* query_;
    ScopeBox* scope_;
    SearchOptions* options_ = nullptr;
    QComboBox* mode_ = nullptr;
    QCheckBox* matchCase_ = nullptr;
    QCheckBox* wholeWords_ = nullptr;
    QToolButton* optionsButton_ = nullptr;
    QLabel* modeHelp_ = nullptr;
    QLabel* message_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QStackedWidget* pages_ = nullptr;
    SearchResultsView* results_ = nullptr;
    QLabel* empty_ = nullptr;
    ElidedLabel* status_ = nullptr;
    ElidedLabel* counts_ = nullptr;
    QPushButton* refresh_ = nullptr;
    QPushButton* stop_ = nullptr;
    QPushButton* showMore_ = nullptr;
    QPushButton* problemsButton_ = nullptr;
};

}  // namespace penmark
