// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/find/FindBar.h"

#include "app/appearance/Icon.h"
#include "app/editor/EditorView.h"
#include "app/editor/Strings.h"
#include "app/find/FindMemory.h"
#include "search/TextMatcher.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPainter>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace penmark {

namespace {

constexpr int narrowWidth = 560;
constexpr int saidToSearchAfter = 250;  // milliseconds

QString number(std::size_t value, bool more)
{
    QString text = QLocale().toString(static_cast<qulonglong>(value));
    if (more)
        text += QLatin1Char('+');
    return text;
}

}  // namespace

FindBar::FindBar(FindMemory& memory, QWidget* parent) : QFrame(parent), memory_(memory)
{
    setAccessibleName(tr("Find"));
    setAutoFillBackground(true);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    rows_ = new QVBoxLayout(this);
    rows_->setContentsMargins(8, 5, 6, 6);
    rows_->setSpacing(5);
    createQueryRow();
    problem_ = new QLabel(this);
    problem_->setTextFormat(Qt::PlainText);
    problem_->setWordWrap(true);
    problem_->hide();
    rows_->addWidget(problem_);
    setTabOrders();
    searchingTimer_.setSingleShot(true);
    searchingTimer_.setInterval(saidToSearchAfter);
    connect(&searchingTimer_, &QTimer::timeout, this, &FindBar::showCount);
    connect(&find_, &DocumentFind::changed, this, &FindBar::update);
    connect(&find_, &DocumentFind::message, this, &FindBar::message);
    hide();
}

// What is there

QToolButton* FindBar::makeButton(const QString& name, const QString& toolTip)
{
    auto* const button = new QToolButton(this);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    button->setAccessibleName(name);
    button->setToolTip(toolTip);
    return button;
}

QToolButton* FindBar::makeToggle(const QString& sign, const QString& name, const QString& key)
{
    QToolButton* const button = makeButton(name, QStringLiteral("%1 (%2)").arg(name, key));
    button->setText(sign);
    button->setCheckable(true);
    return button;
}

void FindBar::createQueryRow()
{
    query_ = new QLineEdit(this);
    query_->setAccessibleName(tr("Find"));
    query_->setPlaceholderText(tr("Find"));
    query_->setMinimumWidth(64);
    query_->installEventFilter(this);
    connect(query_, &QLineEdit::textEdited, this, [this] {
        recalled_ = -1;
        queryTyped();
    });
    previous_ = makeButton(tr("Previous Match"), tr("Previous Match (Shift+Enter)"));
    previous_->setIcon(icon(IconShape::chevronUp));
    connect(previous_, &QToolButton::clicked, this, [this] { findAgain(false); });
    next_ = makeButton(tr("Next Match"), tr("Next Match (Enter)"));
    next_->setIcon(icon(IconShape::chevronDown));
    connect(next_, &QToolButton::clicked, this, [this] { findAgain(true); });
    close_ = makeButton(tr("Close"), tr("Close (Esc)"));
    close_->setIcon(icon(IconShape::close));
    connect(close_, &QToolButton::clicked, this, &FindBar::dismiss);

    options_ = new QWidget(this);
    auto* const options = new QHBoxLayout(options_);
    options->setContentsMargins(0, 0, 0, 0);
    options->setSpacing(2);
    count_ = new QLabel(options_);
    count_->setTextFormat(Qt::PlainText);
    count_->setMinimumWidth(count_->fontMetrics().horizontalAdvance(QStringLiteral("000 of 000")) + 8);
    options->addWidget(count_, 1);
    case_ = makeToggle(QStringLiteral("Aa"), tr("Match Case"), QStringLiteral("Alt+C"));
    word_ = makeToggle(QStringLiteral("W"), tr("Match Whole Words"), QStringLiteral("Alt+W"));
    regex_ = makeToggle(QStringLiteral(".*"), tr("Regular Expression"), QStringLiteral("Alt+R"));
    for (QToolButton* toggle : {case_, word_, regex_}) {
        connect(toggle, &QToolButton::clicked, this, &FindBar::queryTyped);
        options->addWidget(toggle);
    }
    inSelection_ = makeToggle(QStringLiteral("[\u2026]"), tr("Find in Selection"), QStringLiteral("Alt+L"));
    connect(inSelection_, &QToolButton::clicked, &find_, &DocumentFind::setInSelection);
    options->addWidget(inSelection_);

    queryRow_ = new QHBoxLayout;
    queryRow_->setSpacing(4);
    queryRow_->addWidget(query_, 1);
    queryRow_->addWidget(options_);
    for (QToolButton* button : {previous_, next_, close_})
        queryRow_->addWidget(button);
    rows_->addLayout(queryRow_);
}

