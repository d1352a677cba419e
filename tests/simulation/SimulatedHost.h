#pragma once

#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "XelPushClient/Testing/FakeMachine.h"
#include "XelPushClient/XelPushClient.h"

namespace xel::simulation {

/// Leaves a host's callback in place of SIGKILL.
struct Killed : std::runtime_error {
    Killed() : std::runtime_error("killed") {}
};

/// One id that the host was handed, and in which of its lives.
struct Reception {
    std::string id;
    std::size_t life = 0;
};

/// A host with the whole client in it, on a fake machine, over any number of lives.
class SimulatedHost {
public:
    explicit SimulatedHost(FakeMachine& machine);
    ~SimulatedHost();
    SimulatedHost(const SimulatedHost&) = delete;
    SimulatedHost& operator=(const SimulatedHost&) = delete;

    /// Starts a process: a client on the home that the disk keeps.
    void start();
    /// Ends the process at once. What was not committed is gone.
    void kill();
    [[nodiscard]] bool isRunning() const { return push_ != nullptr; }

    /// The process is killed inside the callback of the message that comes so many messages later.
    void killAfterMessages(std::size_t count) { messagesUntilKill_ = count; }

    [[nodiscard]] PushClientManager& push() { return *push_; }
    [[nodiscard]] const std::vector<Reception>& receptions() const { return receptions_; }

    static constexpr const char* kUserId = "alice01";
    static constexpr const char* kAppId = "shop";

private:
    void take(const PushClientMessage& message);

    FakeMachine& machine_;
    std::unique_ptr<PushClientManager> push_;
    std::size_t life_ = 0;
    std::size_t messagesUntilKill_ = 0;
    std::vector<Reception> receptions_;
};

}  // namespace xel::simulation
