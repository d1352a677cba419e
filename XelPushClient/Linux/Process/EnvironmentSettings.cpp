#include "XelPushClient/Linux/Process/EnvironmentSettings.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/Foundation/FormattedText.h"

namespace xel {

namespace {

enum class Encryption { Any, Required };

struct TextVariable {
    const char* name = nullptr;
    std::string Endpoints::*target = nullptr;
    Encryption encryption = Encryption::Any;
};

struct PortVariable {
    const char* name = nullptr;
    std::uint16_t Endpoints::*target = nullptr;
};

constexpr TextVariable kTexts[] = {
    {"XELPUSH_BROKER_ADDRESS", &Endpoints::kBrokerAddress},
    {"XELPUSH_LOCAL_BROKER_ADDRESS", &Endpoints::kBrokerLocalAddress},
    {"XELPUSH_REST_URL", &Endpoints::kLoopBackAddress},
    {"XELPUSH_REST_SSL_URL", &Endpoints::kLoopBackSSLAddress, Encryption::Required},
    {"XELPUSH_LOCAL_REST_URL", &Endpoints::kLoopBackLocalAddress},
    {"XELPUSH_LOCAL_REST_SSL_URL", &Endpoints::kLoopBackLocalSSLAddress, Encryption::Required},
};

constexpr PortVariable kPorts[] = {
    {"XELPUSH_BROKER_PORT", &Endpoints::kBrokerPort},
    {"XELPUSH_BROKER_SSL_PORT", &Endpoints::kBrokerSSLPort},
    {"XELPUSH_LOCAL_BROKER_PORT", &Endpoints::kBrokerLocalPort},
    {"XELPUSH_LOCAL_BROKER_SSL_PORT", &Endpoints::kBrokerLocalSSLPort},
};

std::optional<std::uint16_t> portOf(std::string_view text) {
    std::uint16_t port = 0;
    const char* end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || last != end || port == 0) {
        return std::nullopt;
    }
    return port;
}

}  // namespace

Result<Endpoints> endpointsOfEnvironment(Endpoints endpoints) {
    for (const auto& [name, target, encryption] : kTexts) {
        const auto value = environmentVariable(name);
        if (!value) {
            continue;
        }
        // Without TLS the API key would travel in the open.
        if (encryption == Encryption::Required && !isSecureURL(*value)) {
            return makeError("InvalidParameter", 1,
                             "The environment variable " + insecureAddressText(name, *value));
        }
        endpoints.*target = *value;
    }
    for (const auto& [name, target] : kPorts) {
        const auto value = environmentVariable(name);
        if (!value) {
            continue;
        }
        const auto port = portOf(*value);
        if (!port) {
            return makeError(
                "InvalidParameter", 1,
                formatted("The environment variable %@ holds no port from 1 to 65535: \"%@\"", name, *value));
        }
        endpoints.*target = *port;
    }
    return endpoints;
}

std::string caFileOfEnvironment() {
    return environmentVariable("XELPUSH_CA_FILE").value_or("");
}

std::string busNameOfEnvironment() {
    return environmentVariable("XELPUSH_BUS_NAME").value_or("");
}

std::string pushDistributorOfEnvironment() {
    return environmentVariable("UNIFIEDPUSH_DISTRIBUTOR").value_or("");
}

}  // namespace xel
