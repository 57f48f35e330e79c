// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/LibraryFixture.h"
#include "app/documents/SessionRecords.h"
#include "app/sessions/SessionActions.h"
#include "organization/Sessions.h"

#include <QAbstractItemModel>
#include <QAbstractItemView>
#include <QApplication>
#include <QDateTime>
#include <QTest>
#include <map>

namespace penmark {

/// Writes down what it is asked for, "open Budget; rename Budget to 'Plans'", by names that a test has given.
class RecordingActions final : public SessionActions {
public:
    std::map<Uuid, std::string> names;

    std::string take() { return std::exchange(asked_, {}); }

    void openSession(Uuid id) override { note("open", id); }
    void switchToSession(Uuid id) override { note("switch to", id); }
    void openSessionHere(Uuid id) override { note("open here", id); }
    void closeSession(Uuid id) override { note("close", id); }
    void renameSession(Uuid id, const QString& name) override { note("rename", id, name); }
    void askForNewSession(QWidget&, std::optional<Uuid> parent) override { note("new in", parent); }
    void moveSession(Uuid id, std::optional<Uuid> parent) override
    {
        note("move", id);
        asked_ += " into " + (parent ? names[*parent] : "none");
    }
    void duplicateSession(Uuid id) override { note("duplicate", id); }
    void deleteSession(Uuid id, bool drafts) override { note(drafts ? "delete with drafts" : "delete", id); }
    void moveWindowToSession(Uuid id, Uuid) override { note("move window", id); }
    void addDocumentsToSession(const std::vector<Uuid>&, Uuid id) override { note("add to", id); }
    void showWindow(Uuid id, std::optional<Uuid> document) override
    {
        note("show", id);
        asked_ += document ? " with " + names[*document] : "";
    }
    void createReturnNote(Uuid id) override { note("create note", id); }
    void openReturnNote(Uuid id) override { note("open note", id); }
    void useAsReturnNote(Uuid id, std::optional<Uuid>) override { note("use note", id); }
    void askForNewWorkspace(QWidget&, Uuid id) override { note("new workspace with", id); }
    void renameWorkspace(Uuid id, const QString& name) override { note("rename", id, name); }
    void linkWindow(Uuid, Uuid id) override { note("link window", id); }
    void linkTab(Uuid, Uuid, Uuid id) override { note("link tab", id); }
    void unlinkWindow(Uuid, Uuid id) override { note("unlink window", id); }
    void unlinkTab(Uuid, Uuid id) override { note("unlink tab", id); }
    void closeWorkspace(Uuid id) override { note("close", id); }
    void reopenWorkspace(Uuid id) override { note("reopen", id); }
    void removeWorkspace(Uuid id) override { note("remove", id); }
    void focusWorkspace(Uuid id) override { note("focus", id); }
    void showAllOpenWorkspaces() override { note("show all", std::nullopt); }
    void askForProject(QWidget&) override { note("project", std::nullopt); }
    void addProject(const std::filesystem::path&) override { note("add project", std::nullopt); }
    void renameProject(Uuid id, const QString& name) override { note("rename", id, name); }
    void removeProject(Uuid id) override { note("remove", id); }
    void locateProject(QWidget&, Uuid id) override { note("locate", id); }
    void openProjectFiles(const std::vector<std::filesystem::path>&, bool) override { note("files", std::nullopt); }
    void reopenClosed(Uuid id) override { note("reopen", id); }
    void forgetClosed(Uuid id) override { note("forget", id); }
    void askToKeepCheckpoint(QWidget&) override { note("keep checkpoint", std::nullopt); }
    void askToKeepVersion(QWidget&, Uuid id) override { note("keep version", id); }
    void restoreCheckpoint(Uuid id, const std::optional<std::set<Uuid>>& only) override
    {
        note("restore", id);
        asked_ += only ? ":" : " whole";
        std::set<std::string> chosen;
        for (const Uuid& document : only.value_or(std::set<Uuid>()))
            chosen.insert(names[document]);
        for (const std::string& name : chosen)
            asked_ += " " + name;
    }
    void setPinned(Uuid id, bool pinned) override { note(pinned ? "pin" : "unpin", id); }
    void renameCheckpoint(Uuid id, const QString& name) override { note("rename", id, name); }
    void deleteCheckpoint(Uuid id) override { note("delete", id); }
    void openDocument(Uuid id, bool) override { note("open document", id); }
    void restoreRevision(Uuid id, Uuid) override { note("restore revision", id); }
    void showHistory(Uuid id) override { note("history", id); }
    void showOrganiser(OrganiserPage) override { note("organiser", std::nullopt); }
    void manageMembers(Uuid id) override { note("members", id); }

private:
    void note(const std::string& what, const std::optional<Uuid>& id, const std::optional<QString>& text = {})
    {
        asked_ += (asked_.empty() ? "" : "; ") + what + (id ? " " + names[*id] : "");
        if (text)
            asked_ += " to '" + text->toStdString() + "'";
    }

