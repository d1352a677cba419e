#include "tools/options/ServiceAccess.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>

#include "XelPushClient/Linux/Process/EnvironmentSettings.h"
#include "sandbox/process/SandboxError.h"
#include "sandbox/state/SandboxInfo.h"
#include "sandbox/state/StateFolder.h"
#include "tools/output/Output.h"

namespace xel::tools {

namespace {

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/// The first of: the file's content, the environment variable, what the local service has written.
std::string choose(const std::string& file, const char* variable, const std::string& otherwise) {
    if (!file.empty()) {
        return secretFromFile(file);
    }
    const std::string value = environment(variable);
    return value.empty() ? otherwise : value;
}

void require(const std::string& value, const char* what, const char* how) {
    if (value.empty()) {
        throw CommandFailure(ExitCode::Usage, std::string("no ") + what + " is given; " + how);
    }
}

Endpoints endpointsOf(const sandbox::SandboxInfo* info) {
    Endpoints endpoints;
    if (info != nullptr) {
        endpoints.kBrokerLocalAddress = info->address;
        endpoints.kBrokerLocalPort = info->mqttPort;
        endpoints.kBrokerLocalSSLPort = info->mqttTlsPort;
        endpoints.kLoopBackLocalSSLAddress = info->restUrl;
    }
    auto overridden = endpointsOfEnvironment(endpoints);
    if (!overridden) {
        throw CommandFailure(ExitCode::Usage, overridden.error().localizedDescription());
    }
    return std::move(overridden).value();
}

/// The running local service, unless the environment alone says enough to do without one.
std::optional<sandbox::SandboxInfo> readInfo(const ServiceChoice& choice) {
    if (choice.production) {
        return std::nullopt;
    }
    try {
        const std::filesystem::path folder = choice.sandboxFolder.empty()
                                                 ? sandbox::defaultStateFolder()
                                                 : std::filesystem::path(choice.sandboxFolder);
        return sandbox::readSandboxInfo(folder);
    } catch (const sandbox::SandboxError& error) {
        const bool isEnoughGiven = choice.sandboxFolder.empty() &&
                                   (!choice.apiKeyFile.empty() || !environment("XELPUSH_API_KEY").empty());
        if (isEnoughGiven) {
            return std::nullopt;
        }
        throw CommandFailure(ExitCode::CannotConnect, error.what());
    }
}

}  // namespace

std::string secretFromFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string secret{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file) {
        throw CommandFailure(ExitCode::Usage, "the file '" + path + "' cannot be read");
    }
    // The line's end is the editor's, not the secret's.
    while (secret.ends_with('\n') || secret.ends_with('\r')) {
        secret.pop_back();
    }
    return secret;
}

void addServiceOptions(CLI::App& command, ServiceChoice& choice) {
    command
        .add_option("--sandbox-folder", choice.sandboxFolder,
                    "State folder of the local push service to talk to")
        ->type_name("FOLDER");
    command.add_option("--app-id", choice.appId, "Application id (or XELPUSH_APP_ID)")->type_name("ID");
    command
        .add_option("--api-key-file", choice.apiKeyFile, "File that holds the API key (or XELPUSH_API_KEY)")
        ->check(CLI::ExistingFile)
        ->type_name("FILE");
}

void addBrokerOptions(CLI::App& command, ServiceChoice& choice) {
    command.add_flag("--production", choice.production,
                     "Talk to the production environment instead of the local push service");
    command
        .add_option("--broker-password-file", choice.brokerPasswordFile,
                    "File that holds the broker password (or XELPUSH_BROKER_PASSWORD; the user is "
                    "XELPUSH_BROKER_USER)")
        ->check(CLI::ExistingFile)
        ->type_name("FILE");
}

ServiceAccess findService(const ServiceChoice& choice) {
    const auto info = readInfo(choice);
    const sandbox::SandboxInfo known = info.value_or(sandbox::SandboxInfo());

    ServiceAccess access;
    access.production = choice.production;
    access.appId = choice.appId.empty() ? choose("", "XELPUSH_APP_ID", known.appId) : choice.appId;
    access.apiKey = choose(choice.apiKeyFile, "XELPUSH_API_KEY", known.apiKey);
    access.brokerUser = choose("", "XELPUSH_BROKER_USER", known.brokerUser);
    access.brokerPassword =
        choose(choice.brokerPasswordFile, "XELPUSH_BROKER_PASSWORD", known.brokerPassword);
    access.endpoints = endpointsOf(info ? &*info : nullptr);
    access.restUrl = access.endpoints.kLoopBackLocalSSLAddress;
    access.caFile = choose("", "XELPUSH_CA_FILE", known.caFile.string());

    require(access.appId, "application id", "set XELPUSH_APP_ID or give --app-id");
    require(access.apiKey, "API key", "set XELPUSH_API_KEY or give --api-key-file");
    return access;
}

}  // namespace xel::tools
