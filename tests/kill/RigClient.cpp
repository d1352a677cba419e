#include "tests/kill/RigClient.h"

#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace xel::rig {
namespace {

LinuxOptions optionsIn(const std::string& stateFolder, const std::string& caFile) {
    PushClientManager::setDevelopment(true);
    LinuxOptions options;
    options.stateFolder = stateFolder;
    options.documentsFolder = stateFolder + "/documents";
    options.caFile = caFile;
    return options;
}

Home openHome(const LinuxOptions& options, const Machine& machine) {
    auto home = openLinuxHome(options, machine);
    if (!home) {
        throw std::runtime_error(home.error().localizedDescription());
    }
    return std::move(home).value();
}

std::string fromEnvironment(const char* name) {
    const char* const value = std::getenv(name);
    if (value == nullptr) {
        throw std::invalid_argument(std::string(name) + " is not set");
    }
    return value;
}

}  // namespace

RigClient::RigClient(const std::string& stateFolder, const std::string& caFile)
    : RigClient(optionsIn(stateFolder, caFile)) {}

RigClient::RigClient(const LinuxOptions& options)
    : machine_(makeLinuxMachine(options)), push_(machine_, openHome(options, machine_)) {}

void RigClient::registerApplication() {
    push_.registerApplication(fromEnvironment("XELPUSH_APP_ID"), fromEnvironment("XELPUSH_API_KEY"),
                              fromEnvironment("XELPUSH_BROKER_USER"),
                              fromEnvironment("XELPUSH_BROKER_PASSWORD"));
}

void RigClient::connect(const std::string& userId) {
    if (push_.deviceId()) {
        push_.connectToServer();
    } else {
        push_.registerUser(userId);
    }
}

}  // namespace xel::rig
