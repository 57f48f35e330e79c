// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/HandOver.h"

#include "base/Sha256.h"
#include "base/SystemError.h"
#include "base/Utf8.h"

#include <cerrno>
#include <cstdlib>

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace penmark {

namespace fs = std::filesystem;

namespace handover {

std::string encodeLength(std::size_t length)
{
    std::string bytes;
    for (int shift = 56; shift >= 0; shift -= 8)
        bytes += static_cast<char>(static_cast<unsigned char>(length >> shift));
    return bytes;
}

std::size_t decodeLength(std::string_view eightBytes)
{
    std::size_t length = 0;
    for (const char byte : eightBytes.substr(0, lengthBytes))
        length = length << 8 | static_cast<unsigned char>(byte);
    return length;
}

}  // namespace handover

fs::path handOverSocket(const fs::path& library)
{
    std::error_code error;
    fs::path folder = fs::weakly_canonical(fs::absolute(library, error), error);
    if (error)
        folder = library;
    if (!folder.has_filename())
        folder = folder.parent_path();  // "library/" names the same folder as "library"
    constexpr std::size_t digits = 16;
    const std::string name = sha256(folder.native()).substr(0, digits) + ".sock";
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && runtime[0] == '/') {
        fs::path socket = fs::path(runtime) / "penmark" / name;
        if (socket.native().size() < sizeof(sockaddr_un::sun_path))
            return socket;
    }
    return fs::path("/tmp/penmark-" + std::to_string(getuid())) / name;
}

void createHandOverFolder(const fs::path& socket)
{
    const fs::path folder = socket.parent_path();
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        throw SystemError(errno, folder.native());
    struct stat found {};
    if (lstat(folder.c_str(), &found) != 0)
        throw SystemError(errno, folder.native());
    if (!S_ISDIR(found.st_mode))
        throw SystemError(ENOTDIR, folder.native());
    if (found.st_uid != getuid())
        throw SystemError(EPERM, folder.native());
    if ((found.st_mode & 0777) != 0700 && chmod(folder.c_str(), 0700) != 0)
        throw SystemError(errno, folder.native());
}

std::optional<std::string> activationTokenFromEnvironment()
{
    for (const char* name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
        const char* token = std::getenv(name);
        if (token != nullptr && token[0] != '\0' && isValidUtf8(token))
            return token;
    }
    return std::nullopt;
}

}  // namespace penmark
