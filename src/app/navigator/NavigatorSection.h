// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"
#include "base/Uuid.h"

#include <QObject>
#include <QString>
#include <functional>
#include <optional>
#include <vector>

class QMenu;

namespace penmark {

struct DraggedRows;

/// What the navigator shows of one row. Made for rows that are seen, not kept.
struct NavigatorRow {
    enum class Kind { document, message, session, window, tab, workspace, unavailable, project, folder, file, closed };
    enum Badge { fileDiffers = 1, missingOriginal = 2, isOpen = 4, isActive = 8 };

    Kind kind = Kind::document;
    std::optional<Uuid> document;  ///< of a row that stands for the document itself, not for a tab of it
    QString title;
    std::optional<QString> name;  ///< what renaming begins with if that is not the title
    QString place;                ///< begins the second line: a folder, or words; elided in its middle
    QString path;                 ///< of the bound file; empty without one
    QString state;                ///< kind and state for those who only hear it, as in "Session, open, 3 windows"
    std::optional<Date> date;
    int badges = 0;
    int depth = 0;  ///< of rows within rows
    bool isExpandable = false;
    bool isExpanded = false;
    bool isQuiet = false;  ///< grey: ignored, or not there
    bool isDiscarded = false;
    bool canRename = false;
};

/// A part of the navigator with a heading, which yields rows. Everything that is listed derives from this; the model
/// and the view know no more of it. Rows within rows are rows with a depth, which stand below the one that holds them.
/// Signals come in pairs around each change. Main thread.
class NavigatorSection : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;
    using Rows = std::vector<int>;
    enum class Activation { open, newWindow, switchTo };

    /// The word that a window's record keeps; never translated.
    virtual QString word() const = 0;
    virtual QString heading() const = 0;
    virtual int rowCount() const = 0;
    virtual NavigatorRow row(int row) const = 0;
    /// Where a document is listed, -1 if it is not.
    virtual int rowOf(const Uuid& document) const = 0;
    /// Rows that count as content: all but messages.
    virtual int count() const { return rowCount(); }
    /// The count in words, as in "3 documents".
    virtual QString countText() const;
    /// Whether there is a heading.
    virtual bool isShown() const { return rowCount() > 0; }
    /// Makes the rows; called when they are seen for the first time, and later without effect.
    virtual void build() {}

    virtual void setExpanded(int row, bool isExpanded);

    // ---- what is asked of rows; false if that is not this section's matter ----

    virtual bool activate(const Rows& rows, Activation how);
    virtual bool rename(int row, const QString& name);
    virtual bool remove(const Rows& rows);
    /// No rows: the heading's menu.
    virtual void fillMenu(QMenu& menu, const Rows& rows);

    virtual void drag(int row, DraggedRows& dragged) const;
    /// On a row, or on the heading: -1.
    virtual bool canDrop(const DraggedRows& dragged, int row) const;
    virtual void drop(const DraggedRows& dragged, int row);

signals:
    void insertingRows(int first, int last);
    void insertedRows();
    void removingRows(int first, int last);
    void removedRows();
    void movingRow(int from, int to);  ///< `to` counts as if the row were taken away
    void movedRow();
    void changedRow(int row);
    void changedHeading();
    void renameAsked(int row);
    void failed(const QString& sentence);
    /// Something was done that can be taken back for a while.
    void undoOffered(const QString& message, const std::function<void()>& undo);
};

}  // namespace penmark
