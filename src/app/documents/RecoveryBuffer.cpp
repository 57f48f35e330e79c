// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/RecoveryBuffer.h"

#include "app/documents/AutomaticTitle.h"
#include "app/documents/DocumentRegistry.h"
#include "text/TextEdit.h"

#include <QTimerEvent>
#include <algorithm>
#include <limits>

namespace penmark {

namespace {

constexpr std::uint64_t neverSaved = std::numeric_limits<std::uint64_t>::max();
constexpr std::size_t titleBytes = 4'000;  // what an automatic title is made of

EditorLanguage languageOf(const RecoveryDocument& record, const TextSnapshot& text)
{
    if (record.languageName) {
        if (const auto chosen = languageNamed(*record.languageName))
            return *chosen;
    }
    const TextLine first = text.line(LineNumber(0));
    const Utf8Offset end = text.characterStart(std::min(first.end, Utf8Offset(1'000)));
    return guessLanguage(record.externalPath.value_or(record.originPath.value_or("")), text.text({first.start, end}));
}

Utf8Range shared(const TextSnapshot& from, const TextSnapshot& to)
{
    // Both texts are walked piece by piece; what they share by pointer is not compared again.
    const std::size_t limit = std::min(from.end().value, to.end().value);
    std::size_t prefix = 0;
    while (prefix < limit) {
        const auto [fromStart, fromPiece] = from.pieceAt(Utf8Offset(prefix));
        const auto [toStart, toPiece] = to.pieceAt(Utf8Offset(prefix));
        const std::string_view left = fromPiece.substr(prefix - fromStart.value);
        const std::string_view right = toPiece.substr(prefix - toStart.value);
        const std::size_t length = std::min({left.size(), right.size(), limit - prefix});
        const auto differs =
            std::mismatch(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(length), right.begin());
        const auto same = static_cast<std::size_t>(differs.first - left.begin());
        prefix += same;
        if (same < length)
            break;
    }
    prefix = std::min(from.characterStart(Utf8Offset(prefix)), to.characterStart(Utf8Offset(prefix))).value;
    std::size_t suffix = 0;
    while (suffix < limit - prefix) {
        const auto [fromStart, fromPiece] = from.pieceAt(from.end() - suffix - 1);
        const auto [toStart, toPiece] = to.pieceAt(to.end() - suffix - 1);
        const std::string_view left = fromPiece.substr(0, from.end().value - suffix - fromStart.value);
        const std::string_view right = toPiece.substr(0, to.end().value - suffix - toStart.value);
        const std::size_t length = std::min({left.size(), right.size(), limit - prefix - suffix});
        const auto differs =
            std::mismatch(left.rbegin(), left.rbegin() + static_cast<std::ptrdiff_t>(length), right.rbegin());
        const auto same = static_cast<std::size_t>(differs.first - left.rbegin());
        suffix += same;
        if (same < length)
            break;
    }
    // A character that both end with, but whose first bytes differ, is not shared.
    while (suffix > 0 && from.characterStart(from.end() - suffix) != from.end() - suffix)
        --suffix;
    return {Utf8Offset(prefix), Utf8Offset(suffix)};
}

}  // namespace

RecoveryBuffer::RecoveryBuffer(LoadedDocument loaded)
    : record_(std::move(loaded.record)), content_(loaded.text, languageOf(record_, loaded.text)),
      isInLibrary_(loaded.isInLibrary), storedHash_(std::move(loaded.storedHash)), fileEncoding_(record_.encoding),
      fileBytes_(std::move(loaded.fileBytes)), fileContent_(loaded.fileContent),
      fileSnapshot_(std::move(loaded.fileSnapshot)), availability_(loaded.availability),
      notice_(std::move(loaded.notice)), damage_(std::move(loaded.error))
{
    savedGeneration_ = loaded.textIsStored || (!isInLibrary_ && loaded.text.empty()) ? generation() : neverSaved;
    if (loaded.fileMatches) {
        fileGeneration_ = generation();
        if (loaded.textIsStored)
            fileTextHash_ = storedHash_;
    }
    if (!isInLibrary_ && record_.externalPath)
        recordVersion_ = 1;
    const std::string automatic = automaticTitle(text());
    titleIsAutomatic_ = !record_.externalPath && !record_.originPath && !record_.commandOrigin &&
                        (record_.title.empty() || record_.title == automatic);
    if (fileBytes_)
        openedText_ = text();
    content_.buffer().addObserver(*this);
    updateAutomaticTitle();
}

RecoveryBuffer::~RecoveryBuffer()
{
    content_.buffer().removeObserver(*this);
}

std::string RecoveryBuffer::shownTitle() const
{
    const std::string& title = record_.shownTitle();
    return title.empty() ? tr("New Draft").toStdString() : title;
}

bool RecoveryBuffer::isStored() const
{
    return generation() == savedGeneration_ && recordVersion_ == savedRecordVersion_;
}

bool RecoveryBuffer::isReadOnlyLibrary() const
{
    return registry_ && registry_->library().store().isReadOnly();
}

bool RecoveryBuffer::isTextUnsaved() const
{
    if (generation() == savedGeneration_ || (text().empty() && !isInLibrary_))
        return false;
    const bool isGone =
        availability_ == OriginalFileAvailability::changed || availability_ == OriginalFileAvailability::unavailable;
    return isDraft() || isGone || !fileMatchesSavedVersion();
}

bool RecoveryBuffer::fileMatchesSavedVersion() const
{
    if (!record_.externalPath || record_.encoding != fileEncoding_)
        return false;
    if (fileGeneration_ == generation())
        return true;
    return generation() == savedGeneration_ && !fileTextHash_.empty() && storedHash_ == fileTextHash_;
}

std::string_view RecoveryBuffer::fileStatusText() const
{
    return originalStatusText(availability_, !fileMatchesSavedVersion());
}

void RecoveryBuffer::setNotice(const std::string& notice)
{
    if (notice_ == notice)
        return;
    notice_ = notice;
    changed();
}

void RecoveryBuffer::guessLanguage()
{
    content_.setLanguage(languageOf(record_, text()));
    changed();
}

void RecoveryBuffer::replaceText(const TextSnapshot& replacement)
{
    const Utf8Range same = shared(text(), replacement);  // bytes at the start, bytes at the end
    const Utf8Offset start = same.start;
    const Utf8Offset end = text().end() - same.end.value;
    const Utf8Range inserted{start, replacement.end() - same.end.value};
    if (start == end && inserted.start == inserted.end)
        return;
    const TextEdit edit({{start, end - start, inserted.end - inserted.start}}, replacement.slice(inserted));
    content_.buffer().apply(edit, CaretSet(Caret(start)), CaretSet(Caret(start)));
}

void RecoveryBuffer::textChanged(const TextChange& change)
{
    if (change.edit.empty() || change.edit.spanBefore().start.value < titleBytes)
        updateAutomaticTitle();
    if (registry_)
        registry_->edited(*this);
    emit onEdit();
}

void RecoveryBuffer::updateAutomaticTitle()
{
    if (!titleIsAutomatic_)
        return;
    std::string title = automaticTitle(text());
    if (title == record_.title)
        return;
    record_.title = std::move(title);
    changed();
}

void RecoveryBuffer::timerEvent(QTimerEvent* event)
{
    if (event->timerId() == timer_.timerId()) {
        timer_.stop();
        registry_->store(*this);
    } else if (event->timerId() == retry_.timerId()) {
        retry_.stop();
        registry_->store(*this);
    }
}

void RecoveryBuffer::changed()
{
    if (changePosted_)
        return;
    changePosted_ = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            changePosted_ = false;
            emit stateChanged();
        },
        Qt::QueuedConnection);
}

void RecoveryBuffer::takeStored(const RecoveryDocument& stored)
{
    record_.externalPath = stored.externalPath;
    record_.externalDigest = stored.externalDigest;
    record_.head = stored.head;
    record_.originPath = stored.originPath;
    record_.deleted = stored.deleted;
    record_.createdAt = stored.createdAt;
    record_.updatedAt = stored.updatedAt;
    record_.unknownMembers = stored.unknownMembers;
    isInLibrary_ = true;
}

}  // namespace penmark
