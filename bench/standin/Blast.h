#pragma once

#include <bitset>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bench/common/Instants.h"

namespace xel::bench {

struct BlastOptions {
    std::string topic;
    std::uint64_t count = 0;
    std::uint64_t inFlight = 65535;         ///< how many publications may be unacknowledged at once
    std::chrono::microseconds interval{0};  ///< one message each; 0 sends as fast as the socket takes them
    std::uint64_t firstIndex = 0;  ///< of the sample messages: a store of an earlier run knows their ids
    std::size_t payloadBytes = 0;  ///< exactly that many; 0: the sample as it is, close to 300
    std::string departures{};      ///< the file of the instants of sending; empty: none are taken
};

/// The publications of a receiving run, encoded before the client connects, so that sending costs the
/// stand-in almost nothing and never becomes the bottleneck. Packet ids cycle through 1 to 65535.
class Blast {
public:
    using Clock = std::chrono::steady_clock;

    explicit Blast(BlastOptions options);

    std::uint64_t checksum() const { return checksum_; }

    void start(Clock::time_point now);
    bool started() const { return started_; }

    /// The next whole packets that may go out now, at most about 256 KiB; empty when nothing may.
    std::string_view take(Clock::time_point now);
    /// How long until the next message falls due; zero when time is not what the blast waits for.
    std::chrono::nanoseconds untilNext(Clock::time_point now) const;

    /// Throws std::runtime_error for a packet id that is not in flight.
    void acknowledge(std::uint16_t packetId, Clock::time_point now);
    bool complete() const { return acknowledged_ == options_.count; }

    std::uint64_t sent() const { return next_; }
    std::uint64_t acknowledged() const { return acknowledged_; }
    /// From the first byte to the last acknowledgement.
    double seconds() const;
    void writeDepartures() const { departures_.write(); }

private:
    std::uint64_t allowedEnd(Clock::time_point now) const;

    BlastOptions options_;
    std::string bytes_;
    std::vector<std::size_t> ends_;  // where packet i ends in bytes_
    std::uint64_t checksum_ = 0;
    std::bitset<65536> inFlight_;
    std::uint64_t next_ = 0;
    std::uint64_t oldest_ = 0;  // every message before this one is acknowledged
    std::uint64_t acknowledged_ = 0;
    bool started_ = false;
    Clock::time_point startedAt_;
    Clock::time_point finishedAt_;
    Instants departures_;
};

}  // namespace xel::bench
