#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include <boost/asio/io_context.hpp>

namespace xel::sandbox {

class ProgressLog;

/// The broker as a child process: started with a configuration file, its words passed on to the log, stopped
/// and waited for.
///
/// The child is started by the thread of `loop`, which must outlive it: the kernel ends the child with that
/// thread (PR_SET_PDEATHSIG), however this process dies. The child is in a process group of its own, so that
/// a terminal's Ctrl-C reaches this process alone. Operations are called on any other thread than the loop's,
/// one at a time, and block.
class BrokerProcess {
public:
    /// Called on the loop's thread with the reason when the child ends without having been asked.
    using UnexpectedEnd = std::function<void(std::string reason)>;

    BrokerProcess(boost::asio::io_context& loop, ProgressLog& log, UnexpectedEnd onUnexpectedEnd);
    /// Stops the child.
    ~BrokerProcess();
    BrokerProcess(const BrokerProcess&) = delete;
    BrokerProcess& operator=(const BrokerProcess&) = delete;

    /// Starts `program` on `configurationFile`. Returns when the child runs, which does not yet mean that it
    /// listens. Throws SandboxError when it cannot be started.
    void start(const std::filesystem::path& program, const std::filesystem::path& configurationFile);

    /// Asks the child to end (SIGTERM), after five seconds makes it end (SIGKILL), and returns when it is
    /// gone.
    void stop();

    /// Why the child has ended since `start`; empty while it runs.
    [[nodiscard]] std::string endReason();

    /// The child's process id, 0 when there is none.
    [[nodiscard]] int pid();

private:
    class Child;

    boost::asio::io_context& loop_;
    ProgressLog& log_;
    UnexpectedEnd onUnexpectedEnd_;
    std::shared_ptr<Child> child_;
};

/// The broker's program: `wanted` when it is given, else mosquitto on the PATH or in /usr/sbin. Throws
/// SandboxError, naming the package to install, when it is not there.
std::filesystem::path findBrokerProgram(const std::filesystem::path& wanted);

}  // namespace xel::sandbox
