// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/DocumentRegistry.h"
#include "app/documents/FileOpening.h"

#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

class QFileSystemWatcher;

namespace penmark {

/// The files of documents: opening, saving, reloading, and whether they are still what they were. Before anything else
/// a text goes to the library, so that nothing that happens to a file loses it. Main thread; files are read and written
/// on others.
class OriginalFiles final : public QObject {
    Q_OBJECT

public:
    explicit OriginalFiles(DocumentRegistry& registry);
    ~OriginalFiles() override;

    using Opened = std::function<void(RecoveryBuffer&)>;
    using Refused = std::function<void(const FileRefusal&)>;
    /// Opens a file as the document that is bound to it, or as a new one. Nobody is called after `stop` is asked to.
    void open(const std::filesystem::path& file, QObject* receiver, Opened opened, Refused refused,
              std::stop_token stop = {});

    using Done = std::function<void(bool saved)>;
    /// Stores the text and writes it to the bound file. A failure becomes the document's notice.
    void save(RecoveryBuffer& buffer, Done done = {});
    /// The same to a file to which the document is bound from then on. With `replaces` a file that is there gives way:
    /// its text stays in the library as a discarded document, and a document that was bound to it becomes a draft.
    void saveAs(RecoveryBuffer& buffer, const std::filesystem::path& file, bool replaces, Done done = {});
    /// Writes the text to another file and leaves the document as it is.
    void saveCopy(RecoveryBuffer& buffer, const std::filesystem::path& file, bool replaces, Done done = {});
    /// Takes the file's text; the one it replaces stays in the library as a document. With an encoding the file's bytes
    /// are read as that, whatever they seem to be.
    void reload(RecoveryBuffer& buffer, std::optional<RecoveryEncoding> as = {}, Done done = {});
    /// Binds the document to a file that was moved. Its text is not touched.
    void locate(RecoveryBuffer& buffer, const std::filesystem::path& file, Done done = {});
    /// Makes a draft of a file in a legacy encoding; the file is only read.
    void openConverted(const std::filesystem::path& file, const std::string& encodingID, QObject* receiver,
                       Opened opened, Refused refused);
    /// Reads a file as one of the four encodings, whatever its bytes seem to be, as a document that is bound to it.
    void openAs(const std::filesystem::path& file, RecoveryEncoding encoding, QObject* receiver, Opened opened,
                Refused refused);
    /// The text that the file holds now, for a comparison.
    void readText(const RecoveryBuffer& buffer, QObject* receiver, std::function<void(TextSnapshot)> done,
                  std::function<void(const std::string& sentence)> failed);

    /// Looks whether the file is as it was. Quick unless it has to be read.
    void check(RecoveryBuffer& buffer);
    void checkAll();
    /// From now on the files of loaded documents are watched.
    void watch();
    void stopWatching();

private:
    enum class Kind { save, copy, reload };
    struct FileResult;
    using FileWork = std::function<void(RecoveryStore&, const DocumentRegistry::StoreRequest&, FileResult&)>;

    void read(const std::filesystem::path& file, QObject* receiver, Opened opened, Refused refused,
              std::stop_token stop, int attempts);
    bool isOutdated(const FileOpening& opening, std::uint64_t since);
    void takeOpened(FileOpening opening, const Opened& opened, const Refused& refused);
    void perform(RecoveryBuffer& buffer, Kind kind, FileWork work, Done done);
    static FileResult storeAndWork(RecoveryStore& store, const DocumentRegistry::StoreRequest& request, Kind kind,
                                   const FileWork& work);
    void ended(RecoveryBuffer& buffer, const DocumentRegistry::StoreRequest& request, Kind kind, FileResult result);
    void fileIsCurrent(RecoveryBuffer& buffer, const DocumentRegistry::StoreRequest& request, Kind kind,
                       FileResult result);
    void checked(RecoveryBuffer& buffer, const OriginalCheck& result);
    void watchFile(const RecoveryBuffer& buffer);
    void lookAt(const QString& path);

    DocumentRegistry& registry_;  // outlives this object
    std::unique_ptr<QFileSystemWatcher> watcher_;
    QSet<QString> asked_;    // paths that are looked for, to be watched
    bool askAgain_ = false;  // one of them was wanted meanwhile
    QSet<QString> touched_;  // paths that something happened to
    QTimer settle_;
};

}  // namespace penmark
