// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/commands/CommandRegistry.h"
#include "app/documents/OriginalFiles.h"
#include "app/windows/DocumentMessage.h"
#include "app/windows/DocumentTabBar.h"
#include "app/windows/TabList.h"

#include <QMainWindow>
#include <QPointer>
#include <QTimer>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stop_token>
#include <utility>
#include <vector>

class QMenu;
class QSplitter;
class QStackedWidget;
class QToolButton;

namespace penmark {

class CommandPalette;
class MessageBar;
class DocumentPane;
class DocumentStatusBar;
class NavigatorView;
class Program;

/// A window of documents: tabs above, the text of the one in front, what is said of it below, and the library at the
/// left if it is wanted. What it shows is in its TabList; its record is brought up to date when it is asked for.
class DocumentWindow final : public QMainWindow {
    Q_OBJECT

public:
    DocumentWindow(Program& program, RecoveryWindow record);
    ~DocumentWindow() override;

    const Uuid& id() const { return record_.id; }
    const TabList& tabs() const { return tabs_; }
    /// As the window is now.
    RecoveryWindow record() const;

    /// Of the tab in front; null while it is being read.
    RecoveryBuffer* buffer() const;
    EditorView* view() const;
    DocumentPane* pane() const;
    CommandContext context();

    /// Shows the document in a tab of its own, or the one that it has. An empty draft that is in front gives way.
    void showDocument(const Uuid& document, bool atEnd = false);
    void goTo(const Uuid& document, std::size_t line, std::size_t column);
    /// Calls with the view of a tab: at once, or as soon as its text has been read. A later call takes its place.
    void whenShown(const Uuid& document, std::function<void(EditorView& view)> call);
    /// A tab on its way to another window.
    struct GivenTab {
        std::optional<EditorState> state;  ///< how it was seen
        std::optional<Uuid> tabID;
    };
    void insertTab(const Uuid& document, std::size_t index, GivenTab given = {});
    /// Lets go of a tab that another window takes over.
    GivenTab giveTab(const Uuid& document);
    /// What it looks like to the other window while this one still has it.
    GivenTab tabToGive(const Uuid& document) const;
    /// Shows the tabs that the record has.
    void follow(const RecoveryWindow& record);
    /// A draft that nobody has written to: nobody misses it.
    bool isNothing(const Uuid& document) const;
    void newDraft();
    void closeTab(const Uuid& document);
    /// The tab of a document that is discarded. The last window stays, with a new draft.
    void closeDiscarded(const Uuid& document) { removeTab(document, false); }
    void closeOtherTabs(const Uuid& document);
    void selectTab(const Uuid& document);
    void moveTab(std::ptrdiff_t steps);
    /// Through the tabs in the order of use, until Ctrl is let go.
    void cycleTabs(std::ptrdiff_t steps);
    void moveToNewWindow(const Uuid& document);

    void openFiles();
    void save();
    /// Asks for a file.
    void saveAs(const Uuid& document);
    void saveCopy(const Uuid& document);
    void reload();
    void compare();
    void rename(const Uuid& document);
    void discard(const Uuid& document);
    void print();
    void exportPdf();
    void goToLine();
    /// To the text, a message, the status bar, the tabs or the library: to the next that is there, or the one before.
    void focusPart(int steps);
    void showPalette();
    void setLibraryVisible(bool visible);
    bool isLibraryVisible() const;
    void toggleLibrary();
    /// Opens its folder in the library at the left.
    void showProject(const Uuid& project);
    void pasteFromHistory();
    /// A refused file: a window says why and what can be done.
    void showRefusal(const FileRefusal& refusal);
    void showMessage(const QString& sentence);
    struct Offer {
        QString name;
        std::function<void()> take;
    };
    /// When a bar goes by itself.
    struct Passing {
        std::chrono::milliseconds after{};  ///< 0: never
        bool withTyping = false;            ///< before that if the user edits the document in front
    };
    /// A bar over all tabs, until it is dismissed or another takes its place. A sentence that offers nothing does not
    /// take the place of a failure that does; the status bar says it.
    void showBar(const QString& sentence, DocumentMessage::Weight weight, const std::vector<Offer>& offers,
                 const Passing& passing);
    void showBar(const QString& sentence, DocumentMessage::Weight weight, const std::vector<Offer>& offers)
    {
        showBar(sentence, weight, offers, Passing());
    }
    /// Takes the bar away if it still says that.
    void endBar(const QString& sentence);
    MessageBar* bar() const { return bar_; }

