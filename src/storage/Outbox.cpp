// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/Outbox.h"

#include "storage/RecoveryStore.h"

namespace penmark {

namespace {

// What matters here of the settings that the sync engine keeps.
struct SyncSwitch {
    bool enabled = true;

    static constexpr auto fields() { return std::tuple{field("enabled", &SyncSwitch::enabled)}; }
};

}  // namespace

void Outbox::add(std::string_view id, std::string_view entity, std::string_view json)
{
    store_.execute(insertRow, {id, entity, Blob{json}});
}

bool Outbox::isSyncOn() const
{
    const auto settings = store_.metadata<SyncSwitch>("syncSettings");
    return settings && settings->enabled;
}

void Outbox::dropIfSyncIsOff()
{
    const auto settings = store_.metadata<SyncSwitch>("syncSettings");
    if (settings && !settings->enabled)
        store_.execute("DELETE FROM outbox");
}

}  // namespace penmark
