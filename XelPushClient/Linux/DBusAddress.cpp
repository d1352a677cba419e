#include "XelPushClient/Linux/DBusAddress.h"

#include <cstdlib>
#include <string_view>

namespace xel {

namespace {

std::string variable(const char* name) {
    const char* value = ::secure_getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

/// A path inside an address (D-Bus specification, "Server Addresses"): everything but a few octets is
/// escaped.
std::string escapedPath(std::string_view path) {
    constexpr std::string_view kPlain =
        "-_/.\\*0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string escaped;
    for (const char character : path) {
        if (kPlain.find(character) != std::string_view::npos) {
            escaped += character;
            continue;
        }
        const auto octet = static_cast<unsigned char>(character);
        escaped += '%';
        escaped += kDigits[octet >> 4U];
        escaped += kDigits[octet & 0xFU];
    }
    return escaped;
}

}  // namespace

std::string sessionBusAddress() {
    if (auto address = variable("DBUS_SESSION_BUS_ADDRESS"); !address.empty()) {
        return address;
    }
    const std::string folder = variable("XDG_RUNTIME_DIR");
    return folder.empty() ? std::string() : "unix:path=" + escapedPath(folder) + "/bus";
}

std::string systemBusAddress() {
    auto address = variable("DBUS_SYSTEM_BUS_ADDRESS");
    return address.empty() ? "unix:path=/run/dbus/system_bus_socket" : address;
}

}  // namespace xel
