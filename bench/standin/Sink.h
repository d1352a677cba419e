#pragma once

#include <bitset>
#include <cstdint>
#include <deque>
#include <string>

namespace xel::bench {

/// Takes a client's publications and leaves the newest `withhold` QoS 1 ones unacknowledged: the oldest is
/// acknowledged as soon as there is one more. A client that keeps publishing thus does so with `withhold`
/// publications in flight, all the time.
class Sink {
public:
    explicit Sink(std::uint64_t withhold) : withhold_(withhold) {}

    /// `flags` and `body` of one PUBLISH; PUBACKs that fall due are appended to `out`. Throws
    /// std::runtime_error for a malformed one and for a packet id that is still in flight.
    void take(std::uint8_t flags, std::string_view body, std::string& out);

    std::uint64_t received() const { return received_; }
    std::uint64_t unacknowledged() const { return waiting_.size(); }
    std::uint64_t mostUnacknowledged() const { return most_; }

private:
    std::uint64_t withhold_;
    std::deque<std::uint16_t> waiting_;
    std::bitset<65536> inFlight_;
    std::uint64_t received_ = 0;
    std::uint64_t most_ = 0;
};

}  // namespace xel::bench
