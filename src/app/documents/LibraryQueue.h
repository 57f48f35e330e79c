// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"

#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace penmark {

/// Where the window's thread leaves the library's work: one thread that writes, in the order asked, and one that reads
/// what somebody waits to see, so that no reading waits behind the storing of a large text.
///
/// Answers come in the thread that made the queue, unless their receiver is gone by then. Failures cross as
/// RecoveryErrors, whatever std::exception a job throws.
class LibraryQueue final : public QObject {
    Q_OBJECT

public:
    explicit LibraryQueue(std::unique_ptr<RecoveryStore> store);
    /// Does everything that was asked for, then closes the library.
    ~LibraryQueue() override;

    using Failed = std::function<void(const RecoveryError&)>;

    /// Runs `job(RecoveryStore&)` on the writing thread and calls `done` with its result, or `failed`.
    template <class Job, class Done>
    void run(QObject* receiver, Job job, Done done, Failed failed)
    {
        start(writer(), receiver, std::move(job), std::move(done), std::move(failed));
    }

    /// The same on the reading thread.
    template <class Job, class Done>
    void read(QObject* receiver, Job job, Done done, Failed failed)
    {
        start(reader(), receiver, std::move(job), std::move(done), std::move(failed));
    }

    /// The library, for the start and the end of the program and for tests; everything else goes through a job.
    RecoveryStore& store() { return *store_; }

    /// Runs work that reads or writes files or the library, and returns its failure, if any, as whoever shows it wants
    /// it. Any thread.
    static std::optional<RecoveryError> guard(const std::function<void()>& work);

    /// Returns when all that was asked of the writing thread is done. For the end of the program, when nobody is left
    /// to be kept waiting. Answers still come by the event loop.
    void finishWriting();

private:
    class Worker;

    template <class Job, class Done>
    void start(Worker& worker, QObject* receiver, Job job, Done done, Failed failed)
    {
        using Result = std::invoke_result_t<Job&, RecoveryStore&>;
        struct Call {
            Job job;
            Done done;
            Failed failed;
            QPointer<QObject> receiver;
            std::conditional_t<std::is_void_v<Result>, bool, std::optional<Result>> result{};
            std::optional<RecoveryError> failure;

            void answer()
            {
                if (!receiver)
                    return;
                if (failure)
                    failed(*failure);
                else if constexpr (std::is_void_v<Result>)
                    done();
                else
                    done(std::move(*result));
            }
        };
        auto call = std::make_shared<Call>(Call{std::move(job), std::move(done), std::move(failed), receiver, {}, {}});
        post(worker, [this, call = std::move(call)]() mutable {
            call->failure = guard([&] {
                if constexpr (std::is_void_v<Result>)
                    call->job(*store_);
                else
                    call->result.emplace(call->job(*store_));
            });
            // What is in the call belongs to the window's thread and is destroyed there.
            answer([call = std::move(call)] { call->answer(); });
        });
    }

    Worker& writer() { return *writer_; }
    Worker& reader() { return *reader_; }
    static void post(Worker& worker, std::function<void()> task);
    void answer(std::function<void()> call);

    std::unique_ptr<RecoveryStore> store_;
    std::unique_ptr<Worker> writer_;  // before the store is closed, both are done
    std::unique_ptr<Worker> reader_;
};

}  // namespace penmark
