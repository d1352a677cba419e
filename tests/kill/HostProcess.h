#pragma once

#include <filesystem>
#include <string>

#include "sandbox/state/SandboxInfo.h"

namespace xel::killtest {

/// One life of the host: begins with the object, ends with SIGKILL, also in the destructor.
class HostProcess {
public:
    struct Command {
        std::string program;
        std::string way;
        std::filesystem::path home;
        std::filesystem::path notes;
        const xel::sandbox::SandboxInfo& info;
    };

    explicit HostProcess(const Command& command);
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;
    ~HostProcess();

    [[nodiscard]] bool isRunning();
    [[nodiscard]] int pid() const { return pid_; }
    /// Returns when the process is gone.
    void kill();

private:
    int pid_ = 0;
};

}  // namespace xel::killtest
