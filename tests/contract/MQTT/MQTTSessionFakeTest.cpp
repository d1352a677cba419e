#include <algorithm>
#include <string>
#include <utility>

#include "tests/contract/MQTT/MQTTSessionContract.h"
#include "tests/unit/Classes/Support/ScriptedSession.h"

namespace xel::contract {
namespace {

/// The session that rooms are tested on; what the test of a room raises, this raises.
class ScriptedSessionSubject {
public:
    explicit ScriptedSessionSubject(MQTTSessionDelegate& delegate) {
        session_.setDelegate(&delegate);
        session_.unsendable = {unsendable()};
    }

    MQTTSession& session() { return session_; }
    [[nodiscard]] std::size_t attempts() const {
        return static_cast<std::size_t>(
            std::count_if(session_.calls.begin(), session_.calls.end(),
                          [](const std::string& call) { return call.starts_with("connect "); }));
    }
    void acceptAttempt() { session_.connected(); }
    void loseConnection() {
        session_.fail(MQTTSessionEvent::ConnectionError,
                      makeError("ScriptedSessionSubject", 1, "it was lost"));
    }
    void runUntilIdle() {
        if (const auto ended = std::exchange(session_.closeEnded, nullptr)) {
            ended(true);
        }
    }
    static std::string unsendable() { return "t/unsendable"; }

private:
    ScriptedSession session_{{}};
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Scripted, MQTTSessionContract, ScriptedSessionSubject);

}  // namespace xel::contract
