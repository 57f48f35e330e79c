// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/Rescue.h"

#include "app/documents/RecoveryBuffer.h"
#include "base/FileDescriptor.h"
#include "base/SystemError.h"

#include <cstdlib>

namespace penmark {

namespace fs = std::filesystem;

namespace {

fs::path stateFolder()
{
    if (const char* const state = std::getenv("XDG_STATE_HOME"); state && state[0] == '/')
        return fs::path(state) / "penmark/unstored";
    if (const char* const home = std::getenv("HOME"); home && home[0] == '/')
        return fs::path(home) / ".local/state/penmark/unstored";
    return {};
}

bool writeTo(const fs::path& folder, const fs::path& file, const TextSnapshot& text)
{
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    try {
        const FileDescriptor descriptor = FileDescriptor::open(file, O_WRONLY | O_CREAT | O_EXCL, 0600);
        text.forEachPiece({Utf8Offset(0), text.end()}, [&](std::string_view piece) {
            descriptor.writeAll(piece);
            return true;
        });
        descriptor.sync();
        syncFolder(folder);
        return true;
    } catch (const SystemError&) {
        fs::remove(file, ignored);
        return false;
    }
}

}  // namespace

std::vector<fs::path> rescueTexts(std::span<RecoveryBuffer* const> buffers)
{
    std::vector<fs::path> written;
    for (const RecoveryBuffer* buffer : buffers) {
        if (buffer->isStored())
            continue;
        for (const fs::path& folder : {stateFolder(), fs::path("/tmp")}) {
            const fs::path file = folder / ("penmark-" + Uuid::random().text() + ".txt");
            if (!folder.empty() && writeTo(folder, file, buffer->text())) {
                written.push_back(file);
                break;
            }
        }
    }
    return written;
}

}  // namespace penmark