void FindBar::createReplacementRow()
{
    replacementRow_ = new QWidget(this);
    auto* const row = new QHBoxLayout(replacementRow_);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(4);
    replacement_ = new QLineEdit(replacementRow_);
    replacement_->setAccessibleName(tr("Replace With"));
    replacement_->setPlaceholderText(tr("Replace with"));
    replacement_->setMinimumWidth(64);
    replacement_->installEventFilter(this);
    connect(replacement_, &QLineEdit::textEdited, this, [this] { recalled_ = -1; });
    row->addWidget(replacement_, 1);
    replaceOne_ = new QPushButton(tr("Replace"), replacementRow_);
    replaceOne_->setToolTip(tr("Replace (Enter)"));
    connect(replaceOne_, &QPushButton::clicked, this, &FindBar::replace);
    replaceAll_ = new QPushButton(tr("Replace All"), replacementRow_);
    replaceAll_->setToolTip(tr("Replace All (Ctrl+Alt+Enter)"));
    connect(replaceAll_, &QPushButton::clicked, this, &FindBar::replaceAll);
    for (QPushButton* button : {replaceOne_, replaceAll_}) {
        button->setFocusPolicy(Qt::TabFocus);
        row->addWidget(button);
    }
    rows_->insertWidget(rows_->indexOf(problem_), replacementRow_);
    setTabOrders();
}

void FindBar::setTabOrders()
{
    QWidget* before = query_;
    const QList<QWidget*> order{replacement_, case_, word_,       regex_,      inSelection_,
                                previous_,    next_, replaceOne_, replaceAll_, close_};
    for (QWidget* widget : order) {
        if (!widget)
            continue;
        setTabOrder(before, widget);
        before = widget;
    }
}

// Narrow: what was found and how stands below the query.
void FindBar::arrange()
{
    const bool narrow = width() < narrowWidth;
    if (narrow == isNarrow_)
        return;
    isNarrow_ = narrow;
    if (narrow) {
        queryRow_->removeWidget(options_);
        rows_->insertWidget(1, options_);
    } else {
        rows_->removeWidget(options_);
        queryRow_->insertWidget(1, options_);
    }
}

void FindBar::resizeEvent(QResizeEvent* event)
{
    QFrame::resizeEvent(event);
    arrange();
}

void FindBar::paintEvent(QPaintEvent* event)
{
    QFrame::paintEvent(event);
    QPainter painter(this);
    painter.fillRect(QRect(0, height() - 1, width(), 1), palette().color(QPalette::Mid));
}

// Opening and closing

void FindBar::open(bool withReplacement)
{
    const bool wasHidden = isHidden();
    const bool comesFromText = !isAncestorOf(QApplication::focusWidget());
    if (wasHidden) {
        setOptions(memory_.caseSensitive, memory_.wholeWord, memory_.regex);
        if (!memory_.queries.isEmpty())
            query_->setText(memory_.queries.front());
    }
    if (comesFromText) {
        const bool isTaken = takeSelection();
        find_.setOrigin();
        if (isTaken)
            find_.forgetSelection();
        if (find_.view())
            find_.view()->editor().rememberPlace();
    }
    if (wasHidden || withReplacement)
        showReplacement(withReplacement);
    setVisible(true);
    find_.setRule(typedRule());
    find_.setFollows(true);
    update();
    query_->selectAll();
    query_->setFocus(Qt::ShortcutFocusReason);
}

