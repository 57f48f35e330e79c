// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/WindowRecords.h"

#include "storage/WindowStore.h"

#include <algorithm>

namespace penmark {

using namespace std::chrono_literals;

namespace {

constexpr auto collectingTime = 1500ms;
constexpr std::ptrdiff_t closedKept = 50;
constexpr int longestRetry = 3;  // doublings

bool isForgettable(const RecoveryWindow& window)
{
    return !window.isOpen && !window.sessionID;
}

}  // namespace

WindowRecords::WindowRecords(LibraryQueue& library, std::vector<RecoveryWindow> stored, std::chrono::milliseconds retry)
    : library_(library), windows_(std::move(stored)), written_(windows_), retry_(retry)
{
    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, &WindowRecords::save);
}

const RecoveryWindow* WindowRecords::find(const Uuid& id) const
{
    const auto found =
        std::find_if(windows_.begin(), windows_.end(), [&](const auto& window) { return window.id == id; });
    return found == windows_.end() ? nullptr : &*found;
}

void WindowRecords::put(const RecoveryWindow& window)
{
    const auto found =
        std::find_if(windows_.begin(), windows_.end(), [&](const auto& other) { return other.id == window.id; });
    if (found == windows_.end())
        windows_.push_back(window);
    else
        *found = window;
    touch();
}

void WindowRecords::remove(const Uuid& id)
{
    std::erase_if(windows_, [&](const auto& window) { return window.id == id; });
    touch();
}

void WindowRecords::used(const Uuid& id)
{
    const auto found =
        std::find_if(windows_.begin(), windows_.end(), [&](const auto& window) { return window.id == id; });
    if (found == windows_.end() || found + 1 == windows_.end())
        return;
    std::rotate(found, found + 1, windows_.end());
    touch();
}

void WindowRecords::forgetLongClosed()
{
    std::ptrdiff_t tooMany = std::count_if(windows_.begin(), windows_.end(), isForgettable) - closedKept;
    std::erase_if(windows_, [&](const auto& window) { return isForgettable(window) && tooMany-- > 0; });
}

void WindowRecords::touch()
{
    if (!timer_.isActive())
        timer_.start(collectingTime);
}

void WindowRecords::save()
{
    emit collect();
    timer_.stop();
    forgetLongClosed();
    // Without a way to write them, windows are remembered while the program runs.
    if (written_ == windows_ || library_.store().isReadOnly())
        return;
    written_ = windows_;
    library_.run(
        this, [windows = windows_](RecoveryStore& store) { WindowStore(store).saveAll(windows); },
        [this] {
            if (std::exchange(failures_, 0) > 0)
                emit recovered();
        },
        [this](const RecoveryError& error) { writingFailed(QString::fromUtf8(error.what())); });
}

void WindowRecords::writingFailed(const QString& sentence)
{
    written_.reset();  // so that the next time writes them again
    timer_.start(retry_ * (1 << std::min(failures_, longestRetry)));
    if (failures_++ == 0)
        emit failed(sentence);
}

}  // namespace penmark
