#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <vector>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"

namespace xel {

class FakeRunLoop;

/// When the answers of a `FakeBroker` leave: at once, late, in odd order, or not at all until they are
/// released. Each kind of answer has a rule of its own. Thread: the run loop.
class FakeBrokerAnswers {
public:
    using Send = std::function<void()>;
    enum class Order { AsAsked, Reversed };

    explicit FakeBrokerAnswers(FakeRunLoop& runLoop) : runLoop_(runLoop) {}

    /// Sends the answer when its kind's rule says so.
    void add(FakeBrokerPacketType type, Send send);

    void setWithholding(FakeBrokerPacketType type, bool isWithholding);
    /// Sends what is held of that kind, and no longer withholds it.
    void release(FakeBrokerPacketType type, Order order);
    /// Each answer leaves so much later; zero: at once.
    void setDelay(FakeBrokerPacketType type, std::chrono::milliseconds delay) { rules_[type].delay = delay; }
    /// The answers that arise within that time of a first one leave together at its end, the last first;
    /// zero: as they were asked for.
    void setReversing(FakeBrokerPacketType type, std::chrono::milliseconds window);

private:
    struct Rule {
        bool isWithholding = false;
        std::chrono::milliseconds delay{0};
        std::chrono::milliseconds window{0};
        std::vector<Send> held;
    };

    FakeRunLoop& runLoop_;
    std::map<FakeBrokerPacketType, Rule> rules_;
    Lifeline<FakeBrokerAnswers> life_{*this};
};

}  // namespace xel
