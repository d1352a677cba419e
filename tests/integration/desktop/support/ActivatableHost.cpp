#include "tests/integration/desktop/support/ActivatableHost.h"

#include <csignal>
#include <fstream>
#include <utility>

#include <gtest/gtest.h>

#include "tests/contract/Store/FileContents.h"
#include "tests/integration/desktop/support/TestProgram.h"

namespace xel::test {

ActivatableHost::ActivatableHost(PrivateBus& bus, const std::string& busName, const std::string& program,
                                 std::map<std::string, std::string> environment) {
    environment["HOME"] = home();
    environment["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
    environment["XELPUSH_BUS_NAME"] = busName;
    writeScript(program, environment);
    bus.stop();
    bus.addService(busName, "/bin/sh " + in("host.sh"));
    bus.start();
}

ActivatableHost::~ActivatableHost() {
    kill();
}

// It notes its process id, and what it prints goes into files.
void ActivatableHost::writeScript(const std::string& program,
                                  const std::map<std::string, std::string>& environment) const {
    std::ofstream text(in("host.sh"));
    text << "unset XDG_STATE_HOME XDG_DATA_HOME XDG_CACHE_HOME XDG_CONFIG_HOME UNIFIEDPUSH_DISTRIBUTOR\n";
    for (const auto& [name, value] : environment) {
        text << "export " << name << "='" << value << "'\n";
    }
    text << "echo $$ > " << in("pid") << "\n"
         << "exec " << program << " >> " << in("output") << " 2>> " << in("errors") << "\n";
}

std::string ActivatableHost::output() const {
    return contract::contentsOf(in("output")).value_or("");
}

std::string ActivatableHost::errors() const {
    return contract::contentsOf(in("errors")).value_or("");
}

pid_t ActivatableHost::pid() const {
    pid_t number = 0;
    std::ifstream(in("pid")) >> number;
    return number;
}

bool ActivatableHost::isRunning(pid_t process) {
    const std::string state = contract::contentsOf("/proc/" + std::to_string(process) + "/stat").value_or("");
    return !state.empty() && state.find(") Z ") == std::string::npos;
}

void ActivatableHost::kill() const {
    if (const pid_t process = pid(); process > 0 && isRunning(process)) {
        ::kill(process, SIGKILL);
        EXPECT_TRUE(eventually([&] { return !isRunning(process); }));
    }
}

}  // namespace xel::test
