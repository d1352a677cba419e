#include "sandbox/state/SandboxInfo.h"

#include <optional>

#include "sandbox/process/SandboxError.h"
#include "sandbox/relay/Json.h"
#include "sandbox/state/StateFolder.h"

namespace xel::sandbox {

void writeSandboxInfo(const SandboxInfo& info) {
    const Json object{{"appId", info.appId},
                      {"apiKey", info.apiKey},
                      {"brokerUser", info.brokerUser},
                      {"brokerPassword", info.brokerPassword},
                      {"address", info.address},
                      {"mqttPort", info.mqttPort},
                      {"mqttTlsPort", info.mqttTlsPort},
                      {"restPort", info.restPort},
                      {"restUrl", info.restUrl},
                      {"caFile", info.caFile.string()},
                      {"stateFolder", info.stateFolder.string()},
                      {"pid", info.pid}};
    writePrivateFile(info.stateFolder / kSandboxInfoFile, object.dump(4) + "\n");
}

SandboxInfo readSandboxInfo(const std::filesystem::path& stateFolder) {
    const std::filesystem::path file = stateFolder / kSandboxInfoFile;
    const std::optional<std::string> text = readWholeFile(file);
    if (!text) {
        throw SandboxError("no local push service runs on '" + stateFolder.string() +
                           "'; start one with: xelpush sandbox");
    }
    const std::optional<Json> object = parseJsonObject(*text);
    if (!object) {
        throw SandboxError("'" + file.string() + "' is damaged; start the local push service anew");
    }
    try {
        return SandboxInfo{.appId = object->at("appId"),
                           .apiKey = object->at("apiKey"),
                           .brokerUser = object->at("brokerUser"),
                           .brokerPassword = object->at("brokerPassword"),
                           .address = object->at("address"),
                           .mqttPort = object->at("mqttPort"),
                           .mqttTlsPort = object->at("mqttTlsPort"),
                           .restPort = object->at("restPort"),
                           .restUrl = object->at("restUrl"),
                           .caFile = object->at("caFile").get<std::string>(),
                           .stateFolder = object->at("stateFolder").get<std::string>(),
                           .pid = object->at("pid")};
    } catch (const Json::exception&) {
        throw SandboxError("'" + file.string() + "' is damaged; start the local push service anew");
    }
}

}  // namespace xel::sandbox
