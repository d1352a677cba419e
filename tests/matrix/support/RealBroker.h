#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/contract/Stream/TestCertificates.h"

namespace xel::matrix {

/// A broker of another make, Debian's mosquitto, as a child process on a port of the loopback that
/// stays the same over its restarts. It ends with the object.
class RealBroker {
public:
    struct Options {
        /// Further lines of its configuration.
        std::vector<std::string> lines{};
        /// What it shows by TLS; without one it speaks plainly.
        std::vector<contract::TestCertificate> certificate{};
        bool keepsSessions = true;
    };

    RealBroker() : RealBroker(Options()) {}
    explicit RealBroker(Options options);
    ~RealBroker();
    RealBroker(const RealBroker&) = delete;
    RealBroker& operator=(const RealBroker&) = delete;

    [[nodiscard]] std::uint16_t port() const { return port_; }
    [[nodiscard]] std::string folder() const { return folder_.path(); }

    /// Returns when it listens.
    void start();
    /// It writes its sessions down and ends.
    void end() { endBy(15); }
    void kill() { endBy(9); }
    /// It takes connections and octets in, by its kernel, and answers nothing.
    void suspend();
    void resume();
    /// For the next start.
    void setLines(std::vector<std::string> lines) { options_.lines = std::move(lines); }
    void setCertificate(contract::TestCertificate certificate) {
        options_.certificate = {std::move(certificate)};
    }
    void forgetSessions();

private:
    void endBy(int signal);
    void configure() const;

    contract::TemporaryFolder folder_;
    Options options_;
    std::uint16_t port_;
    pid_t pid_ = -1;
    int output_ = -1;
};

}  // namespace xel::matrix
