#pragma once

#include "XelPushClient/Linux/LinuxTCPOptions.h"

namespace xel {

/// Has the kernel watch over a connected socket. What it does not take is left as the system has it.
void watchOver(int socket, const LinuxTCPOptions& options);

}  // namespace xel
