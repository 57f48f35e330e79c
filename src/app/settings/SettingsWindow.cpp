// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/settings/SettingsWindow.h"

#include "app/settings/KeysPage.h"
#include "app/settings/SettingsPage.h"

#include <QFile>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>
#include <algorithm>

namespace penmark {

namespace {

constexpr int listWidth = 200;

}  // namespace

SettingsWindow::SettingsWindow(SettingsStore& store, CommandRegistry& registry, const QString& libraryFolder)
    : QWidget(nullptr, Qt::Window), store_(store), search_(new QLineEdit), list_(new QListWidget),
      scroll_(new QScrollArea), problem_(new QLabel), nothing_(new QLabel(tr("No setting has these words."))),
      pageLayout_(nullptr)
{
    setWindowTitle(tr("Settings"));
    resize(920, 620);
    setMinimumSize(640, 400);

    search_->setPlaceholderText(tr("Search settings"));
    search_->setAccessibleName(tr("Search settings"));
    search_->setClearButtonEnabled(true);
    search_->addAction(icon(IconShape::search), QLineEdit::LeadingPosition);
    list_->setAccessibleName(tr("Pages"));
    list_->setFrameShape(QFrame::NoFrame);
    list_->setIconSize(QSize(18, 18));
    list_->setSpacing(1);
    list_->viewport()->setAutoFillBackground(false);
    auto* json = new QPushButton(tr("Open as JSON"));
    json->setToolTip(QFile::decodeName(store.path().c_str()));
    connect(json, &QPushButton::clicked, this, [this] { openAsJson(); });

    auto* left = new QVBoxLayout;
    left->setSpacing(10);
    left->addWidget(search_);
    left->addWidget(list_, 1);
    left->addWidget(json);

    problem_->setWordWrap(true);
    problem_->setFrameShape(QFrame::StyledPanel);
    problem_->setMargin(8);
    nothing_->setAlignment(Qt::AlignHCenter);
    nothing_->setMargin(40);
    nothing_->hide();
    auto* pages = new QWidget;
    pageLayout_ = new QVBoxLayout(pages);
    pageLayout_->setContentsMargins(20, 6, 14, 0);
    pageLayout_->setSpacing(0);
    pageLayout_->addWidget(nothing_);
    scroll_->setWidget(pages);
    scroll_->setWidgetResizable(true);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setFocusPolicy(Qt::NoFocus);
    auto* right = new QVBoxLayout;
    right->addWidget(problem_);
    right->addWidget(scroll_, 1);

    auto* whole = new QHBoxLayout(this);
    whole->setContentsMargins(12, 12, 0, 12);
    whole->setSpacing(6);
    auto* leftSide = new QWidget;
    leftSide->setFixedWidth(listWidth);
    left->setContentsMargins(0, 0, 0, 0);
    leftSide->setLayout(left);
    whole->addWidget(leftSide);
    whole->addLayout(right, 1);

    createPages(registry, libraryFolder);
    connect(list_, &QListWidget::currentRowChanged, this, [this] {
        search_->clear();
        showCurrent();
    });
    connect(list_, &QListWidget::itemClicked, this, [this] { search_->clear(); });
    connect(search_, &QLineEdit::textChanged, this, [this] { showCurrent(); });
    connect(&store_, &SettingsStore::changed, this, [this] { showSettings(); });
    connect(&store_, &SettingsStore::problemChanged, this, [this] { showSettings(); });
    list_->setCurrentRow(0);
    showSettings();
}

SettingsWindow::~SettingsWindow() = default;

void SettingsWindow::createPages(CommandRegistry& registry, const QString& libraryFolder)
{
    addGeneral();
    addEditor();
    addAppearance();
    addPage(QStringLiteral("keys"), new KeysPage(registry, store_));
    addFiles();
    addLibrary(libraryFolder);
    addPrivacy(libraryFolder);
    pageLayout_->addStretch(0);
}

void SettingsWindow::addPage(const QString& id, SettingsPage* page)
{
    auto* item = new QListWidgetItem(icon(page->iconShape()), page->title(), list_);
    item->setSizeHint(QSize(0, list_->fontMetrics().height() + 14));
    pages_.push_back(page);
    ids_.append(id);
    // A page that is a table takes the room there is; the others begin at the top.
    pageLayout_->addWidget(page, id == QLatin1String("keys") ? 1 : 0);
}

void SettingsWindow::showPage(const QString& id)
{
    search_->clear();
    list_->setCurrentRow(std::max(0, static_cast<int>(ids_.indexOf(id))));
    list_->setFocus();
}

void SettingsWindow::showCurrent()
{
    const QString typed = search_->text();
    const bool searching = !typed.trimmed().isEmpty();
    bool some = false;
    for (std::size_t index = 0; index < pages_.size(); ++index) {
        const bool hasHits = pages_[index]->filter(typed);
        const bool shown = searching ? hasHits : static_cast<int>(index) == list_->currentRow();
        pages_[index]->setVisible(shown);
        some = some || shown;
    }
    nothing_->setVisible(!some);
    // What is shown then is of no one page.
    if (searching)
        list_->clearSelection();
    else
        list_->setCurrentRow(list_->currentRow(), QItemSelectionModel::SelectCurrent);
    scroll_->verticalScrollBar()->setValue(0);
}

void SettingsWindow::showSettings()
{
    for (SettingsPage* page : pages_)
        page->showSettings();
    problem_->setText(store_.problem());
    problem_->setVisible(!store_.problem().isEmpty());
}

void SettingsWindow::openAsJson()
{
    // Written also when nothing was ever changed, so that there is something to open. A file that is there stays.
    store_.ensureFile();
    emit openFile(QFile::decodeName(store_.path().c_str()));
}

void SettingsWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Find)) {
        search_->setFocus();
        search_->selectAll();
    } else if (event->key() == Qt::Key_Escape && !search_->text().isEmpty()) {
        search_->clear();
    } else if (event->key() == Qt::Key_Escape || event->matches(QKeySequence::Close)) {
        close();
    } else {
        QWidget::keyPressEvent(event);
    }
}

}  // namespace penmark
