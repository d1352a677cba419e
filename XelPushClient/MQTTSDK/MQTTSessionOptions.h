#pragma once

#include <chrono>
#include <cstddef>

namespace xel {

/// Limits and deadlines of the sessions that a factory makes.
struct MQTTSessionOptions {
    /// The most octets of one packet, fixed header included: a greater one from the broker is a protocol
    /// error, a greater publication of the host's is refused.
    std::size_t maxPacketSize = std::size_t{1024} * 1024;

    /// From `connectToHost` to CONNACK: name look-up, TCP, TLS and the broker's answer together.
    std::chrono::milliseconds connectDeadline{30'000};

    /// From PINGREQ to PINGRESP; never longer than the keep-alive.
    std::chrono::milliseconds pingResponseDeadline{20'000};

    /// While the broker owes an answer and sends nothing at all for so long, PINGREQ asks whether it is
    /// there.
    std::chrono::milliseconds longestSilence{30'000};

    /// What the broker ended three connections in a row on, each time alone, is set aside and tried again
    /// after the first of these times, which then doubles up to the second. After five tries that ended the
    /// connection while the broker took others, it is given up.
    std::chrono::milliseconds firstRetry{60'000};
    std::chrono::milliseconds longestRetry{3'600'000};

    /// What the outbox holds at most; one publication beyond either is refused.
    std::size_t maxOutboxPublications = 50'000;
    /// Counted in octets of the PUBLISH packets.
    std::size_t maxOutboxOctets = std::size_t{64} * 1024 * 1024;
};

}  // namespace xel
