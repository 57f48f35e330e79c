// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/appearance/Appearance.h"
#include "app/appearance/Icon.h"
#include "app/editor/Strings.h"
#include "app/search/QueryField.h"
#include "app/search/ScopeBox.h"
#include "app/search/SearchOptions.h"
#include "app/search/SearchProblems.h"
#include "app/search/SearchResultsView.h"
#include "app/search/SearchTexts.h"
#include "app/search/SearchWindow.h"
#include "app/sessions/ElidedLabel.h"

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QGuiApplication>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace penmark {

namespace {

QLabel* plainLabel(QWidget* parent)
{
    auto* const label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

QPushButton* footButton(const QString& text, QWidget* parent)
{
    auto* const button = new QPushButton(text, parent);
    button->setAutoDefault(false);
    return button;
}

}  // namespace

SearchWindow::SearchWindow(TextSearchEnvironment& environment, TextSearchService& service, SearchTargets& targets,
                           SearchHistory& history, const Appearance& appearance, Look look)
    : QWidget(nullptr, Qt::Window), appearance_(appearance),
      controller_(new SearchController(environment, service, this)), query_(new QueryField(history)),
      scope_(new ScopeBox(targets))
{
    setAttribute(Qt::WA_DeleteOnClose);
    resize(900, 640);
    auto* const layout = new QVBoxLayout(this);
    layout->addLayout(createQuery());
    layout->addLayout(createMatching());
    layout->addWidget(modeHelp_ = plainLabel(this));
    modeHelp_->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(scope_);
    createOptions();
    layout->addWidget(options_);
    layout->addWidget(message_ = plainLabel(this));
    message_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(createResults(), 1);
    layout->addLayout(createFoot());

    connectParts();
    setLook(look);
    updateColors();
    showRule();
    updateState();
    query_->setFocus();
}

QBoxLayout* SearchWindow::createQuery()
{
    auto* const row = new QHBoxLayout;
    query_->setParent(this);  // now, so that Tab goes on from it to what is made next
    query_->setPlaceholderText(tr("Search"));
    query_->setAccessibleName(tr("Search for"));
    query_->setToolTip(tr("Enter opens the first hit; Up shows earlier searches"));
    row->addWidget(query_, 1);
    row->addWidget(createMenu());
    return row;
}

QToolButton* SearchWindow::createMenu()
{
    auto* const button = new QToolButton(this);
    button->setIcon(icon(IconShape::menu));
    button->setAutoRaise(true);
    button->setPopupMode(QToolButton::InstantPopup);
    button->setFocusPolicy(Qt::StrongFocus);
    button->setToolTip(tr("More"));
    button->setAccessibleName(tr("More"));
    // The sign is enough; an arrow beside it is left out.
    button->setStyleSheet(QStringLiteral("QToolButton::menu-indicator { image: none; }"));
    auto* const menu = new QMenu(button);
    QAction* const copyResults = menu->addAction(tr("Copy All &Results"));
    connect(copyResults, &QAction::triggered, this,
            [this] { QGuiApplication::clipboard()->setText(results_->results().allLines()); });
    QAction* const copyDiagnostics = menu->addAction(tr("Copy Search &Diagnostics"));
    connect(copyDiagnostics, &QAction::triggered, this,
            [this] { QGuiApplication::clipboard()->setText(toQString(controller_->search().diagnostics())); });
    menu->addSeparator();
    connect(menu->addAction(tr("&Expand All")), &QAction::triggered, this, [this] { results_->expandAll(); });
    connect(menu->addAction(tr("&Collapse All")), &QAction::triggered, this, [this] { results_->collapseAll(); });
    connect(menu, &QMenu::aboutToShow, copyResults,
            [this, copyResults] { copyResults->setEnabled(!controller_->report().hits.empty()); });
    button->setMenu(menu);
    return button;
}

QBoxLayout* SearchWindow::createMatching()
{
    auto* const row = new QHBoxLayout;
    mode_ = new QComboBox(this);
    for (const auto& [mode, label] : storedWords(TextMatchMode())) {
        const QString help = mode == TextMatchMode::regex ? tr("Regular expression (ICU syntax)") : modeHelp(mode);
        mode_->addItem(toQString(label), static_cast<int>(mode));
        mode_->setItemData(mode_->count() - 1, help, Qt::ToolTipRole);
    }
    mode_->setAccessibleName(tr("How to match"));
    matchCase_ = new QCheckBox(tr("Match &case"), this);
    wholeWords_ = new QCheckBox(tr("Match whole &words"), this);
    optionsButton_ = new QToolButton(this);
    optionsButton_->setCheckable(true);
    optionsButton_->setAutoRaise(true);
    optionsButton_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    optionsButton_->setFocusPolicy(Qt::StrongFocus);
    row->addWidget(mode_);
    row->addSpacing(6);
    row->addWidget(matchCase_);
    row->addSpacing(6);
    row->addWidget(wholeWords_);
    row->addStretch(1);
    row->addWidget(optionsButton_);
    return row;
}

void SearchWindow::createOptions()
{
    options_ = new SearchOptions;
    options_->setParent(this);
    showOptions(false);
    connect(optionsButton_, &QToolButton::toggled, this, &SearchWindow::showOptions);
}

QWidget* SearchWindow::createResults()
{
    auto* const side = new QWidget(this);
    auto* const layout = new QVBoxLayout(side);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    progress_ = new QProgressBar(side);
    progress_->setTextVisible(false);
    progress_->setFixedHeight(4);
    progress_->setAccessibleName(tr("Progress of the search"));
    // Results do not move when a search begins or ends.
    QSizePolicy policy = progress_->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    progress_->setSizePolicy(policy);
    layout->addWidget(progress_);
    pages_ = new QStackedWidget(side);
    results_ = new SearchResultsView(*controller_);
    empty_ = plainLabel(pages_);
    empty_->setAlignment(Qt::AlignCenter);
    empty_->setForegroundRole(QPalette::PlaceholderText);
    pages_->addWidget(results_);
    pages_->addWidget(empty_);
    layout->addWidget(pages_, 1);
    return side;
}

QBoxLayout* SearchWindow::createFoot()
{
    auto* const row = new QHBoxLayout;
    auto* const texts = new QVBoxLayout;
    texts->setSpacing(0);
    texts->addWidget(status_ = new ElidedLabel);
    texts->addWidget(counts_ = new ElidedLabel);
    counts_->setForegroundRole(QPalette::PlaceholderText);
    row->addLayout(texts, 1);
    problemsButton_ = footButton({}, this);
    showMore_ = footButton(tr("Show &More"), this);
    stop_ = footButton(tr("&Stop"), this);
    stop_->setToolTip(tr("Stop searching (Esc)"));
    refresh_ = footButton(tr("Re&fresh"), this);
    refresh_->setToolTip(tr("Search again (F5)"));
    const int width = std::max(stop_->sizeHint().width(), refresh_->sizeHint().width());
    stop_->setMinimumWidth(width);
    refresh_->setMinimumWidth(width);
    for (QPushButton* const button : {problemsButton_, showMore_, stop_, refresh_})
        row->addWidget(button);
    return row;
}

}  // namespace penmark
