#pragma once

#include "XelPushClient/Linux/Stream/LinuxTCPOptions.h"

namespace xel {

/// Has the kernel watch over a connected socket. What it does not take is left as the system has it.
void watchOver(int socket, const LinuxTCPOptions& options);

/// Has the kernel acknowledge what arrives at once instead of up to 40 ms later. It goes back to that by
/// itself, with each octet that is sent and more.
void acknowledgeAtOnce(int socket);

}  // namespace xel