    DocumentStatusBar& statusLine() { return *status_; }
    DocumentTabBar& tabBar() { return *tabBar_; }
    NavigatorView* navigator() const { return navigator_; }

    void setMenuBarVisible(bool visible);
    /// Shows what is in front; for a window that was just made.
    void showFront() { showTab(); }
    /// Its record is the program's from now on.
    void forget() { closing_ = true; }
    /// Its session has another name, or it has another session.
    void updateTitle();

    /// Says that a file is being read; Esc asks it to stop.
    std::stop_source beginOpening(const std::filesystem::path& file);
    void endOpening(const std::stop_source& opening);

protected:
    bool event(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void removeTab(const Uuid& document, bool mayEnd);
    void createContent();
    void createMenus();
    void createStatusMenus();
    void createNavigator();
    void fillRecent(QMenu& menu);
    void addSessionMenus(QMenu& parent);
    void fillMoveMenu(QMenu& menu);
    void fillLinkWindowMenu(QMenu& menu) { fillLinkMenu(menu, false); }
    void fillLinkTabMenu(QMenu& menu) { fillLinkMenu(menu, true); }
    void fillLinkMenu(QMenu& menu, bool tabOnly);
    void restorePlacement();
    void showTab(bool focus = true);
    DocumentPane& paneOf(const Uuid& document);
    std::optional<EditorState> stateOf(const Uuid& document) const;
    void removeEmptyDraft(const Uuid& opened);
    void dropPane(const Uuid& document);
    void forgetOldPanes();
    DocumentTabBar::Tab tabOf(const Uuid& document) const;
    void tabsChanged();
    void tabChanged(const Uuid& document);      ///< its title, its file or its state
    void tabChangesSoon(const Uuid& document);  ///< behind the frame that shows the key
    void shareBarPlace();                       ///< one message at a time stands above the text
    void hideBar();                             ///< the focus does not stay in it
    void noteEdit(const DocumentPane& pane);
    void act(MessageAction action);
    void tabMenu(const Uuid& document, const QPoint& at);
    void askForFile(const RecoveryBuffer& buffer, const QString& caption,
                    std::function<void(const std::filesystem::path& file, bool replaces)> chosen);
    void withBuffer(const Uuid& document, const std::function<void(RecoveryBuffer&)>& call);
    void openConverted(const FileRefusal& refusal);
    void endCycle();
    void isTouched();
    QString tabTitle(const Uuid& document) const;

    Program& program_;
    RecoveryWindow record_;
    TabList tabs_;
    QSplitter* splitter_ = nullptr;
    QStackedWidget* stack_ = nullptr;
    DocumentTabBar* tabBar_ = nullptr;
    DocumentStatusBar* status_ = nullptr;
    QToolButton* menuButton_ = nullptr;   // made when the menu bar is hidden
    NavigatorView* navigator_ = nullptr;  // made when it is first shown
    CommandPalette* palette_ = nullptr;
    MessageBar* bar_ = nullptr;  // made when it is needed
    bool barIsUrgent_ = false;   // it tells of a failure and offers what to do
    bool barGoesWithTyping_ = false;
    QTimer barTimer_;  // runs while a bar is to go by itself
    std::set<Uuid> changedTabs_;
    QTimer changedTabsTimer_;
    std::map<Uuid, DocumentPane*> panes_;
    std::vector<Uuid> paneUse_;                               // the latest first
    std::map<Uuid, std::function<void(EditorView&)>> goals_;  // what to do once it has been read
    std::size_t cycled_ = 0;                                  // steps of cycleTabs while Ctrl is held
    bool isCycling_ = false;
    std::vector<std::stop_source> openings_;
    bool closing_ = false;
};

}  // namespace penmark
