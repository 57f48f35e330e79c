// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/HandOverServer.h"

#include "app/shell/HandOverConnection.h"
#include "base/SystemError.h"

#include <QTimer>
#include <cerrno>
#include <cstring>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace penmark {

HandOverServer::HandOverServer(const std::filesystem::path& library, int patienceInMilliseconds)
    : path_(handOverSocket(library)), patience_(patienceInMilliseconds)
{
    createHandOverFolder(path_);
    listen();
    notifier_ = std::make_unique<QSocketNotifier>(socket_.get(), QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, &HandOverServer::acceptClients);
}

HandOverServer::~HandOverServer()
{
    struct stat found {};
    if (lstat(path_.c_str(), &found) == 0 && found.st_dev == device_ && found.st_ino == inode_)
        unlink(path_.c_str());
}

void HandOverServer::listen()
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.native().size() >= sizeof(address.sun_path))
        throw SystemError(ENAMETOOLONG, path_.native());
    std::memcpy(address.sun_path, path_.c_str(), path_.native().size());
    socket_ = FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), path_);
    if (!socket_.isOpen())
        throw SystemError(errno, path_.native());
    if (unlink(path_.c_str()) != 0 && errno != ENOENT)
        throw SystemError(errno, path_.native());
    struct stat made {};
    if (bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        lstat(path_.c_str(), &made) != 0)
        throw SystemError(errno, path_.native());
    device_ = made.st_dev;
    inode_ = made.st_ino;
    constexpr int waiting = 256;
    if (::listen(socket_.get(), waiting) != 0) {
        const int reason = errno;
        unlink(path_.c_str());
        throw SystemError(reason, path_.native());
    }
}

void HandOverServer::acceptClients()
{
    constexpr qsizetype most = 512;  // far from what a process may have open
    while (true) {
        if (findChildren<HandOverConnection*>(Qt::FindDirectChildrenOnly).size() >= most) {
            acceptLater();
            return;
        }
        FileDescriptor client(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!client.isOpen()) {
            if (errno == ECONNABORTED || errno == EINTR)
                continue;
            if (errno != EAGAIN)
                acceptLater();
            return;
        }
        ucred peer{};
        socklen_t size = sizeof peer;
        if (getsockopt(client.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.uid != getuid())
            continue;
        auto* connection = new HandOverConnection(std::move(client), patience_, this);
        connect(connection, &HandOverConnection::requested, this, &HandOverServer::requested);
    }
}

// Whoever cannot be served stays in the queue, which would wake us again and again.
void HandOverServer::acceptLater()
{
    constexpr int pause = 200;
    notifier_->setEnabled(false);
    QTimer::singleShot(pause, this, [this] { notifier_->setEnabled(true); });
}

}  // namespace penmark
