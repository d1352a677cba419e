#pragma once

#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/integration/desktop/support/PrivateBus.h"

namespace xel::test {

/// A host that a bus starts when somebody calls its name, as a program of its own, with a home of its own.
class ActivatableHost {
public:
    /// Starts the bus anew, which knows the name from then on. The environment is added to what the desktop
    /// gives a host: the home, the bus, and by XELPUSH_BUS_NAME the name.
    ActivatableHost(PrivateBus& bus, const std::string& busName, const std::string& program,
                    std::map<std::string, std::string> environment);
    ActivatableHost(const ActivatableHost&) = delete;
    ActivatableHost& operator=(const ActivatableHost&) = delete;
    ~ActivatableHost();

    /// What the bus runs, and a test may.
    [[nodiscard]] std::vector<std::string> command() const { return {"/bin/sh", in("host.sh")}; }
    /// A path in its folder.
    [[nodiscard]] std::string in(const std::string& name) const { return folder_.path() + "/" + name; }
    [[nodiscard]] std::string home() const { return in("home"); }
    /// What its lives have printed so far.
    [[nodiscard]] std::string output() const;
    [[nodiscard]] std::string errors() const;

    /// The process of its last life; 0: there was none.
    [[nodiscard]] pid_t pid() const;
    /// Whether a process that others started runs. It ends in a zombie of theirs, if in any.
    [[nodiscard]] static bool isRunning(pid_t process);
    /// SIGKILL to its last life, if that lasts; returns when it has ended.
    void kill() const;

private:
    void writeScript(const std::string& program, const std::map<std::string, std::string>& environment) const;

    contract::TemporaryFolder folder_;
};

}  // namespace xel::test
