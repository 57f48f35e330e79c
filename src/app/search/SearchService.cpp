// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/SearchService.h"

#include "base/Parallel.h"
#include "base/Sha256.h"
#include "base/SystemError.h"

#include <QMetaObject>
#include <chrono>
#include <memory>
#include <utility>

namespace penmark {

namespace {

constexpr int runsAtOnce = 4;  // of as many windows; each uses all cores
constexpr std::chrono::milliseconds rest(1'500);

}  // namespace

SearchService::SearchService(RecoveryStore& store, TextSearchEngine::Configuration configuration)
    : engine_(store, std::move(configuration))
{
    pool_.setMaxThreadCount(runsAtOnce);
    idle_.setSingleShot(true);
    idle_.setInterval(rest);
    connect(&idle_, &QTimer::timeout, this, &SearchService::recordFilters);
}

SearchService::~SearchService()
{
    ending_.request_stop();
    recorder_.request_stop();
    pool_.waitForDone();
}

void SearchService::start(Run run)
{
    idle_.stop();
    recorder_.request_stop();
    ++runs_;
    pool_.start([this, run = std::move(run)]() mutable {
        carryOut(std::move(run));
        endHashingOfThread();
        QMetaObject::invokeMethod(this, &SearchService::ended, Qt::QueuedConnection);
    });
}

/// On a thread of the pool. What is published travels to the main thread, and is dropped when the service is gone.
void SearchService::carryOut(Run run)
{
    std::stop_source stop;
    const auto pass = [&stop] { stop.request_stop(); };
    const std::stop_callback byRun(run.stop, pass);
    const std::stop_callback byEnd(ending_.get_token(), pass);
    const auto fail = [&](const char* sentence) {
        QMetaObject::invokeMethod(
            this, [call = std::move(run.fail), text = std::string(sentence)] { call(text); }, Qt::QueuedConnection);
    };
    try {
        engine_.run(run.request, stop.get_token(), [&](TextSearchBatch&& batch) {
            auto shared = std::make_shared<TextSearchBatch>(std::move(batch));
            QMetaObject::invokeMethod(
                this, [call = run.publish, shared] { call(std::move(*shared)); }, Qt::QueuedConnection);
        });
    } catch (const Cancelled&) {
        // Whoever stopped it knows.
    } catch (const std::exception& error) {
        fail(error.what());
    }
}

void SearchService::ended()
{
    if (--runs_ == 0)
        idle_.start();
}

void SearchService::recordFilters()
{
    // One that was asked to stop may still wait for a disk, and is not waited for here.
    if (runs_ || isRecording_)
        return;
    isRecording_ = true;
    recorder_ = std::jthread([this](const std::stop_token& stop) {
        workInBackground();
        engine_.recordFilters(stop);
        endHashingOfThread();
        QMetaObject::invokeMethod(this, &SearchService::recorded, Qt::QueuedConnection);
    });
}

void SearchService::recorded()
{
    isRecording_ = false;
    if (runs_ == 0 && recorder_.get_stop_token().stop_requested())
        idle_.start();  // what is left of it
}

}  // namespace penmark
