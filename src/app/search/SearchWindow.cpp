// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/SearchWindow.h"

#include "app/appearance/Appearance.h"
#include "app/appearance/Icon.h"
#include "app/editor/Strings.h"
#include "app/search/HitLine.h"
#include "app/search/QueryField.h"
#include "app/search/ScopeBox.h"
#include "app/search/SearchOptions.h"
#include "app/search/SearchProblems.h"
#include "app/search/SearchResultsView.h"
#include "app/search/SearchTexts.h"
#include "app/sessions/ElidedLabel.h"

#include <QAccessible>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <algorithm>
#include <chrono>
#include <limits>

namespace penmark {

namespace {

// Between two keys of somebody who types on.
constexpr std::chrono::milliseconds restAfterTyping(120);

constexpr qsizetype titleLength = 60;

int toInt(std::size_t number)
{
    return static_cast<int>(std::min<std::size_t>(number, std::numeric_limits<int>::max()));
}

}  // namespace

SearchWindow::~SearchWindow()
{
    // Both read from the controller, which would go first.
    delete problems_;
    delete results_;
}

void SearchWindow::connectParts()
{
    typing_.setSingleShot(true);
    typing_.setInterval(restAfterTyping);
    connect(&typing_, &QTimer::timeout, this, [this] { search(false); });
    const auto typed = [this] { typing_.start(); };
    const auto chosen = [this] { search(false); };
    connect(query_, &QLineEdit::textEdited, this, typed);
    connect(query_, &QueryField::submitted, this, &SearchWindow::submit);
    connect(query_, &QueryField::leftDownwards, this, [this] {
        if (pages_->currentWidget() != results_ || controller_->report().hits.empty())
            return;
        query_->remember();
        results_->enter();  // before the focus makes the first row current, which is no hit
        results_->setFocus();
    });
    connect(mode_, &QComboBox::activated, this, chosen);
    connect(matchCase_, &QCheckBox::clicked, this, chosen);
    connect(wholeWords_, &QCheckBox::clicked, this, chosen);
    connect(options_, &SearchOptions::changed, this, chosen);
    connect(options_, &SearchOptions::typed, this, typed);
    connect(scope_, &ScopeBox::scopeChosen, this, &SearchWindow::setScope);

    connect(results_, &SearchResultsView::hitActivated, this, &SearchWindow::open);
    connect(results_, &SearchResultsView::leftUpwards, query_, [this] { query_->setFocus(); });
    connect(results_, &SearchResultsView::typed, query_, [this](QKeyEvent* event) {
        query_->setFocus();
        query_->end(false);
        QCoreApplication::sendEvent(query_, event);
    });

    TextSearchController& search = controller_->search();
    connect(refresh_, &QPushButton::clicked, this, [this] { this->search(true); });
    connect(stop_, &QPushButton::clicked, this, [&search] { search.stop(); });
    connect(showMore_, &QPushButton::clicked, this, [&search] { search.showMore(); });
    connect(problemsButton_, &QPushButton::clicked, this, &SearchWindow::showProblems);
    connect(controller_, &SearchController::stateChanged, this, &SearchWindow::updateState);
    connect(&appearance_, &Appearance::changed, this, &SearchWindow::updateColors);
    createShortcuts();
}

// ---- the rule ----

void SearchWindow::setRule(const TextSearchRule& rule)
{
    typing_.stop();
    controller_->search().setRule(rule);
    showRule();
}

void SearchWindow::setQuery(const std::string& query)
{
    TextSearchRule rule = ruleOfParts();
    rule.query = query;
    // It is meant as it stands.
    if (rule.mode == TextMatchMode::regex)
        rule.mode = TextMatchMode::literal;
    setRule(rule);
}

void SearchWindow::setScope(const TextSearchScope& scope)
{
    TextSearchRule rule = ruleOfParts();
    rule.scope = scope;
    setRule(rule);
}

void SearchWindow::setMode(TextMatchMode mode)
{
    mode_->setCurrentIndex(mode_->findData(static_cast<int>(mode)));
    search(false);
}

/// Shows the controller's rule.
void SearchWindow::showRule()
{
    const TextSearchRule& rule = controller_->search().rule();
    if (query_->text().toStdString() != rule.query)
        query_->setText(toQString(rule.query));
    mode_->setCurrentIndex(mode_->findData(static_cast<int>(rule.mode)));
    matchCase_->setChecked(rule.caseSensitive);
    wholeWords_->setChecked(rule.wholeWord);
    options_->show(rule);
    const QString help = modeHelp(rule.mode);
    modeHelp_->setText(help);
    modeHelp_->setVisible(!help.isEmpty());
    mode_->setToolTip(mode_->currentData(Qt::ToolTipRole).toString());
    mode_->setAccessibleDescription(mode_->toolTip());
    const int set = SearchOptions::countOf(rule);
    optionsButton_->setText(set == 0 ? tr("&Options") : tr("&Options (%1)").arg(set));
    const QString query = harmlessLine(rule.query).trimmed();
    setWindowTitle(query.isEmpty()
                       ? tr("Search")
                       : tr("%1 - Search")
                             .arg(query.size() > titleLength ? query.left(titleLength) + QStringLiteral("…") : query));
}

/// What is typed and chosen at the moment, in the rule that it belongs to.
TextSearchRule SearchWindow::ruleOfParts() const
{
    TextSearchRule rule = controller_->search().rule();
    rule.query = query_->text().toStdString();
    rule.mode = static_cast<TextMatchMode>(mode_->currentData().toInt());
    rule.caseSensitive = matchCase_->isChecked();
    rule.wholeWord = wholeWords_->isChecked();
    options_->applyTo(rule);
    return rule;
}

void SearchWindow::search(bool now)
{
    typing_.stop();
    controller_->search().setRule(ruleOfParts(), now);
    showRule();
}

void SearchWindow::submit(bool newWindow)
{
    query_->remember();
    if (typing_.isActive() || !controller_->hasCurrentHits()) {
        // A search for just this may be on its way, and would only be delayed.
        if (typing_.isActive() || !controller_->search().running())
            search(true);
        return;
    }
    if (!results_->currentHit())
        results_->showHit(0);
    if (const auto hit = results_->currentHit())
        open(*hit, newWindow);
}

void SearchWindow::open(std::size_t hit, bool newWindow)
{
    query_->remember();
    results_->visited();
    emit hitActivated(hit, newWindow);
}

void SearchWindow::step(int steps)
{
    // Nobody has been there yet.
    if (const auto hit = results_->currentHit(); steps > 0 && hit && results_->isSuccessor()) {
        open(*hit, false);
        return;
    }
    if (const auto hit = controller_->search().step(steps)) {
        results_->showHit(*hit);
        open(*hit, false);
    }
}

// ---- what is shown ----

void SearchWindow::updateState()
{
    const TextSearchController& search = controller_->search();
    scope_->show(search.rule().scope, search.target());
    message_->setText(toQString(search.message()));
    message_->setVisible(!search.message().empty());
    updateFoot();
    updatePage();
}

void SearchWindow::updateFoot()
{
    const TextSearchController& search = controller_->search();
    const TextSearchReport& report = controller_->report();
    if (const QString status = toQString(search.status()); status != status_->text()) {
        status_->setText(status);
        status_->setAccessibleName({});  // it told of the one before
    }
    counts_->setText(reportCounts(report, search.running()));
    if (search.running() != wasRunning_) {
        wasRunning_ = search.running();
        tellReaders();
    }
    progress_->setVisible(search.running());
    progress_->setRange(0, search.running() ? toInt(report.sources) : 1);
    progress_->setValue(std::min(progress_->maximum(), toInt(report.done)));
    // One takes the place of the other. A button that goes while it has the focus would leave the keyboard somewhere.
    QPushButton* const comes = search.running() ? stop_ : refresh_;
    QPushButton* const goes = search.running() ? refresh_ : stop_;
    const bool hadFocus = goes->hasFocus();
    comes->show();
    if (hadFocus)
        comes->setFocus();
    goes->hide();
    const bool hasMore = report.limited && !search.running();
    if (!hasMore && showMore_->hasFocus())
        results_->setFocus();
    showMore_->setVisible(hasMore);
    if (report.problems == 0 && problemsButton_->hasFocus())
        comes->setFocus();
    problemsButton_->setVisible(report.problems > 0);
    problemsButton_->setText(report.problems == 1
                                 ? tr("1 &problem")
                                 : tr("%1 &problems").arg(QLocale().toString(qulonglong(report.problems))));
}

/// Screen readers hear of the end of a search, and not of each batch. While it runs, what is read is what is seen.
/// Whoever writes in another window is not told of each search that follows their edits.
void SearchWindow::tellReaders()
{
    const bool hasEnded = !wasRunning_ && isVisible() && !status_->text().isEmpty();
    QStringList parts;
    if (hasEnded)
        parts << status_->text() << foundCounts(controller_->report());
    if (hasEnded && !message_->text().isEmpty())
        parts << message_->text();
    if (hasEnded && controller_->report().problems > 0)
        parts << problemCount(controller_->report().problems);
    status_->setAccessibleName(parts.join(QStringLiteral(", ")));
    if (!hasEnded || !isActiveWindow())
        return;
    QAccessibleEvent alert(status_, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
    emit announced(status_->accessibleName());
}

void SearchWindow::updatePage()
{
    const TextSearchController& search = controller_->search();
    const bool hasHits = !controller_->report().hits.empty();
    const bool showsResults = hasHits || search.running();
    if (!showsResults) {
        empty_->setText(emptyText());
        if (results_->hasFocus())
            query_->setFocus();
    }
    pages_->setCurrentWidget(showsResults ? static_cast<QWidget*>(results_) : empty_);
}

QString SearchWindow::emptyText() const
{
    const TextSearchController& search = controller_->search();
    const TextSearchReport& report = controller_->report();
    if (!search.message().empty() || !search.target().isAvailable)
        return {};
    if (QString::fromStdString(search.rule().query).trimmed().isEmpty())
        return tr("Type to search.");
    if (!report.finished)
        return {};
    const QString searched = report.sources == 1
                                 ? tr("1 source was searched.")
                                 : tr("%1 sources were searched.").arg(QLocale().toString(qulonglong(report.sources)));
    return tr("No matches in %1").arg(harmlessLine(search.target().title)) + QLatin1Char('\n') + searched;
}

void SearchWindow::showProblems()
{
    if (!problems_)
        problems_ = new SearchProblems(*controller_, this);
    problems_->show();
    problems_->activateWindow();
}

void SearchWindow::showOptions(bool shown)
{
    options_->setVisible(shown);
    optionsButton_->setIcon(icon(shown ? IconShape::chevronDown : IconShape::chevronRight));
}

void SearchWindow::setLook(const Look& look)
{
    results_->setTextFont(look.font);
}

void SearchWindow::updateColors()
{
    results_->setColors(appearance_.editorColors());
}

}  // namespace penmark
