// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/history/VersionComparison.h"
#include "app/history/VersionModel.h"
#include "base/TextPosition.h"

#include <QFont>
#include <QTimer>
#include <QWidget>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

class QComboBox;
class QItemSelection;
class QLabel;
class QListView;
class QPushButton;
class QStackedWidget;
class QToolButton;
class QVBoxLayout;

namespace penmark {

class Appearance;
class CheckpointStrip;
class ComparisonView;
class EditorDocument;
class EditorView;
class SessionActions;

/// The versions of one document, each compared with the text as it is now or with another version, and what can be done
/// with them. Nothing here changes the document: a version that is restored becomes a document of its own.
///
/// Follows edits, stores and, when it is told, checkpoints. Main thread.
class HistoryWindow final : public QWidget {
    Q_OBJECT

public:
    /// How texts are shown.
    struct Look {
        QFont font;
        int tabWidth = 4;  ///< columns
    };

    /// All of these outlive the window, which deletes itself when it is closed.
    HistoryWindow(DocumentRegistry& documents, SessionActions& actions, const Appearance& appearance, Look look,
                  const Uuid& document, Clock clock = Date::now);
    ~HistoryWindow() override;

    const Uuid& document() const { return document_; }
    /// Chooses a version; pages are read until it is found. With a place in its text, shows the text itself with that
    /// selected, unless another version has been chosen by then.
    void showVersion(const Uuid& revision, std::optional<Utf8Range> place = {});

public slots:
    /// Some checkpoint was made, renamed, pinned or removed.
    void checkpointsChanged();
    void setLook(const Look& look);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    enum class Against { currentText, versionBefore, anotherVersion };
    enum class Page { message, comparison, text };
    using Version = std::shared_ptr<const DocumentHistoryEntry>;

    /// What is compared; no version stands for the current text.
    struct Pair {
        Version earlier;
        Version later;
        bool isFirst = false;  // there is no version before `later`
    };

    QWidget* createVersions();
    QWidget* createComparison();
    void createHead(QVBoxLayout& layout);
    void createButtons(QVBoxLayout& layout);

    void readPage(std::int64_t offset, std::int64_t limit, bool replaces);
    void takePage(DocumentHistoryPage page, bool replaces);
    void readSizes();
    void refresh();
    void loadEarlier();
    void continueSearch();
    void choose(const QModelIndex& index);
    void chooseFirst();
    void activate(const QModelIndex& index);

    void selectionChanged();
    void againstChanged(int index);
    std::optional<Pair> pair() const;
    void updateChosen();
    void compare();
    void updateTitle();
    QString pairTitle(const Pair& pair) const;
    void takeDiff(const std::shared_ptr<const DocumentDiff>& diff, bool isUpdate);
    void updateCount();
    void showMessage(const QString& sentence);
    void showPage();
    void showText();
    void selectPlace();
    void copyText();
    void updateColors();

    DocumentRegistry& documents_;
    SessionActions& actions_;
    const Appearance& appearance_;
    Look look_;
    Uuid document_;
    Clock clock_;

    VersionModel* model_;
    VersionComparison* comparison_;
    bool reading_ = false;
    bool readAgain_ = false;        // the list has changed since it was asked for
    std::optional<Uuid> searched_;  // a version to be chosen once it is loaded
    struct Goal {
        Uuid revision;
        Utf8Range place;
    };
    std::optional<Goal> goal_;       // to be selected once the text is shown
    bool hasChosen_ = false;         // a version was chosen, by somebody or at first
    bool entersEarlier_ = false;     // the first version of the next page becomes the current row
    Version chosen_;                 // what buttons are about
    std::vector<Version> selected_;  // the newest first
    Version held_;                   // what chosen versions are compared with
    Against against_ = Against::currentText;
    std::optional<std::pair<ComparedSide, ComparedSide>> compared_;
    QTimer slow_;  // a comparison that takes long enough to say so
    QString message_;

    QListView* list_ = nullptr;
    QLabel* title_ = nullptr;
    QComboBox* againstBox_ = nullptr;
    QLabel* count_ = nullptr;
    QLabel* note_ = nullptr;
    QToolButton* previous_ = nullptr;
    QToolButton* next_ = nullptr;
    QToolButton* wrap_ = nullptr;
    QToolButton* plain_ = nullptr;
    QStackedWidget* pages_ = nullptr;
    QLabel* messageLabel_ = nullptr;
    ComparisonView* view_ = nullptr;
    CheckpointStrip* checkpoints_ = nullptr;
    QPushButton* restore_ = nullptr;
    QPushButton* keep_ = nullptr;
    QPushButton* copy_ = nullptr;
    std::unique_ptr<EditorDocument> text_;
    EditorView* textView_ = nullptr;
    std::string shownHash_;  // of the text in textView_
};

}  // namespace penmark
