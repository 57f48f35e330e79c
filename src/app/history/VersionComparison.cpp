// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/VersionComparison.h"

#include "app/documents/PoolWork.h"
#include "app/editor/Strings.h"
#include "base/SystemError.h"
#include "organization/ComparedText.h"
#include "storage/ContentStore.h"

#include <algorithm>

namespace penmark {

namespace {

/// A text on its way to another thread.
struct TextOnItsWay {
    std::shared_ptr<const std::string> stored;  // or
    TextSnapshot current;

    /// Of the current text, as much as is ever compared and enough more to see that there is more.
    std::string_view in(std::string& room) const
    {
        if (stored)
            return *stored;
        const Utf16Offset most(ComparedText::mostUnits + 4);
        room = current.text({Utf8Offset(0), current.toUtf8(std::min(most, current.utf16End()))});
        return room;
    }
};

std::shared_ptr<const DocumentDiff> comparedTexts(const TextOnItsWay& earlier, const TextOnItsWay& later,
                                                  const std::stop_token& stop)
{
    std::string rooms[2];
    try {
        return std::make_shared<const DocumentDiff>(compareTexts(earlier.in(rooms[0]), later.in(rooms[1]), stop));
    } catch (const Cancelled&) {
        return nullptr;
    }
}

}  // namespace

VersionComparison::VersionComparison(DocumentRegistry& documents, const Uuid& document, QObject* parent)
    : QObject(parent), documents_(documents), document_(document)
{
    editTimer_.setSingleShot(true);
    editTimer_.setInterval(editDelay);
    connect(&editTimer_, &QTimer::timeout, this, &VersionComparison::go);
    documents_.load(document_, this, [this](RecoveryBuffer& buffer) { takeDocument(buffer); });
}

VersionComparison::~VersionComparison()
{
    running_.request_stop();
    if (buffer_)
        documents_.release(document_);
}

void VersionComparison::takeDocument(RecoveryBuffer& buffer)
{
    buffer_ = &buffer;
    documents_.retain(document_);
    connect(&buffer, &RecoveryBuffer::onEdit, this, [this] {
        if (asked_ && (earlier_.kind == ComparedSide::Kind::current || later_.kind == ComparedSide::Kind::current))
            editTimer_.start();
        emit documentChanged();
    });
    connect(&buffer, &RecoveryBuffer::stateChanged, this, &VersionComparison::documentChanged);
    emit documentLoaded();
    if (asked_)
        go();
}

void VersionComparison::compare(const ComparedSide& earlier, const ComparedSide& later)
{
    stop();
    earlier_ = earlier;
    later_ = later;
    asked_ = true;
    std::erase_if(texts_, [&](const StoredText& text) {
        return text.contentHash != earlier.contentHash && text.contentHash != later.contentHash;
    });
    go();
}

void VersionComparison::stop()
{
    ++request_;
    running_.request_stop();
    editTimer_.stop();
    asked_ = false;
    answered_ = false;
}

std::shared_ptr<const std::string> VersionComparison::text(const std::string& contentHash) const
{
    const auto found = std::find_if(texts_.begin(), texts_.end(),
                                    [&](const StoredText& text) { return text.contentHash == contentHash; });
    return found == texts_.end() ? nullptr : found->text;
}

bool VersionComparison::prepare(const ComparedSide& side)
{
    switch (side.kind) {
    case ComparedSide::Kind::nothing:
        return true;
    case ComparedSide::Kind::current:
        if (buffer_ && !buffer_->damage().empty())
            emit failed(toQString(buffer_->damage()));
        return buffer_ && buffer_->damage().empty();
    case ComparedSide::Kind::stored:
        break;
    }
    if (text(side.contentHash))
        return true;
    documents_.library().read(
        this, [hash = side.contentHash](RecoveryStore& store) { return ContentStore(store).loadText(hash); },
        [this, request = request_, hash = side.contentHash](std::string&& text) {
            if (request != request_)
                return;
            texts_.push_back({hash, std::make_shared<const std::string>(std::move(text))});
            go();
        },
        [this, request = request_](const RecoveryError& error) {
            if (request == request_)
                emit failed(toQString(error.what()));
        });
    return false;
}

void VersionComparison::go()
{
    ++request_;
    running_.request_stop();
    if (!prepare(earlier_) || !prepare(later_))
        return;
    const auto onItsWay = [this](const ComparedSide& side) {
        TextOnItsWay text;
        if (side.kind == ComparedSide::Kind::stored)
            text.stored = this->text(side.contentHash);
        else if (side.kind == ComparedSide::Kind::current)
            text.current = buffer_->text();
        return text;
    };
    running_ = std::stop_source();
    inPool(
        this,
        [earlier = onItsWay(earlier_), later = onItsWay(later_), stop = running_.get_token()] {
            return comparedTexts(earlier, later, stop);
        },
        [this, request = request_](const std::shared_ptr<const DocumentDiff>& diff) {
            if (request == request_ && diff)
                emit compared(diff, std::exchange(answered_, true));
        });
}

}  // namespace penmark
