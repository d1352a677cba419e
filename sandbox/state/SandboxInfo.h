#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace xel::sandbox {

class StateFolder;

/// Where a running service is reached, and with what. Holds secrets.
struct SandboxInfo {
    std::string appId;
    std::string apiKey;
    std::string brokerUser;
    std::string brokerPassword;
    std::string address;  ///< the numeric loopback address; the certificate is for "localhost", too
    std::uint16_t mqttPort{0};
    std::uint16_t mqttTlsPort{0};
    std::uint16_t restPort{0};
    std::string restUrl;           ///< the base URL, https://localhost:{restPort}/api
    std::filesystem::path caFile;  ///< the authority to trust (PEM)
    std::filesystem::path stateFolder;
    int pid{0};  ///< the process that runs the service
};

/// The file in the state folder (0600) by which other programs find the running service: one JSON object
/// whose keys are the members' names. It is there from "ready" until the service stops.
inline constexpr const char* kSandboxInfoFile = "sandbox-info.json";

void writeSandboxInfo(const SandboxInfo& info);

/// What the service that runs on this state folder has written. Throws SandboxError when there is none.
SandboxInfo readSandboxInfo(const std::filesystem::path& stateFolder);

}  // namespace xel::sandbox
