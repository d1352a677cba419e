#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "XelPushClient/Platform/Home.h"
#include "XelPushClient/Platform/Machine.h"

namespace xel::bench {

/// The Linux platform for one client whose service is the stand-in on this machine: one run loop, the store
/// on disk in the given folder, everything else as hosts have it.
class OursPlatform {
public:
    /// Throws std::runtime_error when the store cannot be opened.
    OursPlatform(const std::string& stateFolder, int brokerPort);

    const Machine& machine() const { return machine_; }
    const Home& home() const { return home_; }

    /// Stores who the client is, as an earlier run's registration has.
    void rememberIdentity(std::string_view userId, std::string_view installationId) const;

private:
    Machine machine_;
    Home home_;
};

}  // namespace xel::bench
