#include "tests/kill/EventPublisher.h"

#include <chrono>

namespace xel::killtest {
namespace {

using namespace std::chrono_literals;

constexpr auto kPause = 1ms;
/// A life publishes a few thousand at most: far less than the session keeps without an acknowledgement.
constexpr int kEventsAPause = 8;

}  // namespace

EventPublisher::EventPublisher(xel::PushClientManager& push, xel::NSRunLoop& runLoop, ReceivedLog& log)
    : push_(push),
      runLoop_(runLoop),
      log_(log),
      life_(std::to_string(std::chrono::system_clock::now().time_since_epoch().count())) {}

void EventPublisher::start() {
    runLoop_.scheduleTimer(kPause, [this] { publishSome(); });
}

void EventPublisher::publishSome() {
    // Without a session an event waits in memory, which promises nothing over a kill.
    if (push_.brokerClientId()) {
        for (int i = 0; i < kEventsAPause; ++i) {
            publishOne();
        }
    }
    start();
}

void EventPublisher::publishOne() {
    const std::string id = life_ + "-" + std::to_string(++published_);
    const bool isPromised = push_.publishEvent("kill", xel::Dictionary{{"id", id}, {"from", "kill test"}});
    if (isPromised) {
        log_.note(id);
    }
}

}  // namespace xel::killtest
