#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace xel::bench {

/// What a process with very many clients holds and has used, at its stations one after the other.
class GatewayFigures {
public:
    /// The machine and the store are open, and there is no client yet.
    GatewayFigures();

    void didOpen() { opened_ = now(); }
    void didConnect() { connected_ = now(); }
    /// What connecting has begun is over.
    void didSettle();
    void willFanOut();
    void didFanOut();
    /// What the fan-out has begun is over.
    void didSettleAgain();

    /// One line of JSON. Everything "per client" is without what the process held before it had any.
    [[nodiscard]] std::string describe(std::size_t clients) const;

private:
    struct Instant {
        std::chrono::steady_clock::time_point time;
        double cpuMicroseconds = 0;
    };
    struct Holding {
        std::uint64_t ownKilobytes = 0;
        std::size_t descriptors = 0;
        std::uint64_t threads = 0;
    };

    static Instant now();
    static Holding held();

    Holding before_;
    Holding idle_;
    Holding after_;
    Instant began_;
    Instant opened_;
    Instant connected_;
    Instant fanOutBegan_;
    Instant fanOutEnded_;
    double fanOutCpu_ = 0;
};

}  // namespace xel::bench