    std::string asked_;
};

/// A library with sessions, in universal time, and what is asked of it.
class OrganiserFixture : public LibraryFixture {
protected:
    OrganiserFixture() : LibraryFixture(forgetful())
    {
        SessionRecords::Times times;
        times.clock = [this] { return now; };
        times.calendar = [](Date date) {
            const auto at = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(date.seconds) + 978'307'200, Qt::UTC);
            return LocalDay{"UTC", at.date().toString(Qt::ISODate).toStdString(),
                            at.time().toString(QStringLiteral("HH:mm")).toStdString()};
        };
        records.emplace(queue, StoredSessions::read(queue.store(), times.clock), times);
    }

    /// Nothing is stored by itself, and nothing stays in memory that nobody shows.
    static DocumentRegistry::Limits forgetful()
    {
        DocumentRegistry::Limits limits = patient();
        limits.recentBufferLimit = 0;
        return limits;
    }

    /// A document in the library, and no longer in memory.
    Uuid document(const std::string& name, const std::string& text)
    {
        const Uuid id = stored(text).id();
        unload(id);
        actions.names[id] = name;
        return id;
    }
    Uuid session(const std::string& name, const std::optional<Uuid>& parent = {})
    {
        Uuid made;
        EXPECT_TRUE(
            records->change([&](SessionLibrary& library) { made = createSession(library, name, parent, now); }));
        actions.names[made] = name;
        now.seconds += 60;
        return made;
    }
    Uuid window(const Uuid& owner, const std::string& name, std::vector<Uuid> documents)
    {
        RecoveryWindow made;
        made.id = Uuid::random();
        made.isOpen = true;
        made.sessionID = owner;
        for (const Uuid& document : documents)
            made.tabIDs[document] = Uuid::random();
        made.documents = std::move(documents);
        EXPECT_TRUE(records->change([&](SessionLibrary& library) { putWindow(library, made, now); }));
        actions.names[made.id] = name;
        return made.id;
    }

    void show(QWidget& widget)
    {
        widget.show();
        widget.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&widget));
    }
    /// The rows of a model, nested ones behind their parent with a dash for each level.
    static std::string rows(const QAbstractItemModel& model, const QModelIndex& parent = {},
                            const std::string& dash = "")
    {
        std::string all;
        for (int row = 0; row < model.rowCount(parent); ++row) {
            const QModelIndex index = model.index(row, 0, parent);
            all += (all.empty() ? "" : "; ") + dash + index.data().toString().toStdString();
            if (const std::string nested = rows(model, index, dash + "-"); !nested.empty())
                all += "; " + nested;
        }
        return all;
    }
    /// The first child whose accessible name or text is this.
    template <class Widget>
    static Widget& named(QWidget& within, const QString& name)
    {
        for (Widget* const each : within.findChildren<Widget*>()) {
            if (each->accessibleName() == name || each->property("text").toString() == name)
                return *each;
        }
        throw std::runtime_error("no " + name.toStdString());
    }
    static bool says(const QWidget& within, const QString& text)
    {
        const auto labels = within.findChildren<QWidget*>();
        return std::any_of(labels.begin(), labels.end(), [&](const QWidget* each) {
            return each->isVisible() && each->property("text").toString().contains(text);
        });
    }

    Date now{800'000'000};  // 2026-05-09 06:13
    std::optional<SessionRecords> records;
    RecordingActions actions;
};

}  // namespace penmark
