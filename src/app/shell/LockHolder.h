// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>

#include <sys/types.h>

namespace penmark {

/// The process that holds a lock (flock) on the file, as the kernel lists it; absent if there is none, or it cannot be
/// seen from here, as across containers. Takes no lock itself and never waits. Any thread.
std::optional<pid_t> lockHolder(const std::filesystem::path& file);

}  // namespace penmark
