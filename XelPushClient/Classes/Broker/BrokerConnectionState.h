#pragma once

#include <atomic>
#include <utility>

#include "XelPushClient/Classes/Core/ConnectionState.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Foundation/OnLeaving.h"

namespace xel {

/// The state of the connection to the broker, and its report: the host hears of every assignment, also of an
/// unchanged value.
///
/// Owner: the manager. Thread: the manager's run loop; `value` may be asked for on any.
class BrokerConnectionState {
public:
    explicit BrokerConnectionState(EventFanout& fanout) : fanout_(fanout) {}

    [[nodiscard]] PushClientServerConnectionState value() const { return value_; }
    [[nodiscard]] bool isConnected() const { return value_ == PushClientServerConnectedState; }

    void assign(PushClientServerConnectionState state);

    /// Assigns the state and does the rest, also when a host's callback throws: the connection must not stop
    /// half way. The exception goes on afterwards.
    template <class Rest>
    void assignThen(PushClientServerConnectionState state, Rest rest) {
        doThenAlways([this, state] { assign(state); }, std::move(rest));
    }

private:
    EventFanout& fanout_;
    /// Written on the loop; hosts that hear a broadcast ask on its thread.
    std::atomic<PushClientServerConnectionState> value_ = PushClientServerDisconnectedState;
};

}  // namespace xel
