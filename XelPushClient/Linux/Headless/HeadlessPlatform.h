#pragma once

#include <memory>
#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Headless/LinuxOptions.h"
#include "XelPushClient/Linux/Loop/MainRunLoop.h"
#include "XelPushClient/Platform/Home.h"
#include "XelPushClient/Platform/Machine.h"

namespace xel {

class HomeStore;
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

/// Opens a store for the homes of many clients on one machine, where the options say: one file and one thread
/// for all of them. What clients store at the same time is written together. Errors as above.
[[nodiscard]] Result<std::shared_ptr<HomeStore>> openLinuxHomeStore(const LinuxOptions& options,
                                                                    const Machine& machine);

/// Opens the home of that name in the store, which it keeps open; one that is not there yet is made by the
/// first thing that is stored in it. The client's crash reports go into a folder of its own in the options'.
/// An error when the name is empty, or the home is open already.
[[nodiscard]] Result<Home> openLinuxHome(const LinuxOptions& options, const Machine& machine,
                                         const std::shared_ptr<HomeStore>& store, const std::string& name);

/// The application of a machine of this platform, for the host's calls.
[[nodiscard]] LinuxApplication& linuxApplicationOf(const Machine& machine);

}  // namespace xel
