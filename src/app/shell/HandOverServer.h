// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/shell/HandOver.h"
#include "app/shell/HandOverReply.h"
#include "base/FileDescriptor.h"

#include <QObject>
#include <QSocketNotifier>
#include <filesystem>
#include <memory>

namespace penmark {

/// Listens for other starts of the program on the same library. Whoever makes one holds the library's lock for as long
/// as it lives; so a socket that is there already was left behind and is replaced. Programs of other users are turned
/// away. On the window's thread, which never waits for a client.
class HandOverServer final : public QObject {
    Q_OBJECT

public:
    /// Throws SystemError if nobody can connect: the program works without, but every other start will find the library
    /// locked. A client that has not sent its request within the patience is dropped.
    explicit HandOverServer(const std::filesystem::path& library, int patienceInMilliseconds = 10'000);
    ~HandOverServer() override;

signals:
    /// A complete request. Without a receiver it is refused. Connect directly: the request lives only for the call.
    void requested(const penmark::HandOverRequest& request, const std::shared_ptr<penmark::HandOverReply>& reply);

private:
    void listen();
    void acceptClients();
    void acceptLater();

    std::filesystem::path path_;
    FileDescriptor socket_;
    dev_t device_ = 0;  // of the socket's name, which is removed only if it is still ours
    ino_t inode_ = 0;
    std::unique_ptr<QSocketNotifier> notifier_;
    int patience_;
};

}  // namespace penmark
