// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"
#include "base/Uuid.h"

#include <QObject>
#include <QString>
#include <optional>

namespace penmark {

/// What the navigator shows of one row. Made for rows that are seen, not kept.
struct NavigatorRow {
    enum class Kind { document, message };
    enum Badge { fileDiffers = 1, missingOriginal = 2 };

    Kind kind = Kind::document;
    std::optional<Uuid> document;
    QString title;
    QString place;  ///< begins the second line: a folder, or a word such as "Draft"; elided in its middle
    QString path;   ///< of the bound file; empty without one
    std::optional<Date> date;
    int badges = 0;
    bool isDiscarded = false;
    bool canRename = false;
};

/// A part of the navigator with a heading, which yields rows. Everything that is listed derives from this; the model
/// and the view know no more of it. Signals come in pairs around each change. Main thread.
class NavigatorSection : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    /// The word that a window's record keeps; never translated.
    virtual QString word() const = 0;
    virtual QString heading() const = 0;
    virtual int rowCount() const = 0;
    virtual NavigatorRow row(int row) const = 0;
    /// Where a document is listed, -1 if it is not.
    virtual int rowOf(const Uuid& document) const = 0;
    /// Rows that count as content: all but messages.
    virtual int count() const { return rowCount(); }

signals:
    void insertingRows(int first, int last);
    void insertedRows();
    void removingRows(int first, int last);
    void removedRows();
    void movingRow(int from, int to);  ///< `to` counts as if the row were taken away
    void movedRow();
    void changedRow(int row);
    void changedHeading();
};

}  // namespace penmark
