// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/shell/HandOver.h"
#include "app/shell/HandOverReply.h"
#include "base/FileDescriptor.h"

#include <QObject>
#include <QSocketNotifier>
#include <memory>

namespace penmark {

/// The server's end of one hand-over. Reads what comes without ever waiting for it, holds no more memory than has come,
/// and ends itself (deleteLater) when the other side is gone, sends what cannot be understood, or takes too long over
/// the request; a standard input that has begun may take its time, as long as something comes.
class HandOverConnection final : public QObject {
    Q_OBJECT

public:
    /// The socket is connected and does not block.
    HandOverConnection(FileDescriptor socket, int patienceInMilliseconds, QObject* parent);
    ~HandOverConnection() override;

    /// Whether a status of this kind could still be sent is up to the reply.
    void send(const HandOverStatus& status);

    /// Nothing more will be said.
    void close();

signals:
    void requested(const penmark::HandOverRequest& request, const std::shared_ptr<penmark::HandOverReply>& reply);

private:
    enum class Stage { prefix, record, input, handedOver };

    void read();
    bool readSome();
    bool endStage();
    bool decodePrefix();
    bool decodeRequest();
    bool deliver();
    bool isOtherSideThere() const;

    FileDescriptor socket_;
    QSocketNotifier notifier_;
    Stage stage_ = Stage::prefix;
    std::string buffer_;  // of the stage
    std::size_t recordBytes_ = 0;
    std::size_t inputBytes_ = 0;
    HandOverRequest request_;
    std::weak_ptr<HandOverReply> reply_;
    int timer_ = 0;
    int patience_;
    bool isClosed_ = false;

protected:
    void timerEvent(QTimerEvent* event) override;
};

}  // namespace penmark
