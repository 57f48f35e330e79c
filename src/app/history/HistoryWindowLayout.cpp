// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/appearance/Appearance.h"
#include "app/appearance/Icon.h"
#include "app/editor/EditorView.h"
#include "app/history/CheckpointStrip.h"
#include "app/history/ComparisonView.h"
#include "app/history/HistoryWindow.h"
#include "app/history/VersionDelegate.h"
#include "app/sessions/SessionActions.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QScrollBar>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace penmark {

namespace {

QLabel* quietLabel(const QString& text, QWidget* parent)
{
    auto* const label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

QToolButton* toolButton(const QString& text, const QString& tip, QWidget* parent)
{
    auto* const button = new QToolButton(parent);
    button->setText(text);
    button->setToolTip(tip);
    button->setAccessibleName(tip);
    button->setFocusPolicy(Qt::StrongFocus);
    button->setAutoRaise(true);
    return button;
}

}  // namespace

HistoryWindow::HistoryWindow(DocumentRegistry& documents, SessionActions& actions, const Appearance& appearance,
                             Look look, const Uuid& document, Clock clock)
    : QWidget(nullptr, Qt::Window), documents_(documents), actions_(actions), appearance_(appearance),
      look_(std::move(look)), document_(document), clock_(std::move(clock)), model_(new VersionModel(clock_, this)),
      comparison_(new VersionComparison(documents, document, this))
{
    setAttribute(Qt::WA_DeleteOnClose);
    resize(1120, 720);
    slow_.setSingleShot(true);
    slow_.setInterval(300);
    connect(&slow_, &QTimer::timeout, this, [this] { showMessage(tr("Comparing…")); });

    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(quietLabel(tr("Compare an earlier version with your current text. Restoring creates a separate "
                                    "document; your current work and original file stay in place."),
                                 this));
    auto* const splitter = new QSplitter(this);
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(createVersions());
    splitter->addWidget(createComparison());
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({300, 820});
    layout->addWidget(splitter, 1);

    connect(comparison_, &VersionComparison::documentLoaded, this, [this] {
        updateTitle();
        chooseFirst();
    });
    connect(comparison_, &VersionComparison::documentChanged, this, &HistoryWindow::updateTitle);
    connect(comparison_, &VersionComparison::compared, this, &HistoryWindow::takeDiff);
    connect(comparison_, &VersionComparison::failed, this, &HistoryWindow::showMessage);
    connect(&documents_, &DocumentRegistry::stored, this, [this](const RecoveryBuffer& buffer) {
        if (buffer.id() == document_)
            refresh();
    });
    connect(&appearance_, &Appearance::changed, this, &HistoryWindow::updateColors);
    setLook(look_);
    updateColors();
    model_->setOwnDevice(documents_.library().store().deviceID());
    updateTitle();
    updateChosen();
    refresh();
    list_->setFocus();
}

QWidget* HistoryWindow::createVersions()
{
    auto* const side = new QWidget(this);
    auto* const layout = new QVBoxLayout(side);
    layout->setContentsMargins(0, 0, 0, 0);
    list_ = new QListView(side);
    list_->setModel(model_);
    list_->setItemDelegate(new VersionDelegate(*model_, list_));
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setResizeMode(QListView::Adjust);
    list_->setMouseTracking(true);
    list_->setAccessibleName(tr("Versions"));
    list_->setAccessibleDescription(tr("Select two versions to compare them with each other."));
    connect(list_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this](const QItemSelection& selected) {
                // Who chooses while another version is still looked for wants that one no more.
                if (searched_ && !selected.isEmpty()) {
                    searched_.reset();
                    goal_.reset();
                }
                selectionChanged();
            });
    connect(list_, &QListView::activated, this, &HistoryWindow::activate);
    connect(list_, &QListView::clicked, this, [this](const QModelIndex& index) {
        if (model_->row(index).kind == VersionRow::Kind::loadEarlier) {
            activate(index);
        } else if (!message_.isEmpty()) {
            compared_.reset();  // whatever was said, it is asked for again
            compare();
        }
    });
    connect(list_->verticalScrollBar(), &QScrollBar::valueChanged, this, [this](int value) {
        // Who comes to the row that loads more by keys decides with Enter.
        const QModelIndex current = list_->currentIndex();
        const bool isAsked = current.isValid() && model_->row(current).kind == VersionRow::Kind::loadEarlier;
        if (value > 0 && value == list_->verticalScrollBar()->maximum() && !isAsked)
            loadEarlier();
    });
    layout->addWidget(list_, 1);
    layout->addWidget(quietLabel(tr("Keep a checkpoint before you revise this document. It stays in Document History "
                                    "until you remove it, even after automatic history cleanup. Restoring it creates a "
                                    "new copy and keeps your current text."),
                                 side));
    keep_ = new QPushButton(tr("Keep Current Version…"), side);
    connect(keep_, &QPushButton::clicked, this, [this] { actions_.askToKeepVersion(*this, document_); });
    layout->addWidget(keep_);
    side->setMinimumWidth(220);
    return side;
}

