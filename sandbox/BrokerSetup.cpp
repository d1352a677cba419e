#include "sandbox/BrokerSetup.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

#include "sandbox/Credentials.h"
#include "sandbox/PasswordFile.h"
#include "sandbox/Ports.h"
#include "sandbox/SandboxError.h"
#include "sandbox/SandboxOptions.h"
#include "sandbox/StateFolder.h"
#include "sandbox/store/ServiceStores.h"

namespace xel::sandbox {
namespace {

namespace fs = std::filesystem;

fs::path findBrokerPlugin(const fs::path& wanted) {
    fs::path plugin = wanted;
    if (plugin.empty()) {
        if (const char* named = std::getenv("XELPUSH_BROKER_PLUGIN"); named != nullptr && *named != '\0') {
            plugin = named;
        }
    }
    if (plugin.empty()) {
        // The tree that it was built in is gone on other machines; there it is where it was installed.
        plugin = ::access(XELPUSH_BROKER_PLUGIN_PATH, R_OK) == 0 ? XELPUSH_BROKER_PLUGIN_PATH
                                                                 : XELPUSH_INSTALLED_PLUGIN;
    }
    if (::access(plugin.c_str(), R_OK) != 0) {
        throw SandboxError("there is no broker plugin '" + plugin.string() +
                           "'; build xelpush_broker_plugin, or name it in XELPUSH_BROKER_PLUGIN");
    }
    return fs::absolute(plugin);
}

}  // namespace

Broker::Settings prepareBroker(const SandboxOptions& options, const StateFolder& folder,
                               const Credentials& credentials, const ServerCertificateFiles& certificate) {
    requireLoopback(options.address);
    Broker::Settings settings;
    settings.program = findBrokerProgram(options.mosquittoProgram);
    settings.configurationFile = folder.file("mosquitto.conf");
    settings.servicePassword = credentials.servicePassword;

    BrokerConfiguration& configuration = settings.configuration;
    configuration.address = options.address;
    configuration.certificate = certificate;
    configuration.passwordFile = folder.file("mosquitto.passwd");
    configuration.persistenceFolder = folder.path();
    configuration.plugin = findBrokerPlugin(options.brokerPlugin);
    configuration.appId = credentials.appId;
    configuration.serviceUser = credentials.serviceUser;
    configuration.eventStore = folder.file(kEventStoreFile);
    configuration.asRoot = ::geteuid() == 0;
    configuration.verbose = options.verbose;
    writePrivateFile(configuration.passwordFile,
                     makePasswordLine(credentials.brokerUser, credentials.brokerPassword) +
                         makePasswordLine(credentials.serviceUser, credentials.servicePassword));
    return settings;
}

void claimBrokerPorts(const SandboxOptions& options, BrokerConfiguration& configuration) {
    configuration.plainPort = claimPort(options.address, options.mqttPort, "the broker (MQTT)");
    do {
        configuration.tlsPort = claimPort(options.address, options.mqttTlsPort, "the broker (MQTT over TLS)");
    } while (configuration.tlsPort == configuration.plainPort && options.mqttTlsPort == 0);
    if (configuration.tlsPort == configuration.plainPort) {
        throw SandboxError("the broker's two ports must differ; both are " +
                           std::to_string(configuration.tlsPort));
    }
}

}  // namespace xel::sandbox
