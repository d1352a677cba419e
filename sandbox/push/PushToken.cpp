#include "sandbox/push/PushToken.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include <boost/asio/ip/address.hpp>

#include "XelPushClient/Foundation/Base64URL.h"
#include "sandbox/relay/Hexadecimal.h"
#include "sandbox/relay/Json.h"

namespace xel::sandbox {

namespace {

constexpr std::size_t kLongestUrl = 1000;
constexpr std::string_view kScheme = "http://";

// What stands in a request line and a header without quoting: no space, no line feed, no fragment.
bool isVisible(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7F' && c != '#'; });
}

bool isLoopback(const std::string& host) {
    if (host == "localhost") {
        return true;
    }
    boost::system::error_code error;
    const auto address = boost::asio::ip::make_address(host, error);
    return !error && address.is_loopback();
}

std::optional<std::uint16_t> parsePort(std::string_view text) {
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole && port != 0 ? std::optional(port) : std::nullopt;
}

// Host and port of "host", "host:port", "[v6]" or "[v6]:port"; nothing when that is not what it is.
std::optional<PushEndpoint> parseAuthority(std::string_view authority) {
    PushEndpoint endpoint;
    std::string_view rest;
    if (authority.starts_with('[')) {
        const std::size_t end = authority.find(']');
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        endpoint.host = authority.substr(1, end - 1);
        rest = authority.substr(end + 1);
    } else {
        const std::size_t colon = std::min(authority.find(':'), authority.size());
        endpoint.host = authority.substr(0, colon);
        rest = authority.substr(colon);
    }
    if (!rest.empty()) {
        const auto port = rest.starts_with(':') ? parsePort(rest.substr(1)) : std::nullopt;
        if (!port) {
            return std::nullopt;
        }
        endpoint.port = *port;
    }
    return endpoint;
}

constexpr char kUncompressed = 0x04;  // what an uncompressed point begins with

std::optional<std::string> decodeHexadecimal(std::string_view digits) {
    if (digits.size() % 2 != 0) {
        return std::nullopt;
    }
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const std::optional<char> byte = byteOfHexDigits(digits[i], digits[i + 1]);
        if (!byte) {
            return std::nullopt;
        }
        bytes += *byte;
    }
    return bytes;
}

// The bytes that a member of the token spells; empty when there are not so many of them.
std::string bytesOf(const Json& token, const char* key, std::size_t length) {
    const std::optional<std::string> text = findText(token, key);
    const auto bytes = text ? octetsOfBase64URL(*text) : std::nullopt;
    return bytes && bytes->size() == length ? std::string(bytes->begin(), bytes->end()) : std::string();
}

}  // namespace

std::optional<PushEndpoint> parseLoopbackEndpoint(std::string_view url) {
    if (url.size() > kLongestUrl || !url.starts_with(kScheme) || !isVisible(url)) {
        return std::nullopt;
    }
    url.remove_prefix(kScheme.size());
    const std::size_t end = std::min(url.find_first_of("/?"), url.size());
    std::optional<PushEndpoint> endpoint = parseAuthority(url.substr(0, end));
    if (!endpoint || !isLoopback(endpoint->host)) {
        return std::nullopt;
    }
    endpoint->target = url.substr(end);
    if (!endpoint->target.starts_with('/')) {
        endpoint->target.insert(0, "/");
    }
    return endpoint;
}

std::optional<PushToken> parsePushToken(std::string_view hexadecimal) {
    const std::optional<std::string> text = decodeHexadecimal(hexadecimal);
    const std::optional<Json> object = text ? parseJsonObject(*text) : std::nullopt;
    if (!object) {
        return std::nullopt;
    }
    PushToken token;
    token.receiver.publicKey = bytesOf(*object, "publicKey", kPushPublicKeyLength);
    token.receiver.authSecret = bytesOf(*object, "auth", kPushAuthSecretLength);
    token.endpoint = findText(*object, "endpoint").value_or("");
    if (token.endpoint.empty() || token.receiver.authSecret.empty() ||
        !token.receiver.publicKey.starts_with(kUncompressed)) {
        return std::nullopt;
    }
    return token;
}

}  // namespace xel::sandbox
