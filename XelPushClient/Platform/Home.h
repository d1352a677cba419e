#pragma once

#include <memory>
#include <string>

#include "XelPushClient/Foundation/NSNotificationCenter.h"
#include "XelPushClient/Platform/NSUserDefaults.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

/// What belongs to one identity: its settings, its session's memory, its broadcasts and its files. One for
/// each manager.
struct Home {
    std::shared_ptr<NSUserDefaults> defaults;
    std::shared_ptr<SessionMemory> sessionMemory;
    std::shared_ptr<NSNotificationCenter> notificationCenter;
    /// Where the host's documents go; crash reports are written there.
    std::string documentsDirectory;
};

}  // namespace xel
