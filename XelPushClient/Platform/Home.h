#pragma once

#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Foundation/NSNotificationCenter.h"
#include "XelPushClient/Platform/NSUserDefaults.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

class Diagnostics;

/// What belongs to one identity: its settings, its session's memory, its broadcasts and its files. One for
/// each manager.
struct Home {
    std::shared_ptr<NSUserDefaults> defaults;
    std::shared_ptr<SessionMemory> sessionMemory;
    std::shared_ptr<NSNotificationCenter> notificationCenter;
    /// Where the host's documents go; crash reports are written there.
    std::string documentsDirectory;
    /// Hears what no callback tells. Null: nobody does, and nothing is recorded.
    std::shared_ptr<Diagnostics> diagnostics{};
    /// Whether log lines are written, whatever the stored switch (`setEnableLog`) says. Missing: as it says.
    std::optional<bool> writesLog{};
};

}  // namespace xel
