// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/NavigatorModel.h"
#include "app/navigator/NavigatorTree.h"
#include "app/navigator/UndoStrip.h"

#include <QStringList>
#include <QTimer>
#include <QWidget>
#include <chrono>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QToolButton;

namespace penmark {

class PreviewSource;
class ProjectSection;
class SessionActions;
class SessionSource;

/// What a window keeps of its navigator.
struct NavigatorState {
    QString filter;
    /// Words of sections, in the order of the sections.
    QStringList collapsed{QStringLiteral("workspaces"), QStringLiteral("recentlyClosed"), QStringLiteral("discarded")};
    int width = 260;                           ///< in device-independent pixels
    QString order = QStringLiteral("recent");  ///< or "title", "created"; others count as recent
    bool showsDiscarded = false;
    std::set<std::string> expandedPaths;  ///< folders of projects, as bytes

    friend bool operator==(const NavigatorState&, const NavigatorState&) = default;
};

/// The panel at the left of a window that lists documents, with a filter above and an offer to undo below. It asks by
/// signals and changes nothing itself; what became of it comes back through the headers. Main thread.
class NavigatorView final : public QWidget {
    Q_OBJECT

public:
    /// The headers outlive the view.
    explicit NavigatorView(DocumentHeaders& headers, QWidget* parent = nullptr);
    ~NavigatorView() override;

    /// What filters look into besides titles and paths. Outlives the view or is taken away with null.
    void setPreviewSource(PreviewSource* source) { model_.documents().setPreviewSource(source); }
    /// Adds the sections about sessions, workspaces, projects and closed items, as this window sees them. Once, and
    /// before `setState`. The actions outlive the view.
    void setSessions(std::unique_ptr<SessionSource> source, SessionActions& actions, const Uuid& window);
    /// In the order of the tabs.
    void setOpenHere(std::vector<Uuid> documents);
    /// The document in front; the nil identifier for none.
    void setCurrent(const Uuid& document);
    /// Puts the caret into the filter and selects what is there.
    void focusFilter();
    /// Unfolds the folder of a project.
    void showProject(const Uuid& project);

    /// What is typed in the filter while it or the offer to search for it has the focus; otherwise empty.
    QString typedFilter() const;

    NavigatorState state() const;
    /// Emits nothing.
    void setState(const NavigatorState& state);

    /// How long discarding can be undone here; 10 s unless set.
    void setUndoInterval(std::chrono::milliseconds interval) { undo_->setInterval(interval); }
    /// How long it may take to read the library before it is said; 0.2 s unless set.
    void setPatience(std::chrono::milliseconds patience) { patience_.setInterval(patience); }

    QSize sizeHint() const override;

signals:
    void openRequested(const QList<penmark::Uuid>& documents, bool newWindow);
    void peekRequested(const penmark::Uuid& document);
    /// An empty title asks for the automatic one.
    void renameRequested(const penmark::Uuid& document, const QString& title);
    void discardRequested(const QList<penmark::Uuid>& documents);
    void undoDiscardRequested(const QList<penmark::Uuid>& documents);
    void restoreRequested(const QList<penmark::Uuid>& documents);
    void copyPathRequested(const QList<penmark::Uuid>& documents);
    void showInFilesRequested(const QList<penmark::Uuid>& documents);
    void newDraftRequested();
    /// The texts of all documents are to be searched for this.
    void searchRequested(const QString& text);
    /// A file of a project, or a folder with all that is in it, has another path now.
    void fileMoved(const std::filesystem::path& from, const std::filesystem::path& to);
    void showFileRequested(const std::filesystem::path& path);
    void failed(const QString& sentence);  ///< what was asked could not be done
    void leaveRequested();                 ///< the focus belongs to the editor again
    void stateChanged();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void createFilter();
    void createTree();
    void createPage();
    void createMenu();
    void connectRows();
    bool filterKey(const QKeyEvent& event);

    void applySections();
    void applyFilter();
    void refresh();
    void showSearchButton(bool shown);
    void changedByUser();

    void showOpenHere();
    void addSections(SessionActions& actions);
    NavigatorSection::Rows rowsFor(const QModelIndex& index) const;
    bool showSectionMenu(QPoint position);
    void addHistory(QMenu& menu, const Uuid& document);
    void addLinks(QMenu& menu, const Uuid& document);

    void open(const QModelIndex& index, NavigatorSection::Activation how);
    void peek();
    void rename();
    void discard();
    void showMenu(QPoint position);
    QList<Uuid> selected(bool discarded) const;

    const DocumentHeaders& headers_;
    std::unique_ptr<SessionSource> source_;  // null without the sections that need it; before them
    SessionActions* actions_ = nullptr;
    Uuid window_;
    ProjectSection* projects_ = nullptr;
    std::vector<Uuid> openHere_;  // in this window
    NavigatorModel model_;
    QLineEdit* filter_ = nullptr;
    QToolButton* menuButton_ = nullptr;
    QMenu* menu_ = nullptr;
    NavigatorTree* tree_ = nullptr;
    QWidget* page_ = nullptr;  // in place of the tree when there is nothing to list
    QLabel* pageText_ = nullptr;
    QPushButton* pageButton_ = nullptr;
    QPushButton* searchButton_ = nullptr;
    UndoStrip* undo_ = nullptr;
    QTimer patience_;  // until it is said that the library is read

    NavigatorState state_;
    bool isApplying_ = false;  // what changes is not the user's doing
};

}  // namespace penmark
