// SPDX-License-Identifier: GPL-3.0-or-later
// Which sections there are, and what of them is seen.
#include "app/navigator/ClosedSection.h"
#include "app/navigator/NavigatorView.h"
#include "app/navigator/ProjectSection.h"
#include "app/navigator/SessionSection.h"
#include "app/navigator/WorkspaceSection.h"

#include <QLineEdit>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <utility>

namespace penmark {

void NavigatorView::setSessions(std::unique_ptr<SessionSource> source, SessionActions& actions, const Uuid& window)
{
    source_ = std::move(source);
    actions_ = &actions;
    window_ = window;
    addSections(actions);
    connect(source_.get(), &SessionSource::changed, this, &NavigatorView::showOpenHere);
    // Titles of sessions are made of those of documents.
    connect(&model_.documents(), &DocumentCatalog::changed, this, [this] { tree_->viewport()->update(); });
    showOpenHere();
    applySections();
    refresh();
}

void NavigatorView::addSections(SessionActions& actions)
{
    const SectionContext context{*source_, actions, model_.documents(), *this};
    projects_ = new ProjectSection(context);
    model_.addSection(new SessionSection(context));
    model_.addSection(new WorkspaceSection(context));
    model_.addSection(projects_);
    model_.addSection(new ClosedSection(context));
    connect(projects_, &ProjectSection::fileMoved, this,
            [this](const std::string& from, const std::string& to) { emit fileMoved(from, to); });
    connect(projects_, &ProjectSection::showInFilesAsked, this,
            [this](const std::string& path) { emit showFileRequested(path); });
    connect(projects_, &ProjectSection::expandedPathsChanged, this, &NavigatorView::changedByUser);
    for (int number = 0; number < model_.sectionCount(); ++number)
        connect(&model_.section(number), &NavigatorSection::changedHeading, this, [this] {
            applySections();
            refresh();
        });
}

void NavigatorView::setOpenHere(std::vector<Uuid> documents)
{
    openHere_ = std::move(documents);
    showOpenHere();
}

/// The documents of this window and then those that other windows of its session show.
void NavigatorView::showOpenHere()
{
    std::vector<Uuid> documents = openHere_;
    std::set<Uuid> known(documents.begin(), documents.end());
    if (const PenmarkSession* const session = source_ ? source_->library().sessionOf(window_) : nullptr)
        for (const RecoveryWindow& window : session->windows)
            if (window.isOpen && window.id != window_)
                for (const Uuid& document : window.documents)
                    if (known.insert(document).second)
                        documents.push_back(document);
    model_.setOpenHere(std::move(documents));
}

/// Which sections are there, and which of them are open.
void NavigatorView::applySections()
{
    const QScopedValueRollback applying(isApplying_, true);
    const bool isFiltered = !filter_->text().isEmpty();
    for (int number = 0; number < model_.sectionCount(); ++number) {
        NavigatorSection& section = *model_.sectionOf(model_.index(number, 0));
        const bool isOff = section.word() == QLatin1String("discarded") && !state_.showsDiscarded;
        const bool isExpanded = isFiltered || !state_.collapsed.contains(section.word());
        if (isExpanded && isVisible())
            section.build();
        const bool isHidden = isOff || !section.isShown();
        if (tree_->isRowHidden(number, {}) != isHidden)
            tree_->setRowHidden(number, {}, isHidden);
        if (!isFiltered)
            tree_->setExpanded(model_.index(number, 0), isExpanded);
    }
}

void NavigatorView::applyFilter()
{
    {
        const QScopedValueRollback applying(isApplying_, true);
        if (!filter_->text().isEmpty())
            for (int number = 0; number < model_.sectionCount(); ++number)
                tree_->expand(model_.index(number, 0));
    }
    const auto current = model_.document(tree_->currentIndex());
    const int section = tree_->currentIndex().parent().row();
    model_.documents().setFilter(filter_->text());
    applySections();
    refresh();
    if (current && section >= 0) {
        const int row = model_.section(section).rowOf(*current);
        tree_->select(model_.index(row, 0, model_.index(section, 0)));
    }
    if (!tree_->selectionModel()->hasSelection())
        tree_->verticalScrollBar()->setValue(0);
    changedByUser();
}

}  // namespace penmark
