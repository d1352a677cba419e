#include "XelPushClient/Testing/Broker/FakeBrokerAnswers.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {

using std::chrono::milliseconds;

void FakeBrokerAnswers::add(FakeBrokerPacketType type, Send send) {
    Rule& rule = rules_[type];
    if (rule.isWithholding) {
        rule.held.push_back(std::move(send));
    } else if (rule.window > milliseconds::zero()) {
        if (rule.held.empty()) {
            runLoop_.scheduleOutside(rule.window, life_.guarded([type](FakeBrokerAnswers& self) {
                if (!self.rules_[type].isWithholding) {
                    self.release(type, Order::Reversed);
                }
            }));
        }
        rule.held.push_back(std::move(send));
    } else if (rule.delay > milliseconds::zero()) {
        runLoop_.scheduleOutside(rule.delay,
                                 life_.guarded([send = std::move(send)](FakeBrokerAnswers&) { send(); }));
    } else {
        send();
    }
}

void FakeBrokerAnswers::setWithholding(FakeBrokerPacketType type, bool isWithholding) {
    rules_[type].isWithholding = isWithholding;
}

void FakeBrokerAnswers::release(FakeBrokerPacketType type, Order order) {
    Rule& rule = rules_[type];
    rule.isWithholding = false;
    auto held = std::exchange(rule.held, {});
    if (order == Order::Reversed) {
        std::reverse(held.begin(), held.end());
    }
    for (const auto& send : held) {
        send();
    }
}

void FakeBrokerAnswers::setReversing(FakeBrokerPacketType type, milliseconds window) {
    rules_[type].window = window;
    if (window == milliseconds::zero() && !rules_[type].isWithholding) {
        release(type, Order::Reversed);
    }
}

}  // namespace xel
