// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/LibraryQueue.h"
#include "storage/RecoveryWindow.h"

#include <QObject>
#include <QTimer>
#include <chrono>
#include <optional>
#include <span>
#include <vector>

namespace penmark {

/// The records of all windows, open and closed, in the order of use: the one used or closed last at the end. What
/// changes in a window is collected and written a moment later, all in one. Of closed windows the latest fifty are
/// kept, besides those that are part of a session. Of a library that is open for reading only nothing is written, and
/// nothing said of it. Main thread.
class WindowRecords final : public QObject {
    Q_OBJECT

public:
    /// What could not be written is tried again after `retry`, then after two, four and eight times as long.
    WindowRecords(LibraryQueue& library, std::vector<RecoveryWindow> stored,
                  std::chrono::milliseconds retry = std::chrono::seconds(5));

    std::span<const RecoveryWindow> all() const { return windows_; }
    const RecoveryWindow* find(const Uuid& id) const;
    /// Adds a record behind the others or replaces the one of the same window; written later.
    void put(const RecoveryWindow& window);
    void remove(const Uuid& id);
    /// The window is in use: its record, if there is one, goes to the end.
    void used(const Uuid& id);

    /// Something about a window has changed; its record is asked for when it is time.
    void touch();
    /// Collects and writes now what has changed.
    void save();

signals:
    void collect();                        ///< each window puts its record
    void failed(const QString& sentence);  ///< once, until `recovered`
    void recovered();

private:
    void forgetLongClosed();
    void writingFailed(const QString& sentence);

    LibraryQueue& library_;  // outlives this object
    std::vector<RecoveryWindow> windows_;
    std::optional<std::vector<RecoveryWindow>> written_;  // absent if writing them failed
    std::chrono::milliseconds retry_;
    int failures_ = 0;  // in a row
    QTimer timer_;
};

}  // namespace penmark
