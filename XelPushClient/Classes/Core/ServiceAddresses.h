#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Platform/Endpoints.h"

namespace xel {

/// Which environment the process talks to. Read at every broker connect and when a REST adaptor is made.
[[nodiscard]] bool isDevelopment();
void setDevelopmentEnvironment(bool development);

/// The production host of an application: each has its own subdomain, named by the part of its id before the
/// first "-demo"; the service's own demonstration application uses the production host itself.
[[nodiscard]] std::string productionHost(const Endpoints& endpoints, const std::optional<std::string>& appId);

struct BrokerAddress {
    std::string host;
    std::uint16_t port = 0;
};
[[nodiscard]] BrokerAddress brokerAddress(const Endpoints& endpoints, const std::optional<std::string>& appId,
                                          bool usingSSL);

/// Whether what is sent to the URL, the API key among it, is encrypted.
[[nodiscard]] bool isSecureURL(std::string_view url);

/// What is wrong with a setting of that name whose URL should be secure and is not.
[[nodiscard]] std::string insecureAddressText(std::string_view name, std::string_view url);

/// Throws std::invalid_argument when a REST address under a name that says SSL is not secure.
void requireSecureAddresses(const Endpoints& endpoints);

[[nodiscard]] std::string restBaseURL(const Endpoints& endpoints, const std::optional<std::string>& appId,
                                      bool usingSSL);

}  // namespace xel
