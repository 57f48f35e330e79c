// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/LibraryQueue.h"

#include "base/Parallel.h"
#include "base/SystemError.h"
#include "base/Utf8.h"

#include <QMetaObject>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <new>
#include <stdexcept>
#include <thread>

namespace penmark {

class LibraryQueue::Worker {
public:
    explicit Worker(bool inBackground) : thread_([this, inBackground] { work(inBackground); }) {}

    ~Worker()
    {
        {
            const std::scoped_lock hold(mutex_);
            ending_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }

    void post(std::function<void()> task)
    {
        {
            const std::scoped_lock hold(mutex_);
            tasks_.push_back(std::move(task));
        }
        changed_.notify_all();
    }

    void finish()
    {
        std::unique_lock hold(mutex_);
        changed_.wait(hold, [&] { return tasks_.empty() && !busy_; });
    }

private:
    void work(bool inBackground)
    {
        if (inBackground)
            workInBackground();
        std::unique_lock hold(mutex_);
        for (;;) {
            changed_.wait(hold, [&] { return ending_ || !tasks_.empty(); });
            if (tasks_.empty())
                return;
            std::function<void()> task = std::move(tasks_.front());
            tasks_.pop_front();
            busy_ = true;
            hold.unlock();
            task();
            task = nullptr;
            hold.lock();
            busy_ = false;
            if (tasks_.empty())
                changed_.notify_all();
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> tasks_;
    bool busy_ = false;
    bool ending_ = false;
    std::thread thread_;  // last: it uses the others
};

LibraryQueue::LibraryQueue(std::unique_ptr<RecoveryStore> store)
    : store_(std::move(store)), writer_(std::make_unique<Worker>(true)), reader_(std::make_unique<Worker>(false))
{}

LibraryQueue::~LibraryQueue()
{
    reader_.reset();
    writer_.reset();
}

void LibraryQueue::finishWriting()
{
    writer_->finish();
}

void LibraryQueue::post(Worker& worker, std::function<void()> task)
{
    worker.post(std::move(task));
}

std::optional<RecoveryError> LibraryQueue::guard(const std::function<void()>& work)
{
    try {
        work();
        return std::nullopt;
    } catch (const RecoveryError& error) {
        return error;
    } catch (const SystemError& error) {
        return RecoveryError::storage(repairUtf8(error.what()));
    } catch (const std::bad_alloc&) {
        return RecoveryError::storage("There is not enough memory.");
    } catch (const std::length_error&) {
        return RecoveryError::storage("The file is too large.");
    } catch (const std::exception& error) {
        // Whatever it is, the program and the texts in it go on.
        return RecoveryError::storage(repairUtf8(error.what()));
    }
}

void LibraryQueue::answer(std::function<void()> call)
{
    QMetaObject::invokeMethod(this, std::move(call), Qt::QueuedConnection);
}

}  // namespace penmark
