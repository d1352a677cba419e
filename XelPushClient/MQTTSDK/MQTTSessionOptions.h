#pragma once

#include <chrono>
#include <cstddef>

namespace xel {

/// Limits and deadlines of the sessions that a factory makes.
struct MQTTSessionOptions {
    /// The largest packet in octets, fixed header included. A larger one from the broker is a protocol error,
    /// a larger publication is refused.
    std::size_t maxPacketSize = std::size_t{1024} * 1024;

    /// From `connectToHost` to CONNACK: name look-up, TCP, TLS and the broker's answer together.
    std::chrono::milliseconds connectDeadline{30'000};

    /// From PINGREQ to PINGRESP; never longer than the keep-alive.
    std::chrono::milliseconds pingResponseDeadline{20'000};

    /// When the broker owes an answer and has sent nothing at all for so long, PINGREQ asks whether it is
    /// still there.
    std::chrono::milliseconds longestSilence{30'000};

    /// Whatever was sent alone and made the broker end three connections in a row is set aside and tried
    /// again after the first of these times, which doubles up to the second. It is given up after five tries
    /// that ended the connection while the broker accepted others.
    std::chrono::milliseconds firstRetry{60'000};
    std::chrono::milliseconds longestRetry{3'600'000};

    /// The most that the outbox holds; a publication beyond either limit is refused.
    std::size_t maxOutboxPublications = 50'000;
    /// Counted in octets of the PUBLISH packets.
    std::size_t maxOutboxOctets = std::size_t{64} * 1024 * 1024;
};

}  // namespace xel