QWidget* HistoryWindow::createComparison()
{
    auto* const side = new QWidget(this);
    auto* const layout = new QVBoxLayout(side);
    layout->setContentsMargins(6, 0, 0, 0);
    createHead(*layout);
    note_ = quietLabel({}, side);
    note_->hide();
    layout->addWidget(note_);

    pages_ = new QStackedWidget(side);
    messageLabel_ = new QLabel(pages_);
    messageLabel_->setTextFormat(Qt::PlainText);
    messageLabel_->setWordWrap(true);
    messageLabel_->setAlignment(Qt::AlignCenter);
    messageLabel_->setMargin(24);
    messageLabel_->setTextInteractionFlags(Qt::TextSelectableByKeyboard | Qt::TextSelectableByMouse);
    view_ = new ComparisonView(pages_);
    connect(view_, &ComparisonView::placeChanged, this, &HistoryWindow::updateCount);
    connect(view_, &ComparisonView::wrapsChanged, wrap_, &QToolButton::setChecked);
    pages_->addWidget(messageLabel_);
    pages_->addWidget(view_);
    layout->addWidget(pages_, 1);

    checkpoints_ = new CheckpointStrip(actions_, side);
    layout->addWidget(checkpoints_);
    createButtons(*layout);
    return side;
}

void HistoryWindow::createHead(QVBoxLayout& layout)
{
    auto* const row = new QHBoxLayout;
    title_ = new QLabel(this);
    title_->setTextFormat(Qt::PlainText);
    title_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    QFont bold = title_->font();
    bold.setWeight(QFont::DemiBold);
    title_->setFont(bold);
    row->addWidget(title_, 1);

    auto* const label = new QLabel(tr("&Compare with:"), this);
    againstBox_ = new QComboBox(this);
    againstBox_->addItems({tr("Current text"), tr("The version before"), tr("Another version…")});
    againstBox_->setAccessibleName(tr("Compare with"));
    label->setBuddy(againstBox_);
    connect(againstBox_, &QComboBox::currentIndexChanged, this, &HistoryWindow::againstChanged);
    row->addWidget(label);
    row->addWidget(againstBox_);
    layout.addLayout(row);

    auto* const tools = new QHBoxLayout;
    count_ = new QLabel(this);
    count_->setForegroundRole(QPalette::PlaceholderText);
    tools->addWidget(count_, 1);
    previous_ = toolButton(tr("Previous"), tr("Previous change (Shift+F8)"), this);
    next_ = toolButton(tr("Next"), tr("Next change (F8)"), this);
    connect(previous_, &QToolButton::clicked, this, [this] { view_->goToChange(false); });
    connect(next_, &QToolButton::clicked, this, [this] { view_->goToChange(true); });
    wrap_ = toolButton(tr("Wrap"), tr("Wrap long lines (Alt+Z)"), this);
    wrap_->setCheckable(true);
    connect(wrap_, &QToolButton::toggled, this, [this](bool wraps) {
        view_->setWraps(wraps);
        if (textView_)
            textView_->setWrap(wraps);
    });
    plain_ = toolButton(tr("Text"), tr("Show the text of the version instead of the comparison"), this);
    plain_->setCheckable(true);
    connect(plain_, &QToolButton::toggled, this, [this] {
        showPage();
        updateCount();
    });
    for (QToolButton* const button : {previous_, next_, wrap_, plain_})
        tools->addWidget(button);
    layout.addLayout(tools);
}

void HistoryWindow::createButtons(QVBoxLayout& layout)
{
    auto* const row = new QHBoxLayout;
    row->addStretch(1);
    copy_ = new QPushButton(tr("Copy Text"), this);
    connect(copy_, &QPushButton::clicked, this, &HistoryWindow::copyText);
    restore_ = new QPushButton(tr("Restore as New Document"), this);
    connect(restore_, &QPushButton::clicked, this, [this] {
        if (chosen_)
            actions_.restoreRevision(document_, chosen_->revision.id);
    });
    row->addWidget(copy_);
    row->addWidget(restore_);
    layout.addLayout(row);
}

}  // namespace penmark