void FindBar::showReplacement(bool shows)
{
    if (shows && !replacementRow_)
        createReplacementRow();
    if (!replacementRow_)
        return;
    if (shows && replacement_->text().isEmpty() && !memory_.replacements.isEmpty())
        replacement_->setText(memory_.replacements.front());
    replacementRow_->setVisible(shows);
}

bool FindBar::dismiss()
{
    if (isHidden())
        return false;
    noteUse();
    const bool hadFocus = isAncestorOf(QApplication::focusWidget());
    hide();
    find_.setFollows(false);
    find_.setInSelection(false);
    emit dismissed(hadFocus);
    return true;
}

bool FindBar::takeSelection()
{
    const EditorView* const view = find_.view();
    if (!view || !view->editor().carets().main().hasSelection())
        return false;
    const Utf8Range range = view->editor().carets().main().range();
    if (range.size() > TextMatcher::queryLimit)
        return false;
    const std::string text = view->text().text(range);
    if (text.find_first_of("\r\n") != std::string::npos)
        return false;
    query_->setText(toQString(text));
    // It is meant as it stands.
    regex_->setChecked(false);
    memory_.regex = false;
    return true;
}

void FindBar::setOptions(bool caseSensitive, bool wholeWord, bool regex)
{
    case_->setChecked(caseSensitive);
    word_->setChecked(wholeWord);
    regex_->setChecked(regex);
}

TextSearchRule FindBar::typedRule() const
{
    TextSearchRule rule;
    rule.query = query_->text().toStdString();
    rule.mode = regex_->isChecked() ? TextMatchMode::regex : TextMatchMode::literal;
    rule.caseSensitive = case_->isChecked();
    rule.wholeWord = word_->isChecked();
    return rule;
}

// Finding

void FindBar::queryTyped()
{
    find_.goToFirst(typedRule());
    memory_.caseSensitive = case_->isChecked();
    memory_.wholeWord = word_->isChecked();
    memory_.regex = regex_->isChecked();
}

void FindBar::noteUse()
{
    FindMemory::note(memory_.queries, query_->text());
    recalled_ = -1;
}

void FindBar::findAgain(bool forwards)
{
    if (isHidden()) {
        setOptions(memory_.caseSensitive, memory_.wholeWord, memory_.regex);
        query_->setText(memory_.queries.value(0));
        // What the last step has selected is a match of what was looked for, not a new wish.
        find_.setRule(typedRule());
        if (query_->text().isEmpty() || !find_.standsOnMatch())
            takeSelection();
        if (query_->text().isEmpty()) {
            open(false);
            return;
        }
        find_.setRule(typedRule());
    }
    noteUse();
    if (forwards)
        find_.next();
    else
        find_.previous();
}

void FindBar::replace()
{
    noteUse();
    FindMemory::note(memory_.replacements, replacement_->text());
    find_.replace(replacement_->text().toStdString());
}

void FindBar::replaceAll()
{
    noteUse();
    FindMemory::note(memory_.replacements, replacement_->text());
    find_.replaceAll(replacement_->text().toStdString());
}

// What is shown of it

void FindBar::update()
{
    if (isHidden())
        return;
    // The last answer stands until there is a new one, unless that takes long.
    if (!find_.isSearching()) {
        searchingTimer_.stop();
        showCount();
    } else if (!searchingTimer_.isActive()) {
        searchingTimer_.start();
    }
    inSelection_->setChecked(find_.within().has_value());
    const bool finds = !query_->text().isEmpty();
    previous_->setEnabled(finds);
    next_->setEnabled(finds);
    if (replacementRow_) {
        const bool edits = finds && find_.view() && !find_.view()->isReadOnly();
        replaceOne_->setEnabled(edits);
        replaceAll_->setEnabled(edits);
    }
}

