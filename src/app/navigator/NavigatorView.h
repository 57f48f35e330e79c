// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/NavigatorModel.h"
#include "app/navigator/NavigatorTree.h"
#include "app/navigator/UndoStrip.h"

#include <QStringList>
#include <QTimer>
#include <QWidget>
#include <chrono>
#include <vector>

class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QToolButton;

namespace penmark {

class PreviewSource;

/// What a window keeps of its navigator.
struct NavigatorState {
    QString filter;
    QStringList collapsed{QStringLiteral("discarded")};  ///< words of sections, in the order of the sections
    int width = 260;                                     ///< in device-independent pixels
    QString order = QStringLiteral("recent");            ///< or "title", "created"; others count as recent
    bool showsDiscarded = false;

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
    /// In the order of the tabs.
    void setOpenHere(std::vector<Uuid> documents) { model_.setOpenHere(std::move(documents)); }
    /// The document in front; the nil identifier for none.
    void setCurrent(const Uuid& document);
    /// Puts the caret into the filter and selects what is there.
    void focusFilter();

    NavigatorState state() const;
    /// Emits nothing.
    void setState(const NavigatorState& state);

    /// How long discarding can be undone here; 10 s unless set.
    void setUndoInterval(std::chrono::milliseconds interval) { undo_->setInterval(interval); }

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
    void leaveRequested();  ///< the focus belongs to the editor again
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
    void changedByUser();

    void open(const QModelIndex& index, bool newWindow);
    void peek();
    void rename();
    void discard();
    void showMenu(QPoint position);
    QList<Uuid> selected(bool discarded) const;

    const DocumentHeaders& headers_;
    NavigatorModel model_;
    QLineEdit* filter_ = nullptr;
    QToolButton* menuButton_ = nullptr;
    QMenu* menu_ = nullptr;
    NavigatorTree* tree_ = nullptr;
    QWidget* page_ = nullptr;  // in place of the tree when there is nothing to list
    QLabel* pageText_ = nullptr;
    QPushButton* pageButton_ = nullptr;
    UndoStrip* undo_ = nullptr;
    QTimer patience_;  // until it is said that the library is read

    NavigatorState state_;
    bool isApplying_ = false;  // what changes is not the user's doing
};

}  // namespace penmark
