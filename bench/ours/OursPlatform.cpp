#include "bench/ours/OursPlatform.h"

#include <stdexcept>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Linux/LinuxPlatform.h"

namespace xel::bench {

namespace {

LinuxOptions optionsFor(const std::string& stateFolder, int brokerPort) {
    Endpoints endpoints;
    endpoints.kBrokerLocalAddress = "127.0.0.1";
    endpoints.kBrokerLocalPort = static_cast<std::uint16_t>(brokerPort);
    LinuxOptions options;
    options.name = "bench";
    options.stateFolder = stateFolder;
    options.documentsFolder = stateFolder;
    options.endpoints = endpoints;
    return options;
}

}  // namespace

OursPlatform::OursPlatform(const std::string& stateFolder, int brokerPort) {
    const LinuxOptions options = optionsFor(stateFolder, brokerPort);
    machine_ = makeLinuxMachine(options);
    auto home = openLinuxHome(options, machine_);
    if (!home) {
        throw std::runtime_error(describeError(home.error()));
    }
    home_ = std::move(home).value();
}

void OursPlatform::rememberIdentity(std::string_view userId, std::string_view installationId) const {
    home_.defaults->setObject(kUserIdKey, userId);
    home_.defaults->setObject(kDeviceIdKey, installationId);
    if (!home_.defaults->synchronize()) {
        throw std::runtime_error("the identity could not be stored");
    }
}

}  // namespace xel::bench
