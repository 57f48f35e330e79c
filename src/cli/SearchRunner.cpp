// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/SearchRunner.h"

#include "base/SystemError.h"
#include "cli/Interruption.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>

namespace penmark::cli {

namespace {

/// Batches on their way from the run to whoever prints them.
class BatchQueue {
public:
    /// Waits for room unless nobody wants more.
    void put(TextSearchBatch&& batch, const std::stop_token& stop)
    {
        std::unique_lock hold(lock_);
        changed_.wait(hold, stop, [&] { return batches_.size() < most; });
        batches_.push_back(std::move(batch));
        changed_.notify_all();
    }

    void end(std::exception_ptr failure)
    {
        const std::scoped_lock hold(lock_);
        failure_ = std::move(failure);
        hasEnded_ = true;
        changed_.notify_all();
    }

    enum class Next { batch, nothingYet, end };

    /// Waits a moment. At the end throws what the run has thrown.
    Next take(TextSearchBatch& batch)
    {
        constexpr auto moment = std::chrono::milliseconds(20);
        std::unique_lock hold(lock_);
        changed_.wait_for(hold, moment, [&] { return hasEnded_ || !batches_.empty(); });
        if (!batches_.empty()) {
            batch = std::move(batches_.front());
            batches_.pop_front();
            changed_.notify_all();
            return Next::batch;
        }
        if (failure_)
            std::rethrow_exception(failure_);
        return hasEnded_ ? Next::end : Next::nothingYet;
    }

private:
    static constexpr std::size_t most = 4;

    std::mutex lock_;
    std::condition_variable_any changed_;
    std::deque<TextSearchBatch> batches_;
    std::exception_ptr failure_;
    bool hasEnded_ = false;
};

std::jthread startRun(TextSearchEngine& engine, const TextSearchRequest& request, BatchQueue& queue)
{
    const InterruptionsElsewhere signals;
    return std::jthread([&](const std::stop_token& stop) {
        std::exception_ptr failure;
        try {
            engine.run(request, stop, [&](TextSearchBatch&& batch) { queue.put(std::move(batch), stop); });
        } catch (const Cancelled&) {
            // Who asked for it knows.
        } catch (...) {
            failure = std::current_exception();
        }
        queue.end(std::move(failure));
    });
}

}  // namespace

void runSearch(TextSearchEngine& engine, const TextSearchRequest& request, FunctionRef<void(TextSearchBatch&&)> take)
{
    BatchQueue queue;
    std::jthread run = startRun(engine, request, queue);
    TextSearchBatch batch;
    for (BatchQueue::Next next{}; (next = queue.take(batch)) != BatchQueue::Next::end;) {
        if (next == BatchQueue::Next::batch)
            take(std::move(batch));
        if (isInterrupted())
            run.request_stop();
    }
}

}  // namespace penmark::cli
