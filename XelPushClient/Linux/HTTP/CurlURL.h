#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace xel {

/// Scheme, host and port of a URL: who is being asked, without what is asked.
struct URLOrigin {
    std::string scheme;
    std::string host;
    std::string port;

    /// "https://example.org:443"
    [[nodiscard]] std::string text() const;

    [[nodiscard]] bool hasHTTPScheme() const;

    /// Whether the host is this machine by its name ("localhost") or its address.
    [[nodiscard]] bool isLoopback() const;

    friend bool operator==(const URLOrigin&, const URLOrigin&) = default;
};

/// The origin; none for a text that is no absolute URL, or that holds a blank, a control character or an
/// octet outside ASCII (RFC 3986 section 2), none of which may reach a request line. None either for a host
/// that hides one of these, or a '%', behind a percent code.
[[nodiscard]] std::optional<URLOrigin> originOfURL(std::string_view url);

/// Whether a user name or a password stands in the URL.
[[nodiscard]] bool hasUserInfo(std::string_view url);

}  // namespace xel
