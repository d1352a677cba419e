#include "XelPushClient/Classes/Core/ServiceAddresses.h"

#include <atomic>

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
