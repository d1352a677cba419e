#pragma once

#include <string>
#include <string_view>

#include "XelPushClient/Linux/Headless/LinuxOptions.h"
#include "XelPushClient/Platform/Home.h"
#include "XelPushClient/Platform/Machine.h"

namespace xel::bench {

struct OursOptions {
    std::string stateFolder;
    int brokerPort = 0;
    std::string certificate;  ///< a PEM file that is trusted in place of the system's store; empty: no TLS
    int restPort = 0;         ///< where the REST backend answers on this machine; 0: nowhere
    Durability durability = Durability::ProcessKill;
};

/// A client of the stand-in on this machine: everything in the given folder, and otherwise as hosts have it.
[[nodiscard]] LinuxOptions linuxOptionsOf(const OursOptions& ours);

/// Stores in a home who the client is, as an earlier run's registration has; nothing where it is known
/// already. Throws std::runtime_error when it cannot be stored.
void rememberIdentity(const Home& home, std::string_view userId, std::string_view installationId);

/// `makeLinuxMachine` or `makeHeadlessMachine`: a program links the platform that it names.
using MachineMaker = Machine (*)(const LinuxOptions& options);

/// The Linux platform for one client whose service is the stand-in on this machine: one run loop, the
/// store on disk in the given folder, everything else as hosts have it.
class OursPlatform {
public:
    /// Throws std::runtime_error when the store cannot be opened.
    OursPlatform(const OursOptions& options, MachineMaker makeMachine);

    const Machine& machine() const { return machine_; }
    const Home& home() const { return home_; }

    /// As above, in the only home.
    void rememberIdentity(std::string_view userId, std::string_view installationId) const;

private:
    Machine machine_;
    Home home_;
};

}  // namespace xel::bench
