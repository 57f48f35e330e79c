// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/HistoryWindow.h"

#include "app/appearance/Appearance.h"
#include "app/editor/EditorView.h"
#include "app/editor/Strings.h"
#include "app/history/CheckpointStrip.h"
#include "app/history/ComparisonView.h"
#include "app/sessions/SessionActions.h"
#include "app/sessions/SessionTitles.h"
#include "storage/ContentStore.h"

#include <QClipboard>
#include <QComboBox>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QToolButton>
#include <algorithm>

namespace penmark {

HistoryWindow::~HistoryWindow()
{
    delete textView_;  // before what it shows
}

void HistoryWindow::setLook(const Look& look)
{
    look_ = look;
    view_->setTextFont(look_.font, look_.tabWidth);
    if (textView_)
        textView_->setEditorFont(look_.font);
}

void HistoryWindow::updateColors()
{
    view_->setColors(appearance_.editorColors());
    if (textView_)
        textView_->setColors(appearance_.editorColors());
}

// ---- versions ----

void HistoryWindow::readPage(std::int64_t offset, std::int64_t limit, bool replaces)
{
    if (std::exchange(reading_, true)) {
        readAgain_ = readAgain_ || replaces;
        return;
    }
    documents_.library().read(
        this,
        [document = document_, offset, limit](RecoveryStore& store) {
            return documentHistory(store, document, offset, limit);
        },
        [this, replaces](DocumentHistoryPage&& page) { takePage(std::move(page), replaces); },
        [this](const RecoveryError& error) {
            reading_ = false;
            searched_.reset();
            goal_.reset();
            showMessage(toQString(error.what()));
        });
}

void HistoryWindow::takePage(DocumentHistoryPage page, bool replaces)
{
    reading_ = false;
    const auto known = model_->versionCount();
    const int end = list_->verticalScrollBar()->value();
    if (replaces)
        model_->setVersions(std::move(page));
    else
        model_->append(std::move(page));
    if (!replaces)
        list_->verticalScrollBar()->setValue(end);
    if (std::exchange(entersEarlier_, false) && !replaces && model_->versionCount() > known)
        choose(model_->indexOf(model_->versionAt(known)->revision.id));
    chooseFirst();
    selectionChanged();
    if (std::exchange(readAgain_, false))
        refresh();
    else if (searched_)
        continueSearch();
    readSizes();
}

void HistoryWindow::readSizes()
{
    std::vector<std::string> hashes = model_->withoutSize();
    if (hashes.empty())
        return;
    documents_.library().read(
        this,
        [hashes = std::move(hashes)](RecoveryStore& store) {
            VersionModel::Sizes sizes;
            for (const std::string& hash : hashes) {
                // A text that is damaged has no size; it is told of when somebody wants to see it.
                LibraryQueue::guard([&] { sizes.emplace_back(hash, ContentStore(store).textSize(hash)); });
            }
            return sizes;
        },
        [this](const VersionModel::Sizes& sizes) { model_->addSizes(sizes); }, [](const RecoveryError&) {});
}

void HistoryWindow::refresh()
{
    readPage(0, std::max<std::int64_t>(historyPageSize, static_cast<std::int64_t>(model_->readCount())), true);
}

void HistoryWindow::checkpointsChanged()
{
    refresh();
}

void HistoryWindow::loadEarlier()
{
    if (model_->hasEarlier() && !reading_)
        readPage(static_cast<std::int64_t>(model_->readCount()), historyPageSize, false);
}

void HistoryWindow::showVersion(const Uuid& revision, std::optional<Utf8Range> place)
{
    searched_ = revision;
    hasChosen_ = true;
    goal_ = place ? std::optional(Goal{revision, *place}) : std::nullopt;
    continueSearch();
    if (!goal_)
        return;
    plain_->setChecked(true);
    showPage();  // the version may be the one that is shown
}

void HistoryWindow::continueSearch()
{
    if (const QModelIndex index = model_->indexOf(*searched_); index.isValid()) {
        searched_.reset();
        choose(index);
    } else if (model_->hasEarlier()) {
        constexpr std::int64_t manyAtOnce = 10 * historyPageSize;
        readPage(static_cast<std::int64_t>(model_->readCount()), manyAtOnce, false);
    } else if (model_->isLoaded() && !reading_) {
        searched_.reset();
        goal_.reset();
        showMessage(tr("This version is no longer in the library."));
    }
}

void HistoryWindow::choose(const QModelIndex& index)
{
    list_->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
    list_->scrollTo(index);
}

void HistoryWindow::chooseFirst()
{
    RecoveryBuffer* const buffer = comparison_->buffer();
    if (hasChosen_ || !buffer || model_->versionCount() == 0)
        return;
    hasChosen_ = true;
    // The one that differs from what is seen in the editor.
    const bool headIsSeen = buffer->isStored() && model_->isHead(model_->versionAt(0)->revision.id);
    choose(model_->indexOf(model_->versionAt(headIsSeen && model_->versionCount() > 1 ? 1 : 0)->revision.id));
}

void HistoryWindow::activate(const QModelIndex& index)
{
    const VersionRow::Kind kind = model_->row(index).kind;
    if (kind == VersionRow::Kind::loadEarlier) {
        entersEarlier_ = true;
        loadEarlier();
    } else if (kind == VersionRow::Kind::version) {
        pages_->currentWidget()->setFocus();
    }
}

// ---- what is compared ----

void HistoryWindow::selectionChanged()
{
    std::vector<Version> selected;
    QModelIndexList indexes = list_->selectionModel()->selectedIndexes();
    std::sort(indexes.begin(), indexes.end());
    for (const QModelIndex& index : indexes) {
        if (Version version = model_->version(index))
            selected.push_back(std::move(version));
    }
    // Beside the row that loads more, or when a chosen version was cleaned up, the last choice stays to be seen.
    if (!selected.empty())
        selected_ = std::move(selected);
    if (!selected_.empty())
        hasChosen_ = true;
    updateChosen();
    compare();
}

void HistoryWindow::againstChanged(int index)
{
    against_ = static_cast<Against>(index);
    held_ = against_ == Against::anotherVersion ? chosen_ : nullptr;
    if (selected_.size() > 1 && against_ != Against::anotherVersion)
        choose(list_->currentIndex());
    updateChosen();
    compare();
}

std::optional<HistoryWindow::Pair> HistoryWindow::pair() const
{
    if (selected_.empty())
        return std::nullopt;
    if (selected_.size() > 1)
        return Pair{selected_.back(), selected_.front()};
    const Version& version = selected_.front();
    switch (against_) {
    case Against::currentText:
        break;
    case Against::versionBefore:
        if (Version before = model_->before(version->revision.id))
            return Pair{std::move(before), version};
        if (model_->hasEarlier())
            return std::nullopt;
        return Pair{nullptr, version, true};
    case Against::anotherVersion:
        if (held_ && held_->revision.id != version->revision.id) {
            const bool heldIsOlder = model_->isOlder(held_->revision.id, version->revision.id);
            return heldIsOlder ? Pair{held_, version} : Pair{version, held_};
        }
        break;
    }
    return Pair{version, nullptr};
}

QString HistoryWindow::pairTitle(const Pair& pair) const
{
    if (pair.isFirst)
        return tr("%1, the first version").arg(model_->moment(*pair.later));
    if (!pair.later && against_ == Against::anotherVersion)
        return tr("%1 with current text. Choose the other version in the list.").arg(model_->moment(*pair.earlier));
    return pair.later ? tr("%1 with %2").arg(model_->moment(*pair.earlier), model_->moment(*pair.later))
                      : tr("%1 with current text").arg(model_->moment(*pair.earlier));
}

void HistoryWindow::updateChosen()
{
    // What a version is held by may have changed since it was selected.
    const auto newest = [this](Version& version) {
        if (Version found = model_->find(version->revision.id))
            version = std::move(found);
    };
    std::for_each(selected_.begin(), selected_.end(), newest);
    chosen_ = selected_.empty() ? nullptr : selected_.back();
    const bool isWritable = !documents_.library().store().isReadOnly();
    restore_->setEnabled(chosen_ && isWritable);
    restore_->setToolTip(chosen_ ? tr("Opens the text of %1 as a document of its own").arg(model_->moment(*chosen_))
                                 : QString());
    keep_->setEnabled(isWritable);
    checkpoints_->setCheckpoints(chosen_ ? chosen_->checkpoints : std::vector<CheckpointHeader>());
    checkpoints_->setPermitsChanges(isWritable);
    copy_->setEnabled(chosen_ && comparison_->text(chosen_->revision.contentHash));
    const QSignalBlocker quiet(againstBox_);
    againstBox_->setCurrentIndex(static_cast<int>(selected_.size() > 1 ? Against::anotherVersion : against_));
}

void HistoryWindow::compare()
{
    const auto asked = pair();
    if (!asked) {
        if (!selected_.empty())
            loadEarlier();
        else if (model_->isLoaded())
            showMessage(model_->versionCount() == 0 ? QString() : tr("No version is chosen."));
        return;
    }
    title_->setText(pairTitle(*asked));
    const auto side = [](const Version& version, ComparedSide::Kind otherwise) {
        return version ? ComparedSide{ComparedSide::Kind::stored, version->revision.contentHash}
                       : ComparedSide{otherwise, {}};
    };
    const std::pair sides(
        side(asked->earlier, asked->isFirst ? ComparedSide::Kind::nothing : ComparedSide::Kind::current),
        side(asked->later, ComparedSide::Kind::current));
    if (compared_ == sides)
        return;
    compared_ = sides;
    note_->hide();
    slow_.start();
    comparison_->compare(sides.first, sides.second);
}

void HistoryWindow::takeDiff(const std::shared_ptr<const DocumentDiff>& diff, bool isUpdate)
{
    slow_.stop();
    message_.clear();
    view_->setDiff(diff, isUpdate);
    QStringList notes;
    if (!diff->hasChanges())
        notes << (diff->isIncomplete ? tr("No differences in the part that is compared.") : tr("No differences."));
    if (diff->fellBackToBlocks && diff->hasChanges())
        notes << toQString(DocumentDiff::blocksNote);
    if (diff->isIncomplete)
        notes << tr("Only the first 200,000 characters of each text are compared.");
    note_->setText(notes.join(QLatin1Char(' ')));
    note_->setVisible(!notes.isEmpty());
    updateChosen();
    showPage();
    updateCount();
}

void HistoryWindow::updateCount()
{
    const std::size_t all = view_->lines().changes().size();
    const bool canMove = message_.isEmpty() && all > 0 && !plain_->isChecked();
    const QString number = all == 1 ? tr("1 change") : tr("%1 changes").arg(all);
    const auto current = view_->currentChange();
    count_->setText(!canMove  ? QString()
                    : current ? tr("%1 of %2", "3 of 17 changes").arg(*current + 1).arg(number)
                              : number);
    next_->setEnabled(canMove);
    previous_->setEnabled(canMove);
}

// ---- what is shown ----

void HistoryWindow::updateTitle()
{
    setWindowTitle(tr("History: %1").arg(documentTitle(documents_, document_)));
    if (RecoveryBuffer* const buffer = comparison_->buffer())
        model_->setHead(buffer->record().head, buffer->isStored());
}

void HistoryWindow::showMessage(const QString& sentence)
{
    slow_.stop();
    message_ = sentence.isEmpty() ? QStringLiteral(" ") : sentence;
    messageLabel_->setText(message_);
    note_->hide();
    showPage();
    updateCount();
}

void HistoryWindow::showPage()
{
    const bool hadFocus = pages_->currentWidget() && pages_->currentWidget()->hasFocus();
    if (plain_->isChecked() && message_.isEmpty())
        showText();
    const Page page = !message_.isEmpty()                ? Page::message
                      : plain_->isChecked() && textView_ ? Page::text
                                                         : Page::comparison;
    pages_->setCurrentIndex(static_cast<int>(page));
    if (hadFocus && page != Page::message)
        pages_->currentWidget()->setFocus();
    if (goal_ && page == Page::text)
        selectPlace();
}

void HistoryWindow::selectPlace()
{
    // While the list is still read, another version than the one that is wanted is shown.
    if (searched_ || !chosen_ || shownHash_ != chosen_->revision.contentHash)
        return;
    const Goal goal = *std::exchange(goal_, std::nullopt);
    if (goal.revision != chosen_->revision.id || goal.place.end > text_->text().end())
        return;
    textView_->setCarets(CaretSet(Caret(goal.place.start, goal.place.end)));
    textView_->setFocus();
}

void HistoryWindow::showText()
{
    const auto text = chosen_ ? comparison_->text(chosen_->revision.contentHash) : nullptr;
    if (!text || (textView_ && shownHash_ == chosen_->revision.contentHash))
        return;
    const RecoveryBuffer* const buffer = comparison_->buffer();
    const EditorLanguage language = buffer ? buffer->content().language() : EditorLanguage::plainText;
    const TextSnapshot snapshot{std::string_view(*text)};
    shownHash_ = chosen_->revision.contentHash;
    if (textView_) {
        textView_->setCarets(CaretSet());
        text_->load(snapshot, language);
        textView_->refresh();
        return;
    }
    text_ = std::make_unique<EditorDocument>(snapshot, language);
    textView_ = new EditorView(*text_, pages_);
    textView_->setReadOnly(true);
    textView_->setFrameShape(QFrame::NoFrame);
    textView_->setEditorFont(look_.font);
    textView_->setColors(appearance_.editorColors());
    textView_->setAccessibleName(tr("Text of the version"));
    pages_->insertWidget(static_cast<int>(Page::text), textView_);
}

void HistoryWindow::copyText()
{
    if (const auto text = chosen_ ? comparison_->text(chosen_->revision.contentHash) : nullptr)
        QGuiApplication::clipboard()->setText(toQString(*text));
}

void HistoryWindow::keyPressEvent(QKeyEvent* event)
{
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    if (event->key() == Qt::Key_F8 && (modifiers == Qt::NoModifier || modifiers == Qt::ShiftModifier)) {
        if (message_.isEmpty() && !plain_->isChecked())
            view_->goToChange(modifiers == Qt::NoModifier);
    } else if (event->key() == Qt::Key_Z && modifiers == Qt::AltModifier) {
        wrap_->toggle();
    } else if (event->key() == Qt::Key_Escape || event->matches(QKeySequence::Close)) {
        close();
    } else {
        QWidget::keyPressEvent(event);
    }
}

}  // namespace penmark
