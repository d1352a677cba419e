#include "sandbox/broker/BrokerConfiguration.h"

#include <algorithm>
#include <limits>
#include <sstream>

#include "sandbox/process/SandboxError.h"
#include "sandbox/relay/AccessRules.h"

namespace xel::sandbox {
namespace {

// The broker saves in the second after the interval.
constexpr int kAutosaveInterval = kSecondsBetweenSaves - 1;

// A value runs to the end of its line, and nothing quotes a line feed.
std::string checked(const std::string& value) {
    if (std::any_of(value.begin(), value.end(),
                    [](char c) { return static_cast<unsigned char>(c) < 0x20U; })) {
        throw SandboxError("a control character in a path or id that the broker must be told");
    }
    return value;
}

}  // namespace

std::string writeBrokerConfiguration(const BrokerConfiguration& configuration) {
    const std::string address = checked(configuration.address);
    std::ostringstream text;
    text << "# Written by the local push service at every start.\n"
         << "per_listener_settings false\n"
         << "allow_anonymous false\n"
         << "password_file " << checked(configuration.passwordFile.string()) << "\n"
         << "plugin " << checked(configuration.plugin.string()) << "\n"
         << "plugin_opt_app_id " << checked(configuration.appId) << "\n"
         << "plugin_opt_service_user " << checked(configuration.serviceUser) << "\n"
         << "plugin_opt_event_store " << checked(configuration.eventStore.string()) << "\n"
         << "persistence_location " << checked(configuration.persistenceFolder.string()) << "\n"
         << "persistence_file " << kBrokerPersistenceFile << "\n"
         << "autosave_interval " << kAutosaveInterval << "\n"
         << "persistence true\n"
         // A device that is away for long gets everything when it comes back. No limit would be 0, but with 0
         // Debian's mosquitto ends the connection of whoever publishes what is refused, instead of dropping
         // it.
         << "max_queued_messages " << std::numeric_limits<int>::max() << "\n"
         << "message_size_limit " << kLargestPayload << "\n"
         << "sys_interval 0\n"
         // Without it a CONNACK over TLS, which follows what ends the handshake, waits for the client's
         // delayed acknowledgement of that: 40 ms.
         << "set_tcp_nodelay true\n"
         << "log_dest stderr\n"
         << "log_timestamp false\n"
         << "log_type error\n"
         << "log_type warning\n";
    if (configuration.verbose) {
        text << "log_type notice\nlog_type information\nlog_type subscribe\nlog_type unsubscribe\n";
    }
    if (configuration.asRoot) {
        text << "user root\n";
    }
    text << "listener " << configuration.plainPort << " " << address << "\n"
         << "listener " << configuration.tlsPort << " " << address << "\n"
         << "certfile " << checked(configuration.certificate.certificate.string()) << "\n"
         << "keyfile " << checked(configuration.certificate.privateKey.string()) << "\n"
         << "tls_version tlsv1.2\n";
    return text.str();
}

}  // namespace xel::sandbox
