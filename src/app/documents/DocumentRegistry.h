// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/DocumentHeaders.h"
#include "app/documents/LibraryQueue.h"
#include "app/documents/RecoveryBuffer.h"

#include <QObject>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <vector>

namespace penmark {

/// The documents of a library that are in memory, and the headers of all others. Decides when a text is stored, what is
/// unloaded, and keeps the text when storing fails.
///
/// A change is stored `autosave` after the last edit, at latest `autosaveAtLatest` after the first one that is not
/// stored, and at once when asked. One store of a document runs at a time. Main thread; the work is done by the
/// LibraryQueue.
class DocumentRegistry final : public QObject {
    Q_OBJECT

public:
    struct Limits {
        std::chrono::nanoseconds autosave = std::chrono::milliseconds(1'400);
        std::chrono::nanoseconds autosaveAtLatest = std::chrono::milliseconds(4'700);
        std::chrono::milliseconds retry{5'000};        ///< after a store that failed
        std::size_t recentBufferLimit = 32;            ///< documents without a view that stay loaded
        std::size_t recentBufferByteLimit = 64 << 20;  ///< bytes of them, undo included
    };

    explicit DocumentRegistry(LibraryQueue& library) : DocumentRegistry(library, Limits()) {}
    DocumentRegistry(LibraryQueue& library, const Limits& limits);
    ~DocumentRegistry() override;

    LibraryQueue& library() { return library_; }
    DocumentHeaders& headers() { return headers_; }
    /// Reads the headers of all documents in the background.
    void loadHeaders();
    /// Lists a document that somebody else has stored.
    void noteNew(const RecoveryDocument& record) { takeRecords({record}); }

    /// A new, empty document. The library hears of it when there is something to store.
    RecoveryBuffer& createDraft(EditorLanguage language = EditorLanguage::plainText, TextSnapshot text = {},
                                RecoveryEncoding encoding = RecoveryEncoding::utf8);
    /// Null if it is not in memory.
    RecoveryBuffer* find(const Uuid& id);
    /// The loaded document that is bound to the path; null if there is none.
    RecoveryBuffer* findBoundTo(std::string_view path);

    using Loaded = std::function<void(RecoveryBuffer& buffer)>;
    /// Gives the document in memory, at once, or after it has been read. One that the library does not know is an empty
    /// draft with that identity: it was opened and never written to.
    void load(const Uuid& id, QObject* receiver, Loaded loaded);
    /// What `load` reads. Any thread.
    static LoadedDocument readDocument(RecoveryStore& store, const Uuid& id);
    /// Takes a document that was read; one that is in memory already stays as it is.
    RecoveryBuffer& adopt(LoadedDocument loaded);

    /// A document that is retained is not unloaded; for each view of it.
    void retain(const Uuid& id);
    void release(const Uuid& id);

    /// Stores what is not stored, now. A document that another writer has changed meanwhile waits for somebody to ask
    /// for it with `whateverTheHead`: its text then becomes the newest, and the other version stays in the history.
    void store(RecoveryBuffer& buffer, bool whateverTheHead = false);
    void storeAll(bool whateverTheHead = false);
    /// Calls once every store has ended, `failed` with the first failure if any text is not stored.
    void whenStored(QObject* receiver, std::function<void(std::optional<std::string> failure)> call);
    /// Documents in memory, in no order.
    std::vector<RecoveryBuffer*> buffers() const;

    /// An empty title gives the automatic one back. Also of documents that are not in memory.
    void rename(const Uuid& id, const std::string& title);
    void setLanguage(RecoveryBuffer& buffer, EditorLanguage language);
    void setEncoding(RecoveryBuffer& buffer, RecoveryEncoding encoding);  ///< for the next save
    /// The texts stay in the library.
    void discard(std::span<const Uuid> ids);
    void restore(std::span<const Uuid> ids);

signals:
    void loaded(RecoveryBuffer& buffer);
    void stored(RecoveryBuffer& buffer);
    void storeFailed(RecoveryBuffer& buffer);
    void discarded(const Uuid& id);
    void failed(const QString& sentence);  ///< of something that belongs to no document in memory

private:
    friend class RecoveryBuffer;
    friend class OriginalFiles;

    using Attempts = RecoveryBuffer::Attempts;

    /// All that a store needs, taken on the main thread.
    struct StoreRequest {
        RecoveryDocument record;
        TextSnapshot text;
        std::uint64_t generation = 0;
        std::uint64_t recordVersion = 0;
        bool isInLibrary = false;
        bool textChanged = false;
        bool storesEmpty = false;                // an empty text too, since a file will hold it
        std::shared_ptr<Attempts> attempts;      // of which each may have got through, although it failed
        bool isDamaged = false;                  // there is no text; only a reload asks for it
        bool isFileText = false;                 // the text is the file's
        bool takesAnyHead = false;               // the user wants the text stored whatever the head is by now
        std::optional<TextSnapshot> openedText;  // of a file, not stored yet; comes before the text in history
        std::shared_ptr<const void> fileBytes;
        std::string_view fileContent;  // whose digest the record needs
        std::string headHash;          // content hash of the head; empty: not known
    };
    struct Stored {
        RecoveryDocument record;
        std::optional<std::string> contentHash;  // absent if the text was not looked at
    };

    void startLoading(const Uuid& id);
    void endLoading(LoadedDocument read);
    /// Whether the record of a document that was not in memory was changed after that many changes, so that what was
    /// read meanwhile may be older.
    bool hasChanged(const Uuid& id, std::uint64_t since) const;
    void edited(RecoveryBuffer& buffer);
    void recordChanged(RecoveryBuffer& buffer);
    StoreRequest requestFor(RecoveryBuffer& buffer) const;
    static Stored storeOn(RecoveryStore& store, const StoreRequest& request);
    void takeResult(RecoveryBuffer& buffer, const StoreRequest& request, Stored result);
    void storeHasFailed(RecoveryBuffer& buffer, const RecoveryError& error);
    void beginSaving(RecoveryBuffer& buffer);
    void afterSaving(RecoveryBuffer& buffer);
    /// Calls when no store of the document runs: at once, or behind the one that does.
    void whenIdle(RecoveryBuffer& buffer, std::function<void()> call);
    void discardStored(std::vector<Uuid> ids);
    void changeRecords(std::vector<Uuid> ids, std::function<RecoveryDocument(RecoveryStore&, const Uuid&)> change);
    void takeRecords(const std::vector<RecoveryDocument>& records);
    void putHeader(const RecoveryBuffer& buffer);
    void unloadIdle();
    void tellWaiting();

    struct Waiting {
        QPointer<QObject> receiver;
        std::function<void(std::optional<std::string>)> call;
    };

    LibraryQueue& library_;  // outlives this object
    Limits limits_;
    DocumentHeaders headers_;
    std::map<Uuid, std::unique_ptr<RecoveryBuffer>> buffers_;
    std::map<Uuid, std::vector<std::pair<QPointer<QObject>, Loaded>>> loading_;
    std::unordered_map<Uuid, std::uint64_t> takenAt_;  // the last change of each, as `recordsTaken_` counts them
    std::uint64_t recordsTaken_ = 0;
    std::vector<Waiting> waiting_;
    std::uint64_t accessSequence_ = 0;
    bool unloadPosted_ = false;
};

}  // namespace penmark
