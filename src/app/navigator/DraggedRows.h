// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Uuid.h"

#include <string>
#include <vector>

class QMimeData;

namespace penmark {

/// What is dragged from the navigator, or from the tabs of a window. A value type.
struct DraggedRows {
    struct Tab {
        Uuid window;
        Uuid document;
        friend bool operator==(const Tab&, const Tab&) = default;
    };

    static const char* const documentsFormat;  ///< identifiers, one a line; tabs of windows take it
    static const char* const tabFormat;        ///< what tabs of windows are dragged with: window and document
    static const char* const rowsFormat;       ///< the rest

    std::vector<Uuid> documents;  ///< those of tabs too
    std::vector<Tab> tabs;
    std::vector<Uuid> windows;
    std::vector<Uuid> sessions;
    std::vector<std::string> files;  ///< absolute paths, as bytes; files and folders

    bool isEmpty() const { return documents.empty() && windows.empty() && sessions.empty() && files.empty(); }

    static DraggedRows read(const QMimeData& data);
    void write(QMimeData& data) const;
};

}  // namespace penmark
