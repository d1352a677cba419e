#pragma once

#include "XelPushClient/Linux/Headless/HeadlessPlatform.h"

namespace xel {

/// A machine for any number of clients, with the desktop, the location service, push tokens and the machine's
/// sleep. Starts a thread for HTTP and one for logind, and others with the first download and the first
/// notification. Throws as `makeHeadlessMachine` does.
[[nodiscard]] Machine makeLinuxMachine(const LinuxOptions& options = {});

}  // namespace xel
