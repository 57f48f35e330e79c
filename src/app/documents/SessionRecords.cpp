// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/SessionRecords.h"

#include "organization/CheckpointStore.h"
#include "organization/ClosedItems.h"
#include "organization/SessionError.h"
#include "organization/SessionLibraryStore.h"
#include "organization/SessionVisits.h"
#include "organization/Sessions.h"
#include "storage/RecoveryStore.h"
#include "storage/WindowStore.h"

#include <QCoreApplication>
#include <algorithm>
#include <set>

namespace penmark {

using namespace std::chrono_literals;

namespace {

constexpr auto collectingTime = 1500ms;
constexpr int longestRetry = 3;  // doublings

// Windows of a library that knew no sessions, and those of a session whose record is damaged.
void takeOwnerless(SessionLibrary& library, const std::vector<RecoveryWindow>& windows, Date now)
{
    const std::set<Uuid> owned = knownWindows(library);
    std::vector<Uuid> front;
    for (RecoveryWindow window : windows) {  // the one used last comes last
        if (window.documents.empty() || owned.contains(window.id))
            continue;
        window.sessionID.reset();
        const bool wasOpen = window.isOpen;
        window.isOpen = true;
        putWindow(library, window, now);
        if (wasOpen)
            front.insert(front.begin(), window.id);
        else
            closeWindow(library, window.id, {}, now);
    }
    std::vector<Uuid>& order = library.settings.windowOrder;
    std::erase_if(order, [&](const Uuid& id) { return std::find(front.begin(), front.end(), id) != front.end(); });
    order.insert(order.begin(), front.begin(), front.end());
}

// What the table of windows holds: those that are shown, the one used last at the end.
std::vector<RecoveryWindow> windowRows(const SessionLibrary& library)
{
    std::vector<RecoveryWindow> rows;
    for (const Uuid& id : shownWindows(library)) {
        if (const RecoveryWindow* const window = library.findWindow(id))
            rows.push_back(*window);
    }
    std::reverse(rows.begin(), rows.end());
    return rows;
}

std::vector<CheckpointHeader> checkpointHeaders(RecoveryStore& store)
{
    return CheckpointStore(store).headers().headers;
}

}  // namespace

StoredSessions StoredSessions::read(RecoveryStore& store, const Clock& clock)
{
    SessionLibraryStore::Loaded loaded = SessionLibraryStore(store).load();
    WindowStore::Loaded windows = WindowStore(store).load();
    StoredSessions read;
    read.stored = std::move(loaded.stored);
    read.library = std::move(loaded.library);
    read.windows = std::move(windows.windows);
    read.isRead = true;
    read.problems = std::move(loaded.problems);
    read.problems.insert(read.problems.end(), windows.problems.begin(), windows.problems.end());
    takeOwnerless(read.library, read.windows, clock());
    trimClosed(read.library, clock());
    return read;
}

SessionRecords::SessionRecords(LibraryQueue& queue, StoredSessions stored, Times times)
    : queue_(queue), times_(std::move(times)), library_(std::move(stored.library)),
      written_(std::make_shared<Written>(Written{std::move(stored.stored), std::move(stored.windows), true, {}})),
      writes_(stored.isRead && !queue.store().isReadOnly())
{
    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, &SessionRecords::save);
    if (writes_)
        interrupted_ = startRun(library_, queue_.store().deviceID(), times_.clock());
}

// ---- changes ----

bool SessionRecords::apply(const Operation& operation)
{
    collectNow();
    SessionLibrary changedLibrary = library_;
    try {
        operation(changedLibrary);
        validate(changedLibrary);
    } catch (const SessionError& error) {
        emit refused(QString::fromUtf8(error.what()));
        return false;
    }
    library_ = std::move(changedLibrary);
    touch();
    return true;
}

bool SessionRecords::change(const Operation& operation)
{
    if (!apply(operation))
        return false;
    emit arranged();
    emit changed();
    return true;
}

bool SessionRecords::changeQuietly(const Operation& operation)
{
    if (!apply(operation))
        return false;
    emit changed();
    return true;
}

void SessionRecords::put(const RecoveryWindow& window)
{
    const RecoveryWindow* const before = library_.findWindow(window.id);
    listsDiffer_ |= !before || before->documents != window.documents || before->selected != window.selected;
    putWindow(library_, window, times_.clock());
}

void SessionRecords::used(const Uuid& window)
{
    const PenmarkSession* const session = library_.sessionOf(window);
    if (!session)
        return;
    std::vector<Uuid>& order = library_.settings.windowOrder;
    std::erase(order, window);
    order.insert(order.begin(), window);
    library_.settings.focusedWindowID = window;
    const bool isOther = library_.settings.activeSessionID != session->id;
    useSession(library_, Uuid(session->id));
    touch();
    if (isOther)
        emit changed();
}

