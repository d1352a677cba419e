#pragma once

#include <string>
#include <vector>

#include "XelPushClient/Classes/Core/IdentitySnapshot.h"
#include "XelPushClient/Foundation/Date.h"
#include "XelPushClient/Foundation/Value.h"

namespace xel {

/// What is told of a crash: who crashed, where, and the host's own data.
struct CrashReport {
    Dictionary userInfo;
    IdentitySnapshot identity;
    std::string osVersion;
    /// The crashing thread's stack, innermost call first.
    std::vector<std::string> callStack;
    Date created;
};

/// The report as the backend takes it: a JSON object of nine members, pretty-printed, UTF-8. Ids of the
/// host's own data give way to the client's.
[[nodiscard]] std::string crashReportText(const CrashReport& report);

}  // namespace xel
