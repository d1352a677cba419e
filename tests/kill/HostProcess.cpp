#include "tests/kill/HostProcess.h"

#include <stdexcept>
#include <utility>
#include <vector>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace xel::killtest {
namespace {

/// This process's environment and what the host needs of the service: credentials go by environment, not by
/// argument.
std::vector<std::string> environmentFor(const xel::sandbox::SandboxInfo& info) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        variables.emplace_back(*variable);
    }
    variables.push_back("XELPUSH_APP_ID=" + info.appId);
    variables.push_back("XELPUSH_API_KEY=" + info.apiKey);
    variables.push_back("XELPUSH_BROKER_USER=" + info.brokerUser);
    variables.push_back("XELPUSH_BROKER_PASSWORD=" + info.brokerPassword);
    variables.push_back("XELPUSH_LOCAL_BROKER_PORT=" + std::to_string(info.mqttPort));
    variables.push_back("XELPUSH_LOCAL_BROKER_SSL_PORT=" + std::to_string(info.mqttTlsPort));
    variables.push_back("XELPUSH_LOCAL_REST_SSL_URL=" + info.restUrl);
    return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (auto& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

HostProcess::HostProcess(const Command& command) {
    std::vector<std::string> arguments = {command.program, command.way, command.home.string(),
                                          command.notes.string(), command.info.caFile.string()};
    auto variables = environmentFor(command.info);
    const int code = ::posix_spawn(&pid_, command.program.c_str(), nullptr, nullptr,
                                   pointersTo(arguments).data(), pointersTo(variables).data());
    if (code != 0) {
        throw std::runtime_error("cannot start " + command.program);
    }
}

HostProcess::~HostProcess() {
    kill();
}

bool HostProcess::isRunning() {
    if (pid_ != 0 && ::waitpid(pid_, nullptr, WNOHANG) == pid_) {
        pid_ = 0;
    }
    return pid_ != 0;
}

void HostProcess::kill() {
    if (const int pid = std::exchange(pid_, 0); pid != 0) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
}

}  // namespace xel::killtest
