#include "sandbox/broker/BrokerSetup.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include <openssl/evp.h>
#include <openssl/rand.h>
#include <unistd.h>

#include "sandbox/process/Ports.h"
#include "sandbox/process/SandboxError.h"
#include "sandbox/state/Credentials.h"
#include "sandbox/state/SandboxOptions.h"
#include "sandbox/state/StateFolder.h"
#include "sandbox/store/ServiceStores.h"

namespace xel::sandbox {

namespace fs = std::filesystem;

namespace {

// Few, since each connect pays for them: the passwords are 24 random bytes, which nobody guesses.
constexpr int kIterations = 101;

std::string toBase64(std::span<const unsigned char> bytes) {
    std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                                       static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

/// Where the plugin may be, the best place first.
std::vector<fs::path> placesOfBrokerPlugin(const fs::path& wanted) {
    if (!wanted.empty()) {
        return {wanted};
    }
    if (const char* named = std::getenv("XELPUSH_BROKER_PLUGIN"); named != nullptr && *named != '\0') {
        return {named};
    }
    // An installed tree may stand anywhere, also beside the one that it was built in, whose plugin is another
    // one by now.
    std::error_code failure;
    const fs::path program = fs::read_symlink("/proc/self/exe", failure);
    return {(program.parent_path() / XELPUSH_INSTALLED_PLUGIN).lexically_normal(), XELPUSH_BUILT_PLUGIN};
}

fs::path findBrokerPlugin(const fs::path& wanted) {
    std::string missing;
    for (const fs::path& place : placesOfBrokerPlugin(wanted)) {
        if (::access(place.c_str(), R_OK) == 0) {
            return fs::absolute(place);
        }
        missing += (missing.empty() ? "'" : " or '") + place.string() + "'";
    }
    throw SandboxError("there is no broker plugin " + missing +
                       "; build xelpush_broker_plugin, or name it in XELPUSH_BROKER_PLUGIN");
}

}  // namespace

std::string makePasswordLine(const std::string& user, const std::string& password) {
    std::array<unsigned char, 12> salt{};
    std::array<unsigned char, 64> hash{};
    if (RAND_bytes(salt.data(), static_cast<int>(salt.size())) != 1 ||
        PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), salt.data(),
                          static_cast<int>(salt.size()), kIterations, EVP_sha512(),
                          static_cast<int>(hash.size()), hash.data()) != 1) {
        throw SandboxError("cannot hash a broker password: OpenSSL error");
    }
    return user + ":$7$" + std::to_string(kIterations) + "$" + toBase64(salt) + "$" + toBase64(hash) + "\n";
}

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
    // A port is free again as soon as it was found free, and may come up twice.
    do {
        configuration.tlsPort = claimPort(options.address, options.mqttTlsPort, "the broker (MQTT over TLS)");
    } while (configuration.tlsPort == configuration.plainPort && options.mqttTlsPort == 0);
    if (configuration.tlsPort == configuration.plainPort) {
        throw SandboxError("the broker's two ports must differ; both are " +
                           std::to_string(configuration.tlsPort));
    }
}

}  // namespace xel::sandbox
