#include "XelPushClient/Classes/Core/ServiceAddresses.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <stdexcept>
#include <utility>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

std::atomic<bool>& developmentFlag() {
    static std::atomic<bool> flag = false;
    return flag;
}

constexpr std::string_view kDemonstrationAppId = "tavrin-demo";
constexpr std::string_view kDemoSuffix = "-demo";
constexpr std::string_view kSecureScheme = "https://";

}  // namespace

bool isDevelopment() {
    return developmentFlag();
}

void setDevelopmentEnvironment(bool development) {
    developmentFlag() = development;
}

std::string productionHost(const Endpoints& endpoints, const std::optional<std::string>& appId) {
    if (appId == kDemonstrationAppId) {
        return endpoints.kBrokerAddress;
    }
    const std::string_view id = textOrNull(appId);
    return formatted("%@.%@", id.substr(0, id.find(kDemoSuffix)), endpoints.kBrokerAddress);
}

BrokerAddress brokerAddress(const Endpoints& endpoints, const std::optional<std::string>& appId,
                            bool usingSSL) {
    if (isDevelopment()) {
        return {endpoints.kBrokerLocalAddress,
                usingSSL ? endpoints.kBrokerLocalSSLPort : endpoints.kBrokerLocalPort};
    }
    return {productionHost(endpoints, appId), usingSSL ? endpoints.kBrokerSSLPort : endpoints.kBrokerPort};
}

bool isSecureURL(std::string_view url) {
    return url.size() >= kSecureScheme.size() &&
           std::equal(kSecureScheme.begin(), kSecureScheme.end(), url.begin(), [](char wanted, char given) {
               return wanted == std::tolower(static_cast<unsigned char>(given));
           });
}

void requireSecureAddresses(const Endpoints& endpoints) {
    const std::pair<std::string_view, std::string_view> addresses[] = {
        {"kLoopBackSSLAddress", endpoints.kLoopBackSSLAddress},
        {"kLoopBackLocalSSLAddress", endpoints.kLoopBackLocalSSLAddress},
    };
    for (const auto& [name, url] : addresses) {
        if (!isSecureURL(url)) {
            throw std::invalid_argument(insecureAddressText(name, url));
        }
    }
}

// The beginning is enough to see what is wrong; further on a URL may hold a password.
std::string insecureAddressText(std::string_view name, std::string_view url) {
    return formatted("%@ must begin with \"%@\", because the API key is sent there; it begins with \"%@\"",
                     name, kSecureScheme, url.substr(0, kSecureScheme.size()));
}

std::string restBaseURL(const Endpoints& endpoints, const std::optional<std::string>& appId, bool usingSSL) {
    if (isDevelopment()) {
        return usingSSL ? endpoints.kLoopBackLocalSSLAddress : endpoints.kLoopBackLocalAddress;
    }
    if (!usingSSL) {
        return endpoints.kLoopBackAddress;
    }
    return formatted(endpoints.kLoopBackSSLAddress, productionHost(endpoints, appId));
}

}  // namespace xel