void FindBar::showCount()
{
    const QString problem = QString::fromStdString(find_.problem());
    const bool isShort = !find_.isSearching() && !problem.isEmpty() && !query_->text().isEmpty();
    problem_->setText(isShort ? problem : QString());
    problem_->setVisible(isShort);
    query_->setAccessibleDescription(problem_->text());
    const DocumentFind::Count found = find_.count();
    if (query_->text().isEmpty() || (isShort && found.total == 0))
        count_->clear();
    else if (find_.isSearching())
        count_->setText(tr("Searching…"));
    else if (found.current)
        count_->setText(tr("%1 of %2").arg(number(*found.current, false), number(found.total, found.more)));
    else if (found.total == 0)
        count_->setText(tr("No results"));
    else
        count_->setText(found.total == 1 && !found.more ? tr("1 result")
                                                        : tr("%1 results").arg(number(found.total, found.more)));
}

void FindBar::changeEvent(QEvent* event)
{
    QFrame::changeEvent(event);
    if (event->type() == QEvent::FontChange && count_)
        count_->setMinimumWidth(count_->fontMetrics().horizontalAdvance(QStringLiteral("000 of 000")) + 8);
}

// Keys

QToolButton* FindBar::toggleOf(const QKeyEvent& event) const
{
    switch (event.key()) {
    case Qt::Key_C:
        return case_;
    case Qt::Key_W:
        return word_;
    case Qt::Key_R:
        return regex_;
    case Qt::Key_L:
        return inSelection_;
    default:
        return nullptr;
    }
}

bool FindBar::eventFilter(QObject* object, QEvent* event)
{
    // Letters with Alt would be typed, or open menus.
    if (event->type() == QEvent::ShortcutOverride) {
        const auto* const key = static_cast<QKeyEvent*>(event);
        if (key->modifiers() == Qt::AltModifier && toggleOf(*key)) {
            event->accept();
            return true;
        }
    }
    if (event->type() == QEvent::KeyPress && handleKey(*static_cast<QKeyEvent*>(event)))
        return true;
    return QFrame::eventFilter(object, event);
}

void FindBar::keyPressEvent(QKeyEvent* event)
{
    if (!handleKey(*event))
        QFrame::keyPressEvent(event);
}

bool FindBar::handleKey(const QKeyEvent& event)
{
    const Qt::KeyboardModifiers modifiers = event.modifiers() & ~Qt::KeypadModifier;
    if (modifiers == Qt::AltModifier) {
        QToolButton* const toggle = toggleOf(event);
        if (toggle)
            toggle->click();
        return toggle != nullptr;
    }
    switch (event.key()) {
    case Qt::Key_Escape:
        dismiss();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return handleReturn(modifiers);
    case Qt::Key_Up:
    case Qt::Key_Down: {
        if (modifiers != Qt::NoModifier)
            return false;
        const int steps = event.key() == Qt::Key_Up ? 1 : -1;
        if (query_->hasFocus())
            recall(*query_, memory_.queries, steps);
        else if (replacement_ && replacement_->hasFocus())
            recall(*replacement_, memory_.replacements, steps);
        else
            return false;
        return true;
    }
    default:
        return false;
    }
}

bool FindBar::handleReturn(Qt::KeyboardModifiers modifiers)
{
    const bool replaces = replacementRow_ && !replacementRow_->isHidden();
    if (modifiers == (Qt::ControlModifier | Qt::AltModifier)) {
        if (replaces)
            replaceAll();
        return true;
    }
    if (modifiers == Qt::ShiftModifier) {
        findAgain(false);
        return true;
    }
    if (modifiers != Qt::NoModifier)
        return false;
    if (auto* const button = qobject_cast<QAbstractButton*>(QApplication::focusWidget()))
        button->click();
    else if (replaces && replacement_->hasFocus())
        replace();
    else
        findAgain(true);
    return true;
}

// Up goes back in time; below the latest is what had been typed.
void FindBar::recall(QLineEdit& field, const QStringList& list, int steps)
{
    if (recalled_ < 0)
        typed_ = field.text();
    int index = recalled_ + steps;
    if (recalled_ < 0 && steps > 0 && list.value(0) == typed_)
        ++index;
    if (index < -1 || index >= list.size())
        return;
    recalled_ = index;
    field.setText(index < 0 ? typed_ : list[index]);
    if (&field == query_)
        queryTyped();
}

}  // namespace penmark
