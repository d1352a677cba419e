#pragma once

#include <string>

#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/XelPushClient.h"

namespace xel::rig {

/// The client of a host that a rig starts as a process of its own: on the real platform, in the folder that
/// the host is given. Application, ports and credentials come by environment, as for every host of the local
/// push service. Throws where the platform cannot be had, or a variable is not set.
class RigClient {
public:
    RigClient(const std::string& stateFolder, const std::string& caFile);

    [[nodiscard]] PushClientManager& push() { return push_; }
    [[nodiscard]] NSRunLoop& runLoop() { return *machine_.runLoop; }

    /// With what the environment names.
    void registerApplication();
    /// A client that was registered in an earlier life connects at once, another one is registered for that
    /// user.
    void connect(const std::string& userId);

private:
    explicit RigClient(const LinuxOptions& options);

    Machine machine_;
    PushClientManager push_;
};

}  // namespace xel::rig
