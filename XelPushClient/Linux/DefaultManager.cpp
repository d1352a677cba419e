#include <stdexcept>
#include <utility>

#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Linux/LinuxPlatform.h"

namespace xel {

namespace {

PushClientManager* makeDefaultManager() {
    const LinuxOptions options;
    Machine machine = makeLinuxMachine(options);
    auto home = openLinuxHome(options, machine);
    if (!home) {
        throw std::runtime_error(home.error().localizedDescription());
    }
    return new PushClientManager(std::move(machine), std::move(home).value());
}

}  // namespace

// Never destroyed: it lives for the process, and a host may call exit from one of the loop's blocks. What it
// has stored survives that.
PushClientManager& PushClientManager::defaultManager() {
    static PushClientManager* manager = makeDefaultManager();
    return *manager;
}

}  // namespace xel
