#include "sandbox/state/Credentials.h"

#include <optional>
#include <utility>

#include "sandbox/process/SandboxError.h"
#include "sandbox/relay/Json.h"
#include "sandbox/relay/RandomText.h"
#include "sandbox/relay/Topics.h"
#include "sandbox/state/StateFolder.h"

namespace xel::sandbox {
namespace {

constexpr const char* kDefaultAppId = "xelpush-demo";
constexpr std::size_t kSecretBytes = 24;

Credentials makeCredentials() {
    return Credentials{.appId = kDefaultAppId,
                       .apiKey = makeRandomHex(kSecretBytes),
                       .brokerUser = "client-" + makeRandomHex(4),
                       .brokerPassword = makeRandomHex(kSecretBytes),
                       .serviceUser = "service-" + makeRandomHex(4),
                       .servicePassword = makeRandomHex(kSecretBytes)};
}

void save(const StateFolder& folder, const Credentials& credentials) {
    const Json object{{"appId", credentials.appId},
                      {"apiKey", credentials.apiKey},
                      {"brokerUser", credentials.brokerUser},
                      {"brokerPassword", credentials.brokerPassword},
                      {"serviceUser", credentials.serviceUser},
                      {"servicePassword", credentials.servicePassword}};
    writePrivateFile(credentialsFile(folder), object.dump(4) + "\n");
}

std::string readField(const Json& object, const char* key, const StateFolder& folder) {
    std::optional<std::string> text = findText(object, key);
    if (!text || text->empty()) {
        throw SandboxError("'" + credentialsFile(folder).string() + "' has no '" + key +
                           "'; remove the file to get new credentials");
    }
    return std::move(*text);
}

}  // namespace

std::filesystem::path credentialsFile(const StateFolder& folder) {
    return folder.file("credentials.json");
}

LoadedCredentials loadOrCreateCredentials(const StateFolder& folder, const std::string& appId) {
    if (!appId.empty() && !isTopicSegment(appId)) {
        throw SandboxError("the application id '" + appId +
                           "' cannot be part of a topic: no '/', '+' or '#'");
    }
    LoadedCredentials loaded;
    if (const std::optional<std::string> text = readWholeFile(credentialsFile(folder))) {
        const std::optional<Json> object = parseJsonObject(*text);
        if (!object) {
            throw SandboxError("'" + credentialsFile(folder).string() +
                               "' is damaged; remove it to get new credentials");
        }
        loaded.credentials = Credentials{.appId = readField(*object, "appId", folder),
                                         .apiKey = readField(*object, "apiKey", folder),
                                         .brokerUser = readField(*object, "brokerUser", folder),
                                         .brokerPassword = readField(*object, "brokerPassword", folder),
                                         .serviceUser = readField(*object, "serviceUser", folder),
                                         .servicePassword = readField(*object, "servicePassword", folder)};
        if (appId.empty() || appId == loaded.credentials.appId) {
            return loaded;
        }
    } else {
        loaded.credentials = makeCredentials();
        loaded.areNew = true;
    }
    if (!appId.empty()) {
        loaded.credentials.appId = appId;
    }
    save(folder, loaded.credentials);
    return loaded;
}

}  // namespace xel::sandbox
