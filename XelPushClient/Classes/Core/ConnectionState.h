#pragma once

#include <string_view>

namespace xel {

/// How the connection to the broker stands.
enum PushClientServerConnectionState : int {
    PushClientServerConnectingStartState = -2,  ///< never assigned by the client
    PushClientServerConnectingState = -1,
    PushClientServerConnectedState = 0,
    PushClientServerDisconnectedState = 1,
    PushClientServerDisconnectedErrorState = 2,
};

/// How a state is shown: "Init", "Connecting", "Connected", "Disconnected", "Error", else "Unknown".
[[nodiscard]] constexpr std::string_view connectionStateString(PushClientServerConnectionState state) {
    switch (state) {
        case PushClientServerConnectingStartState: return "Init";
        case PushClientServerConnectingState: return "Connecting";
        case PushClientServerConnectedState: return "Connected";
        case PushClientServerDisconnectedState: return "Disconnected";
        case PushClientServerDisconnectedErrorState: return "Error";
    }
    return "Unknown";
}

}  // namespace xel
