#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/Testing/RecordingLogSink.h"
#include "XelPushClient/XelPushClient.h"

namespace xel::contract {

/// A platform without a desktop, whose store is in the folder and whose broker is a plain one on loopback.
inline LinuxOptions optionsOnLoopback(std::shared_ptr<AsioRunLoop> loop, const std::string& folder,
                                      std::string brokerHost, std::uint16_t brokerPort) {
    LinuxOptions options;
    options.runLoop = std::move(loop);
    options.logSink = std::make_shared<RecordingLogSink>();
    options.stateFolder = folder + "/state";
    options.documentsFolder = folder + "/documents";
    options.sessionBus = "";
    options.systemBus = "";
    options.endpoints.emplace();
    options.endpoints->kBrokerLocalAddress = std::move(brokerHost);
    options.endpoints->kBrokerLocalPort = brokerPort;
    return options;
}

/// Gives the client what it needs to connect to such a broker.
inline void identify(PushClientManager& client, const std::string& userId = "alice01",
                     const std::string& deviceId = "D3V1CE") {
    client.registerApplication("a1b2c3", "key", "user", "password");
    client.setUsingSSLConnection(false);
    client.setUserId(userId);
    client.setDeviceId(deviceId);
}

}  // namespace xel::contract
