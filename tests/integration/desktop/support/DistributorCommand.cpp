#include "tests/integration/desktop/support/DistributorCommand.h"

#include <filesystem>
#include <stdexcept>
#include <utility>

namespace xel::test {

DistributorCommand::DistributorCommand(std::string busAddress) : busAddress_(std::move(busAddress)) {
    start();
}

void DistributorCommand::start() {
    const std::string log = folder_.path() + "/log";
    std::filesystem::remove(log);  // the former one says that it is ready
    program_ = std::make_unique<TestProgram>(
        std::vector<std::string>{XELPUSH_COMMAND_PATH, "distributor", "--state-folder", stateFolder()}, log,
        std::map<std::string, std::string>{{"DBUS_SESSION_BUS_ADDRESS", busAddress_}});
    if (!logs("ready: ")) {
        throw std::runtime_error("the distributor does not come up: " + output());
    }
}

}  // namespace xel::test
