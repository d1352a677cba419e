#pragma once

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Headless/LinuxOptions.h"
#include "XelPushClient/Linux/Loop/MainRunLoop.h"
#include "XelPushClient/Platform/Home.h"
#include "XelPushClient/Platform/Machine.h"

namespace xel {

class LinuxApplication;

/// A machine for any number of clients, without what stands on D-Bus: a kiosk, a gateway, a container. It
/// shows no notification and grants none, knows no location, has no push token, and does not follow the
/// machine's sleep. The options that are about those are not looked at.
///
/// Starts a thread for HTTP, and others with the first download. Throws `std::runtime_error` when the
/// environment's settings are wrong, with a text that names the variable, or when a library cannot be
/// started.
[[nodiscard]] Machine makeHeadlessMachine(const LinuxOptions& options = {});

/// Opens a home for one client on a machine of this platform. The errors are those of the store
/// (`kStoreErrorDomain`), such as another process owning it. Reads from the disk, and so blocks.
[[nodiscard]] Result<Home> openLinuxHome(const LinuxOptions& options, const Machine& machine);

/// The application of a machine of this platform, for the host's calls.
[[nodiscard]] LinuxApplication& linuxApplicationOf(const Machine& machine);

}  // namespace xel
