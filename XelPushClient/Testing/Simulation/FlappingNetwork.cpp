#include "XelPushClient/Testing/Simulation/FlappingNetwork.h"

#include "XelPushClient/Testing/FakeMachine.h"

namespace xel {

void FlappingNetwork::begin(std::chrono::milliseconds period) {
    turn(period, true);
}

void FlappingNetwork::turn(std::chrono::milliseconds period, bool isInterrupted) {
    timer_ = machine_.runLoop->scheduleOutside(
        period,
        life_.guarded([period, isInterrupted](FlappingNetwork& self) { self.turn(period, !isInterrupted); }));
    machine_.network->setTrouble(FakeNetworkTrouble::Interrupted, isInterrupted);
}

void FlappingNetwork::end() {
    timer_->invalidate();
    machine_.network->setTrouble(FakeNetworkTrouble::Interrupted, false);
}

}  // namespace xel
