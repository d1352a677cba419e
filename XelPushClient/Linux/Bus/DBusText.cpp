#include "XelPushClient/Linux/Bus/DBusText.h"

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <system_error>

#include <sys/socket.h>
#include <sys/un.h>

#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/Process/EnvironmentSettings.h"
#include "XelPushClient/Linux/Process/FileDescriptor.h"

namespace xel {

namespace {

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\u2026";

bool isUnwantedControl(char32_t character) {
    const bool isControl = character < 0x20 || (character >= 0x7F && character < 0xA0);
    return isControl && character != U'\n' && character != U'\t';
}

/// A path inside an address: everything but a few octets is escaped, or a comma or a semicolon in it would
/// end it.
std::string escapedPath(std::string_view path) {
    constexpr std::string_view kPlain =
        "-_/.\\*0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    return percentEncoded(path, kPlain, kLowerCaseHexadecimalDigits);
}

std::string unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        unsigned octet = 0;
        bool isEscape = text[at] == '%' && at + 2 < text.size();
        if (isEscape) {
            const char* const digits = text.data() + at + 1;
            isEscape = std::from_chars(digits, digits + 2, octet, 16).ptr == digits + 2;
        }
        plain += isEscape ? static_cast<char>(octet) : text[at];
        at += isEscape ? 2 : 0;
    }
    return plain;
}

/// The name of the socket that the address names, with a NUL in front for an abstract one.
std::optional<std::string> socketNameOf(std::string_view address) {
    constexpr std::string_view kPath = "unix:path=";
    constexpr std::string_view kAbstract = "unix:abstract=";
    if (address.find(';') != std::string_view::npos) {
        return std::nullopt;
    }
    const auto end = address.find(',');
    if (address.starts_with(kPath)) {
        return unescaped(address.substr(0, end).substr(kPath.size()));
    }
    if (address.starts_with(kAbstract)) {
        return '\0' + unescaped(address.substr(0, end).substr(kAbstract.size()));
    }
    return std::nullopt;
}

}  // namespace

std::string textForDBus(std::string_view text, std::size_t mostCharacters) {
    std::string clean;
    for (std::size_t count = 0; !text.empty(); ++count) {
        if (count == mostCharacters) {
            return clean += kEllipsis;
        }
        std::string_view rest = text;
        const char32_t character = takeFirstCharacter(rest);
        const std::string_view octets = text.substr(0, text.size() - rest.size());
        if (!isValidUTF8(octets) || isNonCharacter(character)) {
            clean += kReplacementCharacter;
        } else if (!isUnwantedControl(character)) {
            clean += octets;
        }
        text = rest;
    }
    return clean;
}

std::optional<std::string> refusalOfBus(const std::string& address) {
    if (address.find(':') == std::string::npos) {
        return "'" + address + "' is no address of a bus";
    }
    const auto name = socketNameOf(address);
    sockaddr_un target{};
    if (!name || name->empty() || name->size() >= sizeof(target.sun_path)) {
        return std::nullopt;
    }
    const FileDescriptor probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!probe.isOpen()) {
        return std::nullopt;
    }
    target.sun_family = AF_UNIX;
    name->copy(target.sun_path, name->size());
    const bool isAbstract = name->front() == '\0';
    const auto length = offsetof(sockaddr_un, sun_path) + name->size() + (isAbstract ? 0 : 1);
    const int result =
        ::connect(probe.number(), reinterpret_cast<const sockaddr*>(&target), static_cast<socklen_t>(length));
    const int reason = errno;
    // A daemon that is busy with others lets wait, and is there.
    if (result == 0 || reason == EAGAIN) {
        return std::nullopt;
    }
    return std::generic_category().message(reason);
}

std::string sessionBusAddress() {
    if (auto address = environmentVariable("DBUS_SESSION_BUS_ADDRESS")) {
        return *address;
    }
    const auto folder = environmentVariable("XDG_RUNTIME_DIR");
    return folder ? "unix:path=" + escapedPath(*folder) + "/bus" : std::string();
}

std::string systemBusAddress() {
    return environmentVariable("DBUS_SYSTEM_BUS_ADDRESS").value_or("unix:path=/run/dbus/system_bus_socket");
}

}  // namespace xel
