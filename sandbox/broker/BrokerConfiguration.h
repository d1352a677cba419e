#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "sandbox/state/CertificateAuthority.h"

namespace xel::sandbox {

/// What mosquitto is told.
struct BrokerConfiguration {
    std::string address;
    std::uint16_t plainPort{0};
    std::uint16_t tlsPort{0};
    ServerCertificateFiles certificate;
    std::filesystem::path passwordFile;
    std::filesystem::path persistenceFolder;
    std::filesystem::path plugin;
    std::string appId;
    std::string serviceUser;
    std::filesystem::path eventStore;  ///< where the plugin keeps what clients publish as events
    bool asRoot{false};                ///< started as root: it must stay so, to read the state folder
    bool verbose{false};               ///< say what it does, not only what goes wrong
};

/// The name of the persistence file inside `persistenceFolder`.
inline constexpr const char* kBrokerPersistenceFile = "mosquitto.db";

/// What a killed broker loses came after its last save, and so at most so long ago.
inline constexpr int kSecondsBetweenSaves = 10;

/// The configuration as mosquitto.conf(5) has it. Throws SandboxError for a path or id with a line feed.
std::string writeBrokerConfiguration(const BrokerConfiguration& configuration);

}  // namespace xel::sandbox
