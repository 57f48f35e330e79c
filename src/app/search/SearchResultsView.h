// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/search/SearchResultsModel.h"

#include <QTreeView>
#include <memory>
#include <optional>
#include <string>

namespace penmark {

class SearchResultsDelegate;
struct ColorScheme;

/// The tree of hits. Groups come unfolded. When the same query is searched again, the current row and what is seen stay
/// as far as they are found again. What is typed here is not for the list, it is passed on. Main thread.
class SearchResultsView final : public QTreeView {
    Q_OBJECT

public:
    explicit SearchResultsView(SearchController& controller);

    void setTextFont(const QFont& font);
    /// The colours outlive the view.
    void setColors(const ColorScheme& colors);
    const SearchResultsModel& results() const { return *results_; }

    /// Makes it the current row, unfolds its group and brings it into sight.
    void showHit(std::size_t hit);
    /// The current hit; on a group its first one.
    std::optional<std::size_t> currentHit() const;
    /// Makes the first row with a hit current if none is.
    void enter();
    /// Whether the current hit is there in place of one before it, which the last run has not found again.
    bool isSuccessor() const { return place_ && place_->isSuccessor && currentIndex().isValid(); }
    /// The current hit has been opened.
    void visited()
    {
        if (place_)
            place_->isSuccessor = false;
    }

signals:
    void hitActivated(std::size_t hit, bool newWindow);
    void leftUpwards();
    /// A key that writes.
    void typed(QKeyEvent* event);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void drawBranches(QPainter* painter, const QRect& rect, const QModelIndex& index) const override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void rowsInserted(const QModelIndex& parent, int start, int end) override;
    void keyboardSearch(const QString&) override {}

private:
    /// Where a hit is, as far as the next run tells it as well.
    struct Place {
        std::shared_ptr<const TextSearchSource> source;
        std::size_t line = 0;
        std::size_t column = 0;
        std::size_t hits = 0;      // of its source
        int top = 0;               // of its row in the viewport, pixels
        bool isSuccessor = false;  // of a hit that is gone, and not opened yet
    };

    void aboutToBeReset();
    void findPlaceAgain(int firstGroup, int lastGroup);
    void scrollAgain();
    void activateCurrent(bool newWindow);
    void fold();
    void unfold();
    void copyCurrent() const;

    SearchController& controller_;
    SearchResultsModel* results_;
    SearchResultsDelegate* delegate_;
    std::string query_;              // that the results are of
    std::optional<Place> place_;     // of the current row, or of the one that was until the last run
    std::optional<int> scrolledTo_;  // before the last run, until there is as much to be seen again
};

}  // namespace penmark
