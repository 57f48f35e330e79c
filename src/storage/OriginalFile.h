// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Date.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace penmark {

/// What the editor remembers of a document's file when it last read or wrote it.
struct DocumentFileSnapshot {
    std::filesystem::path fileURL;
    std::optional<Date> modifiedAt;
    std::optional<std::int64_t> fileSize;  ///< in bytes
    bool exists = false;

    // What tells a rewritten file whose date and size were put back, and a write too close to the snapshot for the
    // clock of the file system to show.
    std::optional<Date> statusChangedAt;
    std::uint64_t fileNumber = 0;
    Date takenAt;

    friend bool operator==(const DocumentFileSnapshot&, const DocumentFileSnapshot&) = default;
};

/// The state of the file at the end of the path's symbolic links; `exists` is false if there is none, and for anything
/// that is no regular file. Never throws for what the file system says.
DocumentFileSnapshot takeSnapshot(const std::filesystem::path& file, const Clock& clock = Date::now);

/// SHA-256 of the whole file as 64 lower-case hexadecimal digits. Throws RecoveryError `storage` with the system's
/// reason; also for folders, pipes and devices, without waiting for one. Some 1.5 GB/s once the file is in memory.
std::string fileDigest(const std::filesystem::path& file);

/// The bytes of the whole file. Throws as fileDigest does.
std::string readOriginal(const std::filesystem::path& file);

/// Whether the original is still the file that was last read or saved.
enum class OriginalFileAvailability {
    checking,     ///< a check is running
    current,      ///< as last read or saved
    changed,      ///< differs from it
    unavailable,  ///< missing or not readable
};

struct OriginalCheck {
    OriginalFileAvailability availability = OriginalFileAvailability::unavailable;
    DocumentFileSnapshot snapshot;  ///< of the file as it was checked; worth keeping if it is current
};

/// Compares the file with what is remembered of it. The file is read only if the remembered dates, size and file number
/// do not settle it: one of them differs, or the snapshot was taken within two seconds of the file's last change, when
/// a later change could bear the same date. Any thread; may take as long as reading the file.
OriginalCheck checkOriginal(const DocumentFileSnapshot& remembered, const std::string& expectedDigest,
                            const Clock& clock = Date::now);

namespace originalStatus {

inline constexpr std::string_view checking = "Checking original file…";
inline constexpr std::string_view changed = "Original file changed";
inline constexpr std::string_view unavailable = "Original file unavailable";
inline constexpr std::string_view unsaved = "Unsaved file changes";
inline constexpr std::string_view saved = "File saved";
inline constexpr std::string_view noFile = "No file · Save to choose a location";

}  // namespace originalStatus

/// The text to show for a document; without an availability it is bound to no file.
std::string_view originalStatusText(std::optional<OriginalFileAvailability> availability, bool hasUnsavedChanges);

/// Lets a slow check not overwrite the result of a newer one. One thread.
class OriginalCheckSerials {
public:
    /// The serial number of a check that begins now.
    std::uint64_t start() { return ++originalCheckSerial_; }

    /// Whether the result of this check counts: no newer one was started, and it has not been delivered before.
    bool accept(std::uint64_t serial)
    {
        if (serial != originalCheckSerial_ || serial == originalAppliedSerial_)
            return false;
        originalAppliedSerial_ = serial;
        return true;
    }

    /// Whether a check was started whose result has not been accepted.
    bool isChecking() const { return originalAppliedSerial_ != originalCheckSerial_; }

private:
    std::uint64_t originalCheckSerial_ = 0;
    std::uint64_t originalAppliedSerial_ = 0;
};

}  // namespace penmark
