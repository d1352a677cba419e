#include "tests/integration/desktop/support/RealGeoClue.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>

#include <unistd.h>

namespace xel::test {

namespace fs = std::filesystem;

namespace {

constexpr const char* kGeoClue = "/usr/libexec/geoclue";
constexpr const char* kAgent = "/usr/libexec/geoclue-2.0/demos/agent";
constexpr const char* kWithOurConfiguration = R"(mount --bind "$1" /etc/geoclue && exec "$2" --timeout 600)";

std::map<std::string, std::string> environmentOf(const PrivateBus& bus) {
    return {{"DBUS_SYSTEM_BUS_ADDRESS", bus.address()},
            {"DBUS_SESSION_BUS_ADDRESS", bus.address()},
            {"G_MESSAGES_DEBUG", "all"}};
}

void writeGeoClueConfiguration(const std::string& folder) {
    fs::create_directory(folder + "/etc");
    std::ofstream file(folder + "/etc/geoclue.conf");
    file << "[agent]\nwhitelist=geoclue-demo-agent\n"
         << "[network-nmea]\nenable=true\nnmea-socket=" << folder << "/nmea\n";
    for (const auto* source : {"3g", "cdma", "modem-gps", "compass"}) {
        file << "[" << source << "]\nenable=false\n";
    }
    file << "[wifi]\nenable=false\nurl=\nsubmit-data=false\nsubmission-nick=geoclue\n";
    file << "[" << RealGeoClue::kAllowed << "]\nallowed=true\nsystem=false\nusers=\n"
         << "[" << RealGeoClue::kDenied << "]\nallowed=false\nsystem=false\nusers=\n";
}

}  // namespace

std::string RealGeoClue::whyMissing() {
    if (auto reason = PrivateBus::whyMissing(); !reason.empty()) {
        return reason;
    }
    for (const auto* program : {kGeoClue, kAgent}) {
        if (::access(program, X_OK) != 0) {
            return std::string(program) +
                   " is missing; scripts/install-packages installs it (package geoclue-2.0)";
        }
    }
    const contract::TemporaryFolder folder;
    const auto permitted = outputOf({programPath("unshare"), "--mount", "--net", "sh", "-c",
                                     "mount --bind \"$1\" /etc/geoclue && echo yes", "sh", folder.path()},
                                    folder.path() + "/log", {});
    return permitted.find("yes") != std::string::npos
               ? ""
               : "a mount namespace, in which geoclue has a configuration of the test's, is not permitted";
}

RealGeoClue::RealGeoClue(Agent agent) : receiver_(folder_.path() + "/nmea") {
    writeGeoClueConfiguration(folder_.path());
    geoclue_ = std::make_unique<TestProgram>(
        std::vector<std::string>{programPath("unshare"), "--mount", "--net", "sh", "-c",
                                 kWithOurConfiguration, "sh", folder_.path() + "/etc", kGeoClue},
        folder_.path() + "/geoclue.log", environmentOf(bus_));
    const auto isThere = [this] {
        return outputOf({programPath("dbus-send"), "--bus=" + bus_.address(), "--print-reply",
                         "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                         "org.freedesktop.DBus.NameHasOwner", "string:org.freedesktop.GeoClue2"},
                        folder_.path() + "/owner.log", {})
                   .find("boolean true") != std::string::npos;
    };
    if (!eventually(isThere)) {
        throw std::runtime_error("geoclue does not come up: " + log());
    }
    if (agent == Agent::Runs) {
        startAgent();
    }
}

void RealGeoClue::startAgent() {
    agent_ = std::make_unique<TestProgram>(std::vector<std::string>{kAgent}, folder_.path() + "/agent.log",
                                           environmentOf(bus_));
    if (!eventually([&] { return log().find("New agent for user ID") != std::string::npos; })) {
        throw std::runtime_error("the agent does not come up: " + agent_->output() + log());
    }
}

void RealGeoClue::stop() {
    geoclue_->stop();
}

}  // namespace xel::test
