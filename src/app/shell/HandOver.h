// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/shell/OpenTarget.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// One program runs for each library, and a second start hands its command line over to the first, through a socket
/// that is named after the library. Uses no Qt.
///
/// A client sends `magic`, the length of a HandOverRequest's JSON, the length of its standard input, the JSON and the
/// standard input. Answers are HandOverStatus records as JSON with their length before them: "received" at once,
/// "accepted", "refused" or "ending" as soon as that is known, and for a client that waits "closed" at last. Lengths
/// are eight bytes, the highest first. The client keeps the connection open to the end; closing it earlier withdraws
/// the request.
namespace penmark::handover {

inline constexpr std::string_view magic = "PENMARK1";
inline constexpr std::size_t lengthBytes = 8;
inline constexpr std::size_t longestRequest = std::size_t{16} << 20;  ///< bytes of JSON
inline constexpr std::size_t longestStatus = std::size_t{64} << 10;   ///< bytes of JSON
inline constexpr std::size_t longestInput = std::size_t{1} << 32;     ///< bytes of standard input

/// The length in front of a record.
std::string encodeLength(std::size_t length);
std::size_t decodeLength(std::string_view eightBytes);

}  // namespace penmark::handover

namespace penmark {

/// What a second start wants the running program to do.
struct HandOverRequest {
    std::string version;  ///< of the program that asks
    std::vector<OpenTarget> targets;
    std::string workingFolder;  ///< absolute; valid UTF-8, if need be repaired
    bool newWindow = false;
    bool wait = false;
    bool newDraft = false;
    std::optional<std::string> standardInputTitle;
    std::optional<std::string> activationToken;  ///< lets the window come to the front

    std::string standardInput;  ///< bytes as they were read; sent behind the record

    static constexpr auto fields()
    {
        using R = HandOverRequest;
        return std::tuple{field("version", &R::version),
                          field("targets", &R::targets),
                          field("workingFolder", &R::workingFolder),
                          field("newWindow", &R::newWindow),
                          field("wait", &R::wait),
                          field("newDraft", &R::newDraft),
                          field("standardInputTitle", &R::standardInputTitle),
                          field("activationToken", &R::activationToken)};
    }
};

/// One answer.
struct HandOverStatus {
    enum class State {
        received,
        accepted,
        refused,
        ending,  ///< nothing was done, since the program is about to end; the client may take its place
        closed,
    };

    State state = State::received;
    std::int64_t exitStatus = 0;
    std::optional<std::string> sentence;  ///< of a refusal

    static constexpr auto fields()
    {
        using S = HandOverStatus;
        return std::tuple{field("state", &S::state), field("exitStatus", &S::exitStatus),
                          field("sentence", &S::sentence)};
    }
};

constexpr auto storedWords(HandOverStatus::State)
{
    using S = HandOverStatus::State;
    return std::array{
        std::pair{S::received, std::string_view("received")}, std::pair{S::accepted, std::string_view("accepted")},
        std::pair{S::refused, std::string_view("refused")}, std::pair{S::ending, std::string_view("ending")},
        std::pair{S::closed, std::string_view("closed")}};
}

/// The socket of the program that has this library open; the library need not exist. It is in $XDG_RUNTIME_DIR, or
/// where that is not set or too long for a socket's name, in a folder of this user in /tmp.
std::filesystem::path handOverSocket(const std::filesystem::path& library);

/// Creates the socket's folder, for this user only. Throws SystemError, also if the folder is somebody else's.
void createHandOverFolder(const std::filesystem::path& socket);

/// The token that the desktop gave to this process for its first window, if it gave one.
std::optional<std::string> activationTokenFromEnvironment();

}  // namespace penmark
