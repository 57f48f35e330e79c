// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/LibraryQueue.h"
#include "base/Date.h"
#include "organization/LocalDay.h"
#include "organization/SessionLibrary.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace penmark {

/// What the library keeps of the arrangement, as it is read at the start.
struct StoredSessions {
    SessionLibrary stored;   ///< as it stands in the library
    SessionLibrary library;  ///< the same with windows that no session had: open ones in the active session, others
                             ///< among the closed items
    std::vector<RecoveryWindow> windows;  ///< the rows of the windows that were shown
    std::vector<std::string> problems;
    bool isRead = false;  ///< otherwise nothing is known, and nothing may be written in its place

    /// Throws RecoveryError. Some 10 microseconds a session. Any thread.
    static StoredSessions read(RecoveryStore& store, const Clock& clock = Date::now);
};

/// The sessions, workspaces, projects, visits and closed items of the running program, and all its windows through
/// them.
///
/// A change is made to a copy, checked, and then is the state that everybody sees, at once; it is written a moment
/// later, all changes in one, and again until that succeeds. What the windows look like by now is collected before each
/// change and each writing. The first writing of a day that finds a document takes the day's checkpoint. Of a library
/// that is open for reading only nothing is written, and nothing said of it. Main thread.
class SessionRecords final : public QObject {
    Q_OBJECT

public:
    struct Times {
        Clock clock = Date::now;
        LocalCalendar calendar = systemLocalDay;
        std::chrono::milliseconds retry = std::chrono::seconds(5);  ///< then two, four and eight times as long
    };

    /// Begins a visit.
    SessionRecords(LibraryQueue& queue, StoredSessions stored) : SessionRecords(queue, std::move(stored), Times()) {}
    SessionRecords(LibraryQueue& queue, StoredSessions stored, Times times);

    /// Open windows may have changed since: see `collectNow`.
    const SessionLibrary& library() const { return library_; }
    LibraryQueue& queue() { return queue_; }
    Date now() const { return times_.clock(); }
    const LocalCalendar& calendar() const { return times_.calendar; }

    /// The visit before this one if it was interrupted.
    const std::optional<SessionRun>& interrupted() const { return interrupted_; }

    using Operation = std::function<void(SessionLibrary& library)>;

    /// Changes the library: the operation sees the windows as they are. If it throws a SessionError nothing has changed
    /// and `refused` says why. True if it was done.
    bool change(const Operation& operation);
    /// The same where the windows have followed already, or will without being told.
    bool changeQuietly(const Operation& operation);

    /// A window as it is now. It keeps its session, or joins the active one.
    void put(const RecoveryWindow& window);
    /// The window has come to the front, and its session with it.
    void used(const Uuid& window);
    /// Brings the windows in the library up to date.
    void collectNow();

    /// Something about a window has changed; its record is asked for when it is time.
    void touch();
    /// Collects and writes now what has changed.
    void save();
    /// Ends the visit, and writes that.
    void finish();
    /// Removes visits that are long over and of whose checkpoints none is left. In the background.
    void forgetOldVisits();

    /// Runs `job(store, saved)` on the writing thread, behind everything that is to be written by now. `saved` is the
    /// library as it is stored then; a job that saves another leaves that one there, and `done` takes over here what it
    /// added. Nothing else is written until that has happened. If what is to be written by now cannot be, that is the
    /// job's failure.
    template <class Job, class Done>
    void runOnSaved(Job job, Done done, LibraryQueue::Failed failed)
    {
        save();
        ++jobs_;
        queue_.run(
            this,
            [job = std::move(job), written = written_](RecoveryStore& store) mutable {
                if (written->failure)  // what is stored lacks what the job is to be about
                    throw RecoveryError(*written->failure);
                makeCertain(store, *written);
                written->isCertain = false;  // until the job has not failed
                auto result = job(store, written->library);
                written->isCertain = true;
                return result;
            },
            [this, done = std::move(done)](auto&&... result) mutable {
                --jobs_;
                done(std::forward<decltype(result)>(result)...);
                saveWhatWaited();
            },
            [this, failed = std::move(failed)](const RecoveryError& error) {
                --jobs_;
                failed(error);
                saveWhatWaited();
            });
    }

signals:
    void collect();   ///< each window puts its record
    void arranged();  ///< the windows have to follow the library
    void changed();   ///< the library is another
    void checkpointsChanged();
    void refused(const QString& sentence);
    void failed(const QString& sentence);  ///< to write; once, until `recovered`
    void recovered();

private:
    /// Of the writing thread.
    struct Written {
        SessionLibrary library;
        std::vector<RecoveryWindow> windows;
        bool isCertain = true;                 ///< a writing that failed may have been stored nevertheless
        std::optional<RecoveryError> failure;  ///< of the last writing
    };

    bool apply(const Operation& operation);
    void keepDay();
    void writingFailed(const QString& sentence);
    void saveWhatWaited();
    static void makeCertain(RecoveryStore& store, Written& written);
    static void write(RecoveryStore& store, const SessionLibrary& library, Written& written);

    LibraryQueue& queue_;  // outlives this object
    Times times_;
    SessionLibrary library_;
    std::optional<SessionLibrary> asked_;  // what was last given to be written; absent if that failed
    std::shared_ptr<Written> written_;     // of the writing thread
    std::optional<SessionRun> interrupted_;
    int failures_ = 0;  // in a row
    bool writes_;
    int jobs_ = 0;  // that may add to what is written
    bool saveWaits_ = false;
    bool isFinishing_ = false;
    bool keepsDay_ = false;
    bool listsDiffer_ = false;  // since `changed` was emitted
    QTimer timer_;
};

}  // namespace penmark
