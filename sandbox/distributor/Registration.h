#pragma once

#include <string>

namespace xel::sandbox {

/// One application's registration for push messages.
struct Registration {
    std::string service;   ///< the D-Bus name of the application, which the bus can start
    std::string token;     ///< the connection token, by which the application knows the registration
    std::string endpoint;  ///< the random end of the endpoint's path
    std::string description{};
};

/// Whether an application may register under that service, connection token and description: a well-known
/// name (nothing is started by the unique ones), and texts of the lengths that UnifiedPush allows.
bool isRegistration(const Registration& asked);

}  // namespace xel::sandbox
