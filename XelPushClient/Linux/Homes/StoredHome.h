#pragma once

#include <memory>
#include <string_view>

#include "XelPushClient/Linux/Homes/HomeStore.h"
#include "XelPushClient/Platform/NSUserDefaults.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

/// The parts of a home that is open. Each keeps it, and the store, open.
struct StoredHome {
    std::shared_ptr<NSUserDefaults> defaults;
    std::shared_ptr<SessionMemory> memory;
};

/// Opens the home of that name; what is not there yet is made by its first write. Errors:
/// `StoreErrorCode::InUse` for one that is open, and what reading can meet.
[[nodiscard]] Result<StoredHome> openStoredHome(const std::shared_ptr<HomeStore>& store,
                                                std::string_view name = HomeStore::kOnlyHome);

}  // namespace xel
