// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/FileContent.h"

#include "base/FunctionRef.h"
#include "base/Sha256.h"
#include "base/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <vector>

#include <unistd.h>

namespace penmark {

namespace {

constexpr std::size_t pieceSize = 1 << 20;

void readPieces(const FileDescriptor& file, const BeforeSystemCall& before, FunctionRef<void(std::string_view)> take)
{
    std::vector<char> piece(pieceSize);
    off_t position = 0;
    for (;;) {
        announceCall(before, "pread", file.path());
        const ssize_t got = pread(file.get(), piece.data(), piece.size(), position);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            throw SystemError(errno, file.path().native());
        if (got == 0)
            return;
        take({piece.data(), static_cast<std::size_t>(got)});
        position += got;
    }
}

void rewind(const FileDescriptor& file)
{
    if (lseek(file.get(), 0, SEEK_SET) < 0)
        throw SystemError(errno, file.path().native());
}

void endHere(const FileDescriptor& file, const BeforeSystemCall& before)
{
    announceCall(before, "ftruncate", file.path());
    const off_t length = lseek(file.get(), 0, SEEK_CUR);
    if (length < 0 || ftruncate(file.get(), length) != 0)
        throw SystemError(errno, file.path().native());
}

}  // namespace

std::string digestContent(const FileDescriptor& file, const BeforeSystemCall& before)
{
    Sha256 digest;
    readPieces(file, before, [&](std::string_view piece) { digest.add(piece); });
    return digest.finish();
}

std::string copyContent(const FileDescriptor& from, const FileDescriptor& to, const BeforeSystemCall& before)
{
    Sha256 digest;
    rewind(to);
    readPieces(from, before, [&](std::string_view piece) {
        announceCall(before, "write", to.path());
        to.writeAll(piece);
        digest.add(piece);
    });
    endHere(to, before);
    return digest.finish();
}

void writeContent(const FileDescriptor& file, std::string_view bytes, const BeforeSystemCall& before)
{
    rewind(file);
    while (!bytes.empty()) {
        const std::string_view piece = bytes.substr(0, pieceSize);
        announceCall(before, "write", file.path());
        file.writeAll(piece);
        bytes.remove_prefix(piece.size());
    }
    endHere(file, before);
}

void syncContent(const FileDescriptor& file, const BeforeSystemCall& before)
{
    announceCall(before, "fsync", file.path());
    file.sync();
}

}  // namespace penmark
