// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "text/TextSnapshot.h"
#include "text/highlight/EditorLanguage.h"

#include <QWidget>
#include <memory>
#include <vector>

namespace penmark {

class EditorDocument;
class EditorView;
class Program;

/// Two texts beside one another, to be looked at. The lines that the other one does not have are marked.
class CompareWindow final : public QWidget {
    Q_OBJECT

public:
    struct Side {
        QString title;
        TextSnapshot text;
    };

    CompareWindow(Program& program, const Side& left, const Side& right, EditorLanguage language);
    ~CompareWindow() override;

private:
    EditorView* addSide(Program& program, const Side& side, EditorLanguage language, int column);
    void keyPressEvent(QKeyEvent* event) override;

    std::unique_ptr<EditorDocument> documents_[2];
    EditorView* views_[2] = {};
};

/// The lines from the first to the last difference, in either text; empty ranges if they are equal. Linear.
struct DifferingLines {
    Utf8Range left;
    Utf8Range right;
};
DifferingLines differingLines(const TextSnapshot& left, const TextSnapshot& right);

/// The lines of a range that the other text's range does not have anywhere, neighbours in one piece. Linear.
std::vector<Utf8Range> linesOfItsOwn(const TextSnapshot& text, Utf8Range range, const TextSnapshot& other,
                                     Utf8Range otherRange);

}  // namespace penmark
