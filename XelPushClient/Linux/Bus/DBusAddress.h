#pragma once

#include <optional>
#include <string>

namespace xel {

/// Where the user's session bus listens, as the environment says it: DBUS_SESSION_BUS_ADDRESS, or else the
/// socket "bus" in XDG_RUNTIME_DIR. Empty when neither is set: the process has no session. Reads the
/// environment, so not while another thread changes it.
[[nodiscard]] std::string sessionBusAddress();

/// Where the machine's system bus listens: DBUS_SYSTEM_BUS_ADDRESS, or else the well-known socket.
[[nodiscard]] std::string systemBusAddress();

/// Why nobody listens at a bus's socket, found out by connecting to it, or why the text is no address; none
/// when somebody listens, and for an address of another kind than "unix:path=" or "unix:abstract=". The D-Bus
/// library loses memory at every connection that fails, so a missing bus is better noticed before.
[[nodiscard]] std::optional<std::string> refusalOfBus(const std::string& address);

}  // namespace xel
