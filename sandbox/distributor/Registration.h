#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace xel::sandbox {

/// One application's registration for push messages.
struct Registration {
    std::string service;   ///< the D-Bus name of the application, which the bus can start
    std::string token;     ///< the connection token, by which the application knows the registration
    std::string endpoint;  ///< the random end of the endpoint's path
    std::string description{};
};

inline constexpr std::size_t kLongestToken = 100;
inline constexpr std::size_t kLongestDescription = 100;

/// Whether `name` is a well-known name on a message bus: at least two elements of letters, digits, "_" and
/// "-" between dots, none empty or beginning with a digit, at most 255 bytes together. (The unique names that
/// begin with a colon are none: nothing is started by them.)
bool isServiceName(std::string_view name);

/// Whether an application may register under that service, connection token and description.
bool isRegistration(const Registration& asked);

}  // namespace xel::sandbox
