#include "tests/simulation/SimulatedHost.h"

namespace xel::simulation {

SimulatedHost::SimulatedHost(FakeMachine& machine) : machine_(machine) {}

SimulatedHost::~SimulatedHost() = default;

void SimulatedHost::start() {
    ++life_;
    push_ = std::make_unique<PushClientManager>(machine_.machine(), machine_.makeHome());
    push_->setMessageUILocalNotificationHandler([](const PushClientMessage&) {});
    push_->setMessageHandler([this](const PushClientMessage& message) { take(message); });
    push_->registerApplication(kAppId, "key", "user", "password");
    push_->registerUser(kUserId);
}

void SimulatedHost::kill() {
    machine_.broker->dropConnections();
    push_.reset();
    machine_.discardPostedWork();
    messagesUntilKill_ = 0;
}

void SimulatedHost::take(const PushClientMessage& message) {
    receptions_.push_back({*message.id, life_});
    if (messagesUntilKill_ > 0 && --messagesUntilKill_ == 0) {
        throw Killed();
    }
}

}  // namespace xel::simulation
