// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"
#include "storage/OriginalFile.h"
#include "storage/RecoveryDocument.h"
#include "text/editor/EditorDocument.h"

#include <QBasicTimer>
#include <QObject>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace penmark {

class DocumentRegistry;

/// A document that was read, from the library or a file, on its way to become a RecoveryBuffer. Made on any thread.
struct LoadedDocument {
    RecoveryDocument record;
    TextSnapshot text;
    bool isInLibrary = false;
    bool textIsStored = false;              ///< the text is the head's
    bool fileMatches = false;               ///< the file holds this text
    std::string storedHash;                 ///< content hash of the head
    std::shared_ptr<const void> fileBytes;  ///< of a file whose digest is still to be computed
    std::string_view fileContent;           ///< those bytes
    std::optional<DocumentFileSnapshot> fileSnapshot;
    std::optional<OriginalFileAvailability> availability;
    std::string error;   ///< why there is no text; then it may not be edited
    std::string notice;  ///< what is to be said of it
};

/// A document in memory: its text with its past, and what of it is stored where. Belongs to the DocumentRegistry, which
/// stores it; shared by all views of it.
///
/// Main thread; the text travels to others as a snapshot.
class RecoveryBuffer final : public QObject, private TextObserver {
    Q_OBJECT

public:
    explicit RecoveryBuffer(LoadedDocument loaded);
    ~RecoveryBuffer() override;

    const Uuid& id() const { return record_.id; }
    /// As last stored, with changes of titles, language and encoding that are on their way.
    const RecoveryDocument& record() const { return record_; }
    bool isInLibrary() const { return isInLibrary_; }
    bool isDraft() const { return !record_.externalPath; }
    /// What tabs and lists show; never empty.
    std::string shownTitle() const;

    EditorDocument& content() { return content_; }
    const EditorDocument& content() const { return content_; }
    const TextSnapshot& text() const { return content_.text(); }

    /// Grows with every edit.
    std::uint64_t generation() const { return content_.buffer().generation(); }
    /// The generation whose text is the document's head.
    std::uint64_t savedGeneration() const { return savedGeneration_; }
    /// Whether the library holds all there is to hold; so it is of a draft that nobody has written to.
    bool isStored() const;
    /// Whether the text as it is now is neither in the library nor in the document's file.
    bool isTextUnsaved() const;
    /// Whether the library can be read and not written.
    bool isReadOnlyLibrary() const;
    bool isSaving() const { return saving_; }
    std::optional<Date> storedAt() const { return storedAt_; }

    /// Absent for a document without a file.
    std::optional<OriginalFileAvailability> originalAvailability() const { return availability_; }
    /// Whether the bound file holds the text as it is now, in the encoding that is chosen.
    bool fileMatchesSavedVersion() const;
    const std::optional<DocumentFileSnapshot>& fileSnapshot() const { return fileSnapshot_; }
    /// "File saved" and its relatives.
    std::string_view fileStatusText() const;

    /// Why the library cannot give the text; empty if it can. Such a document is neither edited nor stored.
    const std::string& damage() const { return damage_; }
    const std::string& notice() const { return notice_; }  ///< of what happened; shown until dismissed
    const std::string& error() const { return error_; }    ///< why it is not stored; empty if nothing is wrong
    bool busy() const { return busy_; }                    ///< while its text is being replaced
    bool permitsEditing() const { return damage_.empty() && !busy_; }
    std::size_t undoBytes() const { return content_.buffer().undoBytes(); }
    std::size_t bytes() const { return text().end().value + undoBytes(); }

    void setNotice(const std::string& notice);
    /// Something that is shown of it has changed.
    void touch() { changed(); }
    /// By its file's name and first line, as long as nobody has chosen one.
    void guessLanguage();

    /// Takes another text as one edit that can be undone: from the first to the last place where the two differ.
    void replaceText(const TextSnapshot& text);

signals:
    void onEdit();        ///< at each change of the text
    void stateChanged();  ///< anything else that is shown of it

private:
    friend class DocumentRegistry;
    friend class OriginalFiles;

    void textChanged(const TextChange& change) override;
    void timerEvent(QTimerEvent* event) override;
    void changed();
    /// Takes over what the library has written; titles, language and encoding are newer here.
    void takeStored(const RecoveryDocument& stored);
    void updateAutomaticTitle();

    RecoveryDocument record_;
    EditorDocument content_;
    std::uint64_t savedGeneration_ = 0;
    std::uint64_t recordVersion_ = 0;  // grows with changes of the record that are not stored
    std::uint64_t savedRecordVersion_ = 0;
    bool isInLibrary_ = false;
    bool titleIsAutomatic_ = false;
    bool saving_ = false;
    bool storeAgain_ = false;  // asked for while it was being stored
    bool conflict_ = false;    // the last store found another head
    /// Content hashes of the texts that were to be stored since the last store that succeeded. One that failed may have
    /// been stored nevertheless. Used by one store at a time, and on the main thread between them.
    using Attempts = std::set<std::string, std::less<>>;
    std::shared_ptr<Attempts> attempts_ = std::make_shared<Attempts>();
    std::vector<std::function<void()>> whenIdle_;  // after the store that runs
    std::optional<Date> storedAt_;

    std::string storedHash_;    // content hash of the head
    std::string fileTextHash_;  // content hash of the text that the file holds; empty: another or unknown
    std::optional<std::uint64_t> fileGeneration_;  // whose text the file holds
    RecoveryEncoding fileEncoding_ = RecoveryEncoding::utf8;
    std::optional<TextSnapshot> openedText_;  // while the library does not hold it
    std::shared_ptr<const void> fileBytes_;
    std::string_view fileContent_;
    std::optional<DocumentFileSnapshot> fileSnapshot_;
    std::optional<OriginalFileAvailability> availability_;
    OriginalCheckSerials checks_;
    bool checkRuns_ = false;
    bool checkAgain_ = false;  // asked for while one ran

    std::string notice_;
    std::string error_;
    bool busy_ = false;
    std::string damage_;

    QBasicTimer timer_;  // until the text is stored
    QBasicTimer retry_;  // after a store that failed
    std::optional<std::chrono::steady_clock::time_point> unstoredSince_;
    int failures_ = 0;  // in a row
    int retained_ = 0;
    std::uint64_t usedAt_ = 0;  // of the registry's sequence
    DocumentRegistry* registry_ = nullptr;
    bool changePosted_ = false;
};

}  // namespace penmark
