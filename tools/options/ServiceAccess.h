#pragma once

#include <filesystem>
#include <string>

#include <CLI/CLI.hpp>

#include "XelPushClient/Platform/Endpoints.h"

namespace xel::tools {

/// Which service a command talks to, as the command line says it. Secrets never stand there.
struct ServiceChoice {
    std::string sandboxFolder{};
    bool production = false;
    std::string appId{};
    std::string apiKeyFile{};
    std::string brokerPasswordFile{};
};

/// Where the service is, and with what it is entered.
struct ServiceAccess {
    std::string appId;
    std::string apiKey;
    std::string brokerUser;
    std::string brokerPassword;
    Endpoints endpoints;
    std::string restUrl;  ///< of the sandbox environment
    std::string caFile;   ///< empty: the system's trust store
    bool production = false;
};

/// For every command that talks to a service; and for those that talk to its broker besides.
void addServiceOptions(CLI::App& command, ServiceChoice& choice);
void addBrokerOptions(CLI::App& command, ServiceChoice& choice);

/// What the environment and the named files say, and for the rest what the running local push service has
/// written: XELPUSH_APP_ID, XELPUSH_API_KEY, XELPUSH_BROKER_USER, XELPUSH_BROKER_PASSWORD, XELPUSH_CA_FILE,
/// and the variables of the endpoints. Throws `CommandFailure` when something is missing.
[[nodiscard]] ServiceAccess findService(const ServiceChoice& choice);

/// The file's content without the line end behind it. Throws `CommandFailure` when it cannot be read.
[[nodiscard]] std::string secretFromFile(const std::string& path);

}  // namespace xel::tools
