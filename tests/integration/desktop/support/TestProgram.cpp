#include "tests/integration/desktop/support/TestProgram.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <sys/wait.h>
#include <unistd.h>

#include "sandbox/process/ChildProcess.h"

namespace xel::test {

namespace fs = std::filesystem;

namespace {

constexpr const char* kRunWithLog = R"(log=$1; shift; exec "$@" >"$log" 2>&1)";

pid_t startWithLog(const std::vector<std::string>& command, const fs::path& log,
                   const std::map<std::string, std::string>& environment) {
    std::vector<std::string> arguments{"/bin/sh", "-c", kRunWithLog, "sh", log.string(), "/usr/bin/env"};
    for (const auto& [name, value] : environment) {
        arguments.push_back(name + "=" + value);
    }
    arguments.insert(arguments.end(), command.begin(), command.end());
    const auto child = sandbox::startChild(arguments);
    ::close(child.output);
    return child.pid;
}

}  // namespace

TestProgram::TestProgram(const std::vector<std::string>& command, const fs::path& log,
                         const std::map<std::string, std::string>& environment)
    : log_(log), pid_(startWithLog(command, log, environment)) {}

TestProgram::~TestProgram() {
    stop();
}

void TestProgram::stop() {
    if (pid_ < 0) {
        return;
    }
    ::kill(pid_, SIGTERM);
    if (!eventually([this] { return !isRunning(); })) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
}

bool TestProgram::isRunning() {
    if (pid_ > 0 && ::waitpid(pid_, nullptr, WNOHANG) == pid_) {
        pid_ = -1;
    }
    return pid_ > 0;
}

std::string TestProgram::output() const {
    std::ostringstream text;
    text << std::ifstream(log_).rdbuf();
    return text.str();
}

std::string programPath(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        const auto program = folder + "/" + name;
        if (::access(program.c_str(), X_OK) == 0) {
            return program;
        }
    }
    return {};
}

std::string outputOf(const std::vector<std::string>& command, const fs::path& log,
                     const std::map<std::string, std::string>& environment) {
    const pid_t pid = startWithLog(command, log, environment);
    int status = 0;
    ::waitpid(pid, &status, 0);
    std::ostringstream text;
    text << std::ifstream(log).rdbuf();
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? text.str() : std::string();
}

}  // namespace xel::test
