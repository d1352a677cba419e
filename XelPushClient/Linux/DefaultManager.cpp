#include <stdexcept>
#include <utility>

#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"

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

// Neither the loop nor the client is ever destroyed: both live for the process, and a host may call exit from
// one of the loop's blocks. What they have stored survives that.

const std::shared_ptr<AsioRunLoop>& sharedMainRunLoop() {
    static const auto* loop = new std::shared_ptr<AsioRunLoop>(std::make_shared<AsioRunLoop>());
    return *loop;
}

NSRunLoop& NSRunLoop::mainRunLoop() {
    return *sharedMainRunLoop();
}

PushClientManager& PushClientManager::defaultManager() {
    static PushClientManager* manager = makeDefaultManager();
    return *manager;
}

}  // namespace xel
