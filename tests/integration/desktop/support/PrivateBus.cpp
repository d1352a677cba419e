#include "tests/integration/desktop/support/PrivateBus.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace xel::test {

namespace fs = std::filesystem;

namespace {

constexpr const char* kDaemon = "dbus-daemon";

void writeBusConfiguration(const std::string& folder) {
    std::ofstream(folder + "/bus.conf")
        << R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=)"
        << folder << R"(/bus</listen>
  <servicedir>)"
        << folder << R"(/services</servicedir>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";
}

}  // namespace

std::string PrivateBus::whyMissing() {
    return programPath(kDaemon).empty()
               ? "dbus-daemon is missing; scripts/install-packages installs it (package dbus)"
               : "";
}

PrivateBus::PrivateBus() {
    fs::create_directory(folder_.path() + "/services");
    writeBusConfiguration(folder_.path());
    start();
}

void PrivateBus::start() {
    fs::remove(folder_.path() + "/bus");
    const std::string ready = folder_.path() + "/bus.log";
    fs::remove(ready);
    daemon_ = std::make_unique<TestProgram>(
        std::vector<std::string>{programPath(kDaemon), "--config-file=" + folder_.path() + "/bus.conf",
                                 "--nofork", "--nopidfile", "--print-address=1"},
        ready);
    // It prints its address once it listens.
    if (!eventually([&] { return daemon_->output().find("unix:path=") != std::string::npos; })) {
        throw std::runtime_error("dbus-daemon does not come up: " + daemon_->output());
    }
}

void PrivateBus::crash() {
    ::kill(daemon_->pid(), SIGKILL);
    stop();
}

void PrivateBus::addService(const std::string& name, const std::string& command) const {
    std::ofstream(folder_.path() + "/services/" + name + ".service")
        << "[D-BUS Service]\nName=" << name << "\nExec=" << command << "\n";
}

void PrivateBus::stop() {
    daemon_->stop();
}

}  // namespace xel::test
