// SPDX-License-Identifier: GPL-3.0-or-later
// Decodes any bytes as each kind of stored record. What decodes must encode to JSON that decodes to the same record;
// what does not may fail with a RecordError only.
#include "storage/RecoveryDocument.h"
#include "storage/RecoveryWindow.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

template <class R>
void tryRecord(std::string_view json)
{
    R record;
    try {
        record = penmark::decodeRecord<R>(json);
    } catch (const penmark::RecordError&) {
        return;
    }
    if (penmark::decodeRecord<R>(penmark::encodeRecord(record)) != record)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view json(reinterpret_cast<const char*>(data), size);
    tryRecord<penmark::RecoveryDocument>(json);
    tryRecord<penmark::RecoveryRevision>(json);
    tryRecord<penmark::RecoveryWindow>(json);
    tryRecord<std::vector<std::string>>(json);
    return 0;
}
