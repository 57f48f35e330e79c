// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Uuid.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace penmark {

/// What a list needs of a checkpoint's record beyond the columns of its row. The record of a large library has
/// megabytes, and what is looked for stands at its beginning.
struct CheckpointBeginning {
    std::optional<std::string> name;
    std::optional<Uuid> document;  ///< the only one, of a document checkpoint

    /// How many bytes of a record are worth reading first: enough for a document checkpoint with a long name.
    static constexpr std::size_t bytes = 1024;

    /// From the first bytes of a record. Absent if they do not answer for certain, for instance because the members
    /// come in another order than that of SessionCheckpoint or the record is damaged; then the whole is to be parsed.
    static std::optional<CheckpointBeginning> parse(std::string_view beginning);

    /// From a whole record, however it is written. Throws RecordError if it is damaged.
    static CheckpointBeginning parseWhole(std::string_view record);
};

}  // namespace penmark
