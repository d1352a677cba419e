#pragma once

#include <chrono>
#include <memory>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

class FakeMachine;

/// Interrupts the network of a machine, and lets it go on, by turns. The machine outlives it.
/// Thread: the machine's.
class FlappingNetwork {
public:
    explicit FlappingNetwork(FakeMachine& machine) : machine_(machine) {}

    /// Interrupts at once.
    void begin(std::chrono::milliseconds period);
    void end();

private:
    void turn(std::chrono::milliseconds period, bool isInterrupted);

    FakeMachine& machine_;
    std::shared_ptr<NSTimer> timer_;
    Lifeline<FlappingNetwork> life_{*this};
};

}  // namespace xel
