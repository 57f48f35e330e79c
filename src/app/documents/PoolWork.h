// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Sha256.h"

#include <QCoreApplication>
#include <QObject>
#include <QPointer>
#include <QThreadPool>
#include <memory>
#include <utility>

namespace penmark {

/// The threads for work with files: more than cores, since such work waits, on some disks for ever. They end with the
/// application. The window's thread only.
inline QThreadPool& filePool()
{
    static QPointer<QThreadPool> pool;
    if (!pool) {
        pool = new QThreadPool(QCoreApplication::instance());
        pool->setMaxThreadCount(8);
    }
    return *pool;
}

template <class Job>
void startInPool(Job job)
{
    filePool().start([job = std::move(job)]() mutable {
        job();
        endHashingOfThread();
    });
}

/// Runs `job` on a thread of the pool, for work that has nothing to do with the library, and calls `done` with its
/// result on the calling thread while the receiver lives. The job throws nothing.
template <class Job, class Done>
void inPool(QObject* receiver, Job job, Done done)
{
    const QPointer<QObject> alive(receiver);
    auto* const mailbox = new QObject;
    startInPool([alive, mailbox, job = std::move(job), done = std::move(done)]() mutable {
        auto result = std::make_shared<decltype(job())>(job());
        QMetaObject::invokeMethod(
            mailbox,
            [alive, mailbox, result, done = std::move(done)] {
                if (alive)
                    done(std::move(*result));
                mailbox->deleteLater();
            },
            Qt::QueuedConnection);
    });
}

}  // namespace penmark
