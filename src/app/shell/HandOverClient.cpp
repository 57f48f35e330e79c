// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/HandOverClient.h"

#include "app/shell/LockHolder.h"
#include "app/shell/ProgramOptions.h"
#include "base/FileDescriptor.h"

#include <cerrno>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace penmark {

namespace {

namespace fs = std::filesystem;
using Outcome = HandOverResult::Outcome;
using std::chrono::milliseconds;

constexpr int libraryUnavailable = static_cast<int>(ExitStatus::libraryUnavailable);

HandOverResult failure(Outcome outcome, pid_t server)
{
    std::string sentence = "Penmark ended before it was done with what it was asked for.";
    if (outcome == Outcome::silent)
        sentence = "Penmark is running" + (server > 0 ? " as process " + std::to_string(server) : std::string()) +
                   " but does not answer.";
    return {outcome, libraryUnavailable, std::move(sentence), server};
}

// One connection to the program that listens. Its calls return how it went on, and never wait longer than they may.
class Conversation {
public:
    enum class Progress { done, timedOut, closed };

    // Absent if nobody of this user listens there.
    static std::optional<Conversation> connect(const fs::path& path, milliseconds patience)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.native().size() >= sizeof(address.sun_path))
            return std::nullopt;
        std::memcpy(address.sun_path, path.c_str(), path.native().size());
        Conversation conversation;
        conversation.socket_ = FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const int socket = conversation.socket_.get();
        if (socket < 0)
            return std::nullopt;
        // Connecting waits while the listener's queue is full.
        const timeval limit{patience.count() / 1000, patience.count() % 1000 * 1000};
        setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        int status = -1;
        do
            status = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        while (status != 0 && errno == EINTR);
        conversation.isQueueFull_ = status != 0 && errno == EAGAIN;
        if (status != 0 && !conversation.isQueueFull_)
            return std::nullopt;
        ucred peer{};
        socklen_t size = sizeof peer;
        if (status == 0 && (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.uid != getuid()))
            return std::nullopt;
        conversation.server_ = peer.pid;
        fcntl(socket, F_SETFL, O_NONBLOCK);
        return conversation;
    }

    bool isQueueFull() const { return isQueueFull_; }
    pid_t server() const { return server_; }

    Progress send(std::string_view bytes, milliseconds patience) const
    {
        while (!bytes.empty()) {
            const ssize_t sent = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent > 0) {
                bytes.remove_prefix(static_cast<std::size_t>(sent));
            } else if (sent < 0 && errno == EAGAIN) {
                if (!isReady(POLLOUT, patience))
                    return Progress::timedOut;
            } else if (sent == 0 || errno != EINTR) {
                return Progress::closed;
            }
        }
        return Progress::done;
    }

    // A negative patience waits without end.
    Progress receive(HandOverStatus& status, milliseconds patience) const
    {
        std::string bytes;
        Progress progress = receive(bytes, handover::lengthBytes, patience);
        if (progress != Progress::done)
            return progress;
        const std::size_t length = handover::decodeLength(bytes);
        if (length > handover::longestStatus)
            return Progress::closed;
        progress = receive(bytes, length, patience);
        if (progress != Progress::done)
            return progress;
        try {
            status = decodeRecord<HandOverStatus>(bytes);
        } catch (const RecordError&) {
            return Progress::closed;  // not a program that speaks as we do
        }
        return Progress::done;
    }

private:
    Progress receive(std::string& bytes, std::size_t count, milliseconds patience) const
    {
        bytes.resize(count);
        for (std::size_t have = 0; have < count;) {
            const ssize_t got = recv(socket_.get(), bytes.data() + have, count - have, 0);
            if (got > 0) {
                have += static_cast<std::size_t>(got);
            } else if (got < 0 && errno == EAGAIN) {
                if (!isReady(POLLIN, patience))
                    return Progress::timedOut;
            } else if (got == 0 || errno != EINTR) {
                return Progress::closed;
            }
        }
        return Progress::done;
    }

    bool isReady(short events, milliseconds patience) const
    {
        pollfd waited{socket_.get(), events, 0};
        while (true) {
            const int ready = poll(&waited, 1, static_cast<int>(patience.count()));
            if (ready >= 0 || errno != EINTR)
                return ready > 0;
        }
    }

    FileDescriptor socket_;
    pid_t server_ = 0;
    bool isQueueFull_ = false;
};

using Progress = Conversation::Progress;

HandOverResult listen(const Conversation& conversation, bool wait, milliseconds patience)
{
    using State = HandOverStatus::State;
    constexpr milliseconds withoutEnd{-1};
    while (true) {
        HandOverStatus status;
        const Progress progress = conversation.receive(status, patience);
        if (progress != Progress::done)
            return failure(progress == Progress::timedOut ? Outcome::silent : Outcome::ended, conversation.server());
        patience = withoutEnd;  // it is alive
        HandOverResult result{Outcome::accepted, static_cast<int>(status.exitStatus), status.sentence.value_or(""),
                              conversation.server()};
        if (status.state == State::refused)
            result.outcome = Outcome::refused;
        if (status.state == State::ending)
            result.outcome = Outcome::ending;
        if (status.state == State::refused || status.state == State::ending || status.state == State::closed ||
            (status.state == State::accepted && !wait))
            return result;
    }
}

}  // namespace

HandOverResult handOver(const fs::path& library, const HandOverRequest& request, const HandOverPatience& patience)
{
    const fs::path socket = handOverSocket(library);
    const auto end = std::chrono::steady_clock::now() + patience.forListener;
    auto conversation = Conversation::connect(socket, patience.forAnswer);
    while (!conversation && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(milliseconds(20));
        conversation = Conversation::connect(socket, patience.forAnswer);
    }
    if (!conversation)
        return {};
    if (conversation->isQueueFull())
        return failure(Outcome::silent, lockHolder(library / "writer.lock").value_or(0));

    const std::string json = encodeRecord(request);
    const std::string record = std::string(handover::magic) + handover::encodeLength(json.size()) +
                               handover::encodeLength(request.standardInput.size()) + json;
    Progress progress = conversation->send(record, patience.forAnswer);
    if (progress == Progress::done)
        progress = conversation->send(request.standardInput, patience.forAnswer);
    if (progress == Progress::timedOut)
        return failure(Outcome::silent, conversation->server());
    // Whoever closed while we were sending may have said why before.
    return listen(*conversation, request.wait, patience.forAnswer);
}

}  // namespace penmark
