#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace xel {

/// The interface under which D-Bus objects show their properties.
inline constexpr const char* kDBusProperties = "org.freedesktop.DBus.Properties";

/// The match rule for the bus's report that `name` has another owner, or none.
inline std::string dbusOwnerChangesOf(std::string_view name) {
    return "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
           "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" +
           std::string(name) + "'";
}

/// The text as a D-Bus string may hold it: UTF-8, without NUL and without control characters but line end and
/// tab. What is not UTF-8, or a character that Unicode sets aside for good, reads as U+FFFD. Of a text with
/// more characters than that, which no desktop shows, the rest is an ellipsis.
[[nodiscard]] std::string textForDBus(std::string_view text,
                                      std::size_t mostCharacters = std::string_view::npos);

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