void SessionRecords::collectNow()
{
    emit collect();
}

void SessionRecords::touch()
{
    if (!timer_.isActive())
        timer_.start(collectingTime);
}

// ---- writing ----

void SessionRecords::makeCertain(RecoveryStore& store, Written& written)
{
    if (written.isCertain)
        return;
    written.library = SessionLibraryStore(store).load().stored;
    written.windows = WindowStore(store).load().windows;
    written.isCertain = true;
}

void SessionRecords::write(RecoveryStore& store, const SessionLibrary& library, Written& written)
{
    std::vector<RecoveryWindow> rows = windowRows(library);
    written.failure = LibraryQueue::guard([&] {
        makeCertain(store, written);
        written.isCertain = false;
        store.transaction([&] {
            SessionLibraryStore(store).save(written.library, library);
            if (rows != written.windows)
                WindowStore(store).saveAll(rows);
        });
    });
    if (written.failure)
        throw RecoveryError(*written.failure);
    written.library = library;
    written.windows = std::move(rows);
    written.isCertain = true;
}

void SessionRecords::save()
{
    emit collect();
    timer_.stop();
    if (std::exchange(listsDiffer_, false))
        emit changed();
    // Without a way to write them, windows are remembered while the program runs.
    if (!writes_)
        return;
    if (jobs_ > 0) {
        saveWaits_ = true;
        return;
    }
    if (asked_ != library_) {
        asked_ = library_;
        queue_.run(
            this, [library = library_, written = written_](RecoveryStore& store) { write(store, library, *written); },
            [this] {
                if (std::exchange(failures_, 0) > 0)
                    emit recovered();
            },
            [this](const RecoveryError& error) { writingFailed(QString::fromUtf8(error.what())); });
    }
    keepDay();
}

void SessionRecords::saveWhatWaited()
{
    if (jobs_ == 0 && std::exchange(saveWaits_, false))
        save();
}

void SessionRecords::writingFailed(const QString& sentence)
{
    asked_.reset();  // so that the next time writes it again
    timer_.start(times_.retry * (1 << std::min(failures_, longestRetry)));
    if (failures_++ == 0)
        emit failed(sentence);
}

void SessionRecords::finish()
{
    if (!writes_)
        return;
    isFinishing_ = true;  // whoever leaves does not wait for a picture of everything
    while (jobs_ > 0) {   // what comes of one may ask for another
        queue_.finishWriting();
        QCoreApplication::sendPostedEvents(&queue_);  // what they have added
    }
    finishRun(library_, times_.clock());
    save();
}

// ---- visits ----

void SessionRecords::keepDay()
{
    const Date now = times_.clock();
    const LocalDay day = times_.calendar(now);
    if (keepsDay_ || isFinishing_ || !isNewDay(library_, day))
        return;
    keepsDay_ = true;
    runOnSaved(
        [day, now, clock = times_.clock](RecoveryStore& store, SessionLibrary& saved) -> std::optional<SessionDay> {
            if (store.query("SELECT 1 FROM revisions LIMIT 1").empty())
                return std::nullopt;  // nothing that could be restored yet; the day waits for it
            SessionLibrary library = saved;
            if (!isNewDay(library, day))
                return std::nullopt;
            store.transaction([&] {
                enterDay(library, day, now, CheckpointStore(store, clock).keepLibrary(library, {}, false).id);
                SessionLibraryStore(store).save(saved, library);
            });
            saved = std::move(library);
            return saved.runs.find(*saved.settings.currentRunID)->days.back();
        },
        [this](const std::optional<SessionDay>& entered) {
            keepsDay_ = false;
            const auto run = library_.settings.currentRunID;
            if (!entered || !run)
                return;
            library_.runs.change(*run, [&](SessionRun& visit) { visit.days.push_back(*entered); });
            emit checkpointsChanged();
            emit changed();
        },
        // Whoever cannot store is told by what they type; the next writing tries again.
        [this](const RecoveryError&) { keepsDay_ = false; });
}

void SessionRecords::forgetOldVisits()
{
    queue_.read(
        this, checkpointHeaders,
        [this](const std::vector<CheckpointHeader>& headers) {
            std::set<Uuid> present;
            for (const CheckpointHeader& header : headers)
                present.insert(header.id);
            const std::size_t before = library_.runs.size();
            trimRuns(
                library_, [&](const Uuid& checkpoint) { return present.contains(checkpoint); }, times_.clock());
            if (library_.runs.size() != before)
                touch();
        },
        [](const RecoveryError&) {});
}

}  // namespace penmark
