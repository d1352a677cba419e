#include "bench/ours/OursPlatform.h"

#include <stdexcept>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Linux/Headless/HeadlessPlatform.h"

namespace xel::bench {

LinuxOptions linuxOptionsOf(const OursOptions& ours) {
    Endpoints endpoints;
    endpoints.kBrokerLocalAddress = "127.0.0.1";
    endpoints.kBrokerLocalPort = static_cast<std::uint16_t>(ours.brokerPort);
    endpoints.kBrokerLocalSSLPort = endpoints.kBrokerLocalPort;
    endpoints.kLoopBackLocalSSLAddress = "https://127.0.0.1:" + std::to_string(ours.restPort) + "/api";
    LinuxOptions options;
    options.name = "bench";
    options.stateFolder = ours.stateFolder;
    options.documentsFolder = ours.stateFolder;
    options.endpoints = endpoints;
    options.caFile = ours.certificate;
    options.durability = ours.durability;
    return options;
}

OursPlatform::OursPlatform(const OursOptions& ours, MachineMaker makeMachine) {
    const LinuxOptions options = linuxOptionsOf(ours);
    machine_ = makeMachine(options);
    auto home = openLinuxHome(options, machine_);
    if (!home) {
        throw std::runtime_error(describeError(home.error()));
    }
    home_ = std::move(home).value();
}

void OursPlatform::rememberIdentity(std::string_view userId, std::string_view installationId) const {
    xel::bench::rememberIdentity(home_, userId, installationId);
}

void rememberIdentity(const Home& home, std::string_view userId, std::string_view installationId) {
    if (home.defaults->objectForKey(kUserIdKey)) {
        return;
    }
    home.defaults->setObject(kUserIdKey, userId);
    home.defaults->setObject(kDeviceIdKey, installationId);
    if (!home.defaults->synchronize()) {
        throw std::runtime_error("the identity could not be stored");
    }
}

}  // namespace xel::bench
