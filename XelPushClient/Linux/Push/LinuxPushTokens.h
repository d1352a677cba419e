#pragma once

#include <memory>
#include <string>

#include "XelPushClient/Linux/Application/PushTokenSource.h"
#include "XelPushClient/Linux/Bus/DBusConnection.h"
#include "XelPushClient/Platform/Machine.h"

namespace xel {

class LinuxApplication;

struct PushTokenSettings {
    /// The host's name on the session's bus; empty for none.
    std::string busName;
    /// What a distributor may call the host before its user.
    std::string applicationName;
    /// The distributor that the user wants; empty for any.
    std::string distributor;
};

/// Where the application's tokens come from: UnifiedPush, or, for a host without a valid bus name, a source
/// that answers why there are none; of a name that cannot be one log line tells. Of the machine the run loop,
/// the log sink and the JSON reader must be there.
[[nodiscard]] std::shared_ptr<PushTokenSource> makePushTokenSource(
    const PushTokenSettings& settings, const Machine& machine,
    const std::shared_ptr<DBusConnection>& connection, const std::weak_ptr<LinuxApplication>& application);

}  // namespace xel
