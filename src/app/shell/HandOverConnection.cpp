// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/HandOverConnection.h"

#include "app/shell/ProgramOptions.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>

#include <sys/socket.h>

namespace penmark {

namespace {

using State = HandOverStatus::State;

constexpr std::size_t prefixBytes = handover::magic.size() + 2 * handover::lengthBytes;

}  // namespace

HandOverReply::HandOverReply(HandOverConnection& connection, bool waits) : connection_(&connection), waits_(waits) {}

HandOverReply::~HandOverReply()
{
    refuse("Penmark could not do this now.", static_cast<int>(ExitStatus::fileRefused));
    if (connection_)
        connection_->close();
}

bool HandOverReply::isWaitedFor() const
{
    return waits_ && connection_ != nullptr;
}

void HandOverReply::accept()
{
    if (!connection_ || std::exchange(isAnswered_, true))
        return;
    connection_->send({State::accepted, 0, {}});
    if (!waits_)
        connection_->close();
}

void HandOverReply::refuse(const std::string& sentence, int exitStatus)
{
    if (!connection_ || std::exchange(isAnswered_, true))
        return;
    connection_->send({State::refused, exitStatus, sentence});
    connection_->close();
}

void HandOverReply::turnAway()
{
    if (!connection_ || std::exchange(isAnswered_, true))
        return;
    connection_->send({State::ending, static_cast<int>(ExitStatus::libraryUnavailable), "Penmark is just ending."});
    connection_->close();
}

void HandOverReply::finish(int exitStatus)
{
    accept();  // in case that everything was closed before it was
    if (!connection_)
        return;
    connection_->send({State::closed, exitStatus, {}});
    connection_->close();
}

HandOverConnection::HandOverConnection(FileDescriptor socket, int patienceInMilliseconds, QObject* parent)
    : QObject(parent), socket_(std::move(socket)), notifier_(socket_.get(), QSocketNotifier::Read),
      patience_(patienceInMilliseconds)
{
    connect(&notifier_, &QSocketNotifier::activated, this, &HandOverConnection::read);
    timer_ = startTimer(patience_);
}

HandOverConnection::~HandOverConnection() = default;

void HandOverConnection::timerEvent(QTimerEvent*)
{
    close();
}

void HandOverConnection::close()
{
    if (std::exchange(isClosed_, true))
        return;
    notifier_.setEnabled(false);
    socket_.reset();
    if (const auto reply = reply_.lock())
        reply->connection_.clear();
    deleteLater();
}

void HandOverConnection::send(const HandOverStatus& status)
{
    if (isClosed_)
        return;
    const std::string json = encodeRecord(status);
    const std::string bytes = handover::encodeLength(json.size()) + json;
    // Answers are few and small, so a socket that does not take one at once belongs to a client that reads nothing.
    // Cut off, it is found closed at the next turn of the event loop, as one that has gone by itself.
    if (::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size()))
        shutdown(socket_.get(), SHUT_RDWR);
}

void HandOverConnection::read()
{
    bool isGood = false;
    try {
        isGood = readSome();
    } catch (const std::bad_alloc&) {
        send({State::refused, static_cast<int>(ExitStatus::fileRefused), "There is not enough memory."});
    }
    if (isGood)
        return;
    const auto reply = reply_.lock();
    close();
    if (reply && reply->waits_)
        emit reply->abandoned();
}

// One piece of what has come, so that the window gets its turn between the pieces. False if this is the end.
bool HandOverConnection::readSome()
{
    std::array<char, std::size_t{64} * 1024> bytes;
    const ssize_t got = recv(socket_.get(), bytes.data(), bytes.size(), 0);
    if (got < 0)
        return errno == EAGAIN || errno == EINTR;
    if (got == 0)
        return false;
    std::string_view rest(bytes.data(), static_cast<std::size_t>(got));
    while (!rest.empty() && stage_ != Stage::handedOver) {
        const std::size_t wanted = stage_ == Stage::prefix   ? prefixBytes
                                   : stage_ == Stage::record ? recordBytes_
                                                             : inputBytes_;
        const std::size_t taken = std::min(rest.size(), wanted - buffer_.size());
        buffer_.append(rest.substr(0, taken));
        rest.remove_prefix(taken);
        if (stage_ == Stage::input) {
            killTimer(timer_);
            timer_ = startTimer(patience_);
        }
        if (buffer_.size() == wanted && !endStage())
            return false;
    }
    return true;  // what comes after the request means nothing
}

bool HandOverConnection::endStage()
{
    if (stage_ == Stage::prefix && !decodePrefix())
        return false;
    if (stage_ == Stage::record && !decodeRequest())
        return false;
    const Stage ended = stage_;
    stage_ = ended == Stage::prefix ? Stage::record : Stage::input;
    if (ended == Stage::input || (ended == Stage::record && inputBytes_ == 0))
        return deliver();
    buffer_.clear();
    return true;
}

bool HandOverConnection::decodePrefix()
{
    const std::string_view prefix = buffer_;
    recordBytes_ = handover::decodeLength(prefix.substr(handover::magic.size()));
    inputBytes_ = handover::decodeLength(prefix.substr(handover::magic.size() + handover::lengthBytes));
    return prefix.starts_with(handover::magic) && recordBytes_ > 0 && recordBytes_ <= handover::longestRequest &&
           inputBytes_ <= handover::longestInput;
}

bool HandOverConnection::decodeRequest()
{
    try {
        request_ = decodeRecord<HandOverRequest>(buffer_);
    } catch (const RecordError& error) {
        send({State::refused, static_cast<int>(ExitStatus::wrongUsage),
              "The running Penmark does not understand this request: " + std::string(error.what()) + "."});
        return false;
    }
    return true;
}

bool HandOverConnection::deliver()
{
    killTimer(timer_);
    if (inputBytes_ > 0)
        request_.standardInput = std::move(buffer_);
    buffer_ = {};
    stage_ = Stage::handedOver;
    // Whoever gave up may have turned elsewhere with what it asked for.
    if (!isOtherSideThere())
        return false;
    const auto reply = std::make_shared<HandOverReply>(*this, request_.wait);
    reply_ = reply;
    send({State::received, 0, {}});
    const HandOverRequest request = std::exchange(request_, {});
    emit requested(request, reply);
    return true;
}

bool HandOverConnection::isOtherSideThere() const
{
    char byte = 0;
    return recv(socket_.get(), &byte, 1, MSG_PEEK) != 0;
}

}  // namespace penmark
