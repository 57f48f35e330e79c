// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QPointer>
#include <string>

namespace penmark {

class HandOverConnection;

/// What is answered to a program that handed its command line over. Its holder calls accept or refuse, and, if the
/// program waits, finish when all of the documents are closed. A reply that is let go of unanswered refuses; one that
/// is let go of unfinished tells the program that its wait was cut short. On the window's thread; calls out of place do
/// nothing.
class HandOverReply final : public QObject {
    Q_OBJECT

public:
    explicit HandOverReply(HandOverConnection& connection, bool waits);
    ~HandOverReply() override;

    /// Whether finish is still to come: the program asked to wait, and has not gone away.
    bool isWaitedFor() const;

    void accept();

    /// With a complete sentence for the user and the status for the program to end with.
    void refuse(const std::string& sentence, int exitStatus);

    /// This program is about to end: the other one waits for that and does by itself what it asked for.
    void turnAway();

    void finish(int exitStatus = 0);

signals:
    /// The program that waits is gone, so that nobody waits for its documents any more.
    void abandoned();

private:
    friend class HandOverConnection;

    QPointer<HandOverConnection> connection_;
    bool waits_;
    bool isAnswered_ = false;
};

}  // namespace penmark
