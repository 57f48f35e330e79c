// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/OriginalFiles.h"
#include "base/FileDescriptor.h"
#include "storage/ContentStore.h"
#include "storage/DocumentStore.h"
#include "storage/TemporaryFolder.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <functional>
#include <latch>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace penmark {

/// A library and files in a folder of their own, with all that the windows stand on.
class LibraryFixture : public testing::Test {
protected:
    /// Nothing is stored by itself: what a test does not ask for does not happen.
    static DocumentRegistry::Limits patient()
    {
        using namespace std::chrono_literals;
        return {1h, 1h, 1h, 32, 64 << 20};
    }

    explicit LibraryFixture(const DocumentRegistry::Limits& limits = patient()) : registry(queue, limits)
    {
        std::filesystem::create_directories(files);
    }

    /// Handles events until it holds; false if it never does.
    static bool waitUntil(const std::function<bool()>& holds)
    {
        QTimer guard;
        guard.setSingleShot(true);
        guard.start(60'000);
        while (!holds()) {
            if (!guard.isActive())
                return false;
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        return true;
    }

    /// Handles what has been asked for so far, and the answers to it.
    bool settle()
    {
        bool written = false;
        bool read = false;
        queue.run(
            &registry, [](RecoveryStore&) {}, [&] { written = true; }, [](const RecoveryError&) {});
        queue.read(
            &registry, [](RecoveryStore&) {}, [&] { read = true; }, [](const RecoveryError&) {});
        return waitUntil([&] { return written && read; });
    }

    static void type(RecoveryBuffer& buffer, const std::string& text) { typeAt(buffer, buffer.text().end(), text); }
    static void typeAt(RecoveryBuffer& buffer, Utf8Offset at, const std::string& text)
    {
        buffer.content().buffer().apply(TextEdit({at, at}, text), CaretSet(Caret(at)), CaretSet(Caret(at)));
    }

    bool store(RecoveryBuffer& buffer)
    {
        registry.store(buffer);
        return waitUntil([&] { return !buffer.isSaving(); });
    }

    RecoveryBuffer& stored(const std::string& text)
    {
        RecoveryBuffer& buffer = registry.createDraft();
        registry.retain(buffer.id());
        type(buffer, text);
        EXPECT_TRUE(store(buffer));
        EXPECT_TRUE(buffer.isStored()) << buffer.error();
        return buffer;
    }

    RecoveryBuffer& load(const Uuid& id)
    {
        RecoveryBuffer* got = nullptr;
        registry.load(id, &registry, [&](RecoveryBuffer& buffer) { got = &buffer; });
        if (!waitUntil([&] { return got != nullptr; }))
            throw std::runtime_error("not loaded");
        return *got;
    }

    void unload(const Uuid& id)
    {
        registry.release(id);
        EXPECT_TRUE(waitUntil([&] { return registry.find(id) == nullptr; })) << "still in memory";
    }

    /// The document's record in the library, as it is there.
    RecoveryDocument record(const Uuid& id) { return documents().loadDocument(id).value(); }
    DocumentStore documents() { return DocumentStore(queue.store()); }

    /// The texts of a document's history, newest first; "discarded" for what is no writing.
    std::vector<std::string> history(const Uuid& id)
    {
        std::vector<std::string> texts;
        for (const auto& revision : documents().history(id, -1, 0).revisions)
            texts.push_back(revision.deleted ? "discarded"
                                             : ContentStore(queue.store()).loadText(revision.contentHash));
        return texts;
    }
    std::string textInLibrary(const Uuid& id)
    {
        const auto head = documents().loadHead(record(id));
        return head ? ContentStore(queue.store()).loadText(head->contentHash) : "(no text)";
    }
    std::string rows(const std::string& table) { return queue.store().query("SELECT count(*) FROM " + table)[0][0]; }

    /// The only document with this title.
    std::optional<RecoveryDocument> titled(const std::string& title)
    {
        for (const RecoveryDocument& document : documents().loadDocuments().documents) {
            if (document.shownTitle() == title)
                return document;
        }
        return std::nullopt;
    }

    std::filesystem::path file(const std::string& name, std::string_view bytes)
    {
        write(files / name, bytes);
        return files / name;
    }
    static void write(const std::filesystem::path& path, std::string_view bytes)
    {
        FileDescriptor::open(path, O_WRONLY | O_CREAT | O_TRUNC).writeAll(bytes);
    }

    struct Opened {
        RecoveryBuffer* buffer = nullptr;
        std::optional<FileRefusal> refusal;
    };
    Opened open(const std::filesystem::path& path)
    {
        Opened result;
        originals.open(
            path, &registry, [&](RecoveryBuffer& buffer) { result.buffer = &buffer; },
            [&](const FileRefusal& refusal) { result.refusal = refusal; });
        EXPECT_TRUE(waitUntil([&] { return result.buffer || result.refusal; }));
        if (result.buffer)
            registry.retain(result.buffer->id());
        return result;
    }
    /// Opens what must open, and has it stored.
    RecoveryBuffer& openStored(const std::filesystem::path& path)
    {
        const Opened opened = open(path);
        if (!opened.buffer)
            throw std::runtime_error(opened.refusal->sentence);
        store(*opened.buffer);
        EXPECT_TRUE(opened.buffer->isStored()) << opened.buffer->error();
        return *opened.buffer;
    }

    using FileAction = std::function<void(OriginalFiles::Done)>;
    /// Whether an action on a file says that it succeeded.
    bool does(const FileAction& action)
    {
        std::optional<bool> result;
        action([&](bool saved) { result = saved; });
        EXPECT_TRUE(waitUntil([&] { return result.has_value(); }));
        return result.value_or(false);
    }
    bool save(RecoveryBuffer& buffer)
    {
        return does([&](auto done) { originals.save(buffer, done); });
    }
    bool saveAs(RecoveryBuffer& buffer, const std::filesystem::path& path, bool replaces = false)
    {
        return does([&](auto done) { originals.saveAs(buffer, path, replaces, done); });
    }
    bool reload(RecoveryBuffer& buffer, std::optional<RecoveryEncoding> as = {})
    {
        return does([&](auto done) { originals.reload(buffer, as, done); });
    }
    bool becomes(RecoveryBuffer& buffer, OriginalFileAvailability availability)
    {
        return waitUntil([&] { return buffer.originalAvailability() == availability; });
    }

    /// The first `count` transactions from now on fail just before they would be committed.
    void failCommits(int count)
    {
        settle();
        commitsToFail = count;
        queue.store().beforeCommit = [this] {
            if (commitsToFail > 0) {
                --commitsToFail;
                throw RecoveryError::storage("The disk is full.");
            }
        };
    }

    TemporaryFolder folder{TemporaryFolder::inMemory()};
    std::filesystem::path files = folder.path() / "files";
    std::atomic<int> commitsToFail = 0;
    LibraryQueue queue{std::make_unique<RecoveryStore>(RecoveryConfiguration{folder.path() / "library", {}})};
    DocumentRegistry registry;
    OriginalFiles originals{registry};

    static constexpr std::string_view diskFull = "Penmark could not complete the operation: The disk is full.";
};

}  // namespace penmark
