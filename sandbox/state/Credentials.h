#pragma once

#include <filesystem>
#include <string>

namespace xel::sandbox {

class StateFolder;

/// Who may talk to the service. Made at random at the first start and kept in the state folder (0600).
struct Credentials {
    std::string appId;
    std::string apiKey;           ///< the REST backend's access token
    std::string brokerUser;       ///< for every client of the application
    std::string brokerPassword;   ///< for every client of the application
    std::string serviceUser;      ///< the service's own name at its broker
    std::string servicePassword;  ///< never leaves the state folder
};

struct LoadedCredentials {
    Credentials credentials;
    bool areNew{false};  ///< made just now
};

/// The file in the state folder that holds them: one JSON object whose keys are the members' names.
std::filesystem::path credentialsFile(const StateFolder& folder);

/// The kept credentials, or new ones for `appId`. An empty `appId` means the kept one, at first
/// "xelpush-demo"; another one than the kept one replaces it and leaves the secrets.
/// Throws SandboxError when the kept file cannot be read or makes no sense.
LoadedCredentials loadOrCreateCredentials(const StateFolder& folder, const std::string& appId);

}  // namespace xel::sandbox
