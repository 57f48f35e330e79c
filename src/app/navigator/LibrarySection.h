// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/DocumentCatalog.h"
#include "app/navigator/NavigatorSection.h"
#include "app/navigator/SessionSource.h"
#include "app/sessions/SessionActions.h"

#include <QPointer>

class QWidget;

namespace penmark {

/// What the sections below share. All of it outlives them.
struct SectionContext {
    SessionSource& source;
    SessionActions& actions;
    DocumentCatalog& catalog;
    QWidget& view;  ///< in whose window questions are asked
};

/// A section that lists records of the library. It keeps what identifies its rows and follows the library once it has
/// been seen; until then it costs nothing but a heading.
class LibrarySection : public NavigatorSection {
    Q_OBJECT

public:
    LibrarySection(const SectionContext& context, QObject* parent);

    int rowOf(const Uuid&) const override { return -1; }
    bool isShown() const override { return isFiltered() ? count() > 0 : true; }
    void build() override;

protected:
    const SessionLibrary& library() const { return source_.library(); }
    QWidget& window() const;
    bool isBuilt() const { return isBuilt_; }
    bool isFiltered() const { return !catalog_.words().isEmpty(); }
    bool matches(const QString& text) const;
    /// As the documents' own sections find it: by title, path and beginning. False for one that is not known.
    bool matchesDocument(const Uuid& document) const;

    /// Makes the rows what they should be by now.
    virtual void rebuild() = 0;
    /// The library is another.
    virtual void libraryChanged() { rebuild(); }

    SessionSource& source_;
    SessionActions& actions_;
    const DocumentCatalog& catalog_;
    QWidget& view_;

private:
    bool isBuilt_ = false;
};

/// Lists in a submenu the sessions that something can go into: those used last first, and not too many.
void addSessionChoices(QMenu& menu, const SessionSource& source, SessionActions& actions,
                       const std::function<bool(const PenmarkSession&)>& isPossible,
                       const std::function<void(const Uuid&)>& choose);

/// Whether the session is `outer` or nested in it at any depth.
bool isWithin(const SessionLibrary& library, const Uuid& session, const Uuid& outer);

}  // namespace penmark
