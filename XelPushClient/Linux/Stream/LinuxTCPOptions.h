#pragma once

#include <chrono>
#include <cstdint>

namespace xel {

/// How the kernel finds out that the broker, or the way to it, has gone without a word: a machine that lost
/// its power, a cable, a router that forgot the connection.
///
/// With the defaults a dead connection is noticed within 90 s, idle or not; the session's own keep-alive of
/// 180 s would take over three minutes. Probes are sent only while nothing else arrives: at most one in 45 s,
/// about 2,000 a day, each an empty packet in either direction. By cable or Wi-Fi that costs nothing. A
/// mobile radio, however, stays awake for about ten seconds after each packet, which makes a fifth of the
/// day. A host that runs on a battery behind such a radio should choose longer times, such as 240 s, or none,
/// and will notice a dead connection that much later. Times beyond what routers remember an idle connection
/// for (often five minutes, less on mobile networks) let them forget it.
struct LinuxTCPOptions {
    /// Without an octet from the broker for so long, the first probe is sent. 0: none ever.
    std::chrono::seconds keepAliveIdle{45};
    /// From one probe without an answer to the next, and how many there are.
    std::chrono::seconds keepAliveInterval{15};
    int keepAliveProbes = 3;
    /// The connection is lost when what was sent, probes included, has had no answer for so long, or the
    /// broker takes nothing for so long. 0: as the system has it, about a quarter of an hour for data.
    std::chrono::milliseconds userTimeout{75'000};
};

/// How fast the clients of a machine may open their connections to the broker: thousands that have lost it at
/// once would keep it from coming back. Whoever comes too soon waits for its turn, in the order in which they
/// asked; the time that a connection may take begins with its turn. Between turns the time varies by half, so
/// that several machines fall apart. With the defaults a process of up to a hundred clients never waits, and
/// ten thousand are through in 20 s.
struct LinuxConnectionPace {
    /// Connections opened in a second, on average. 0: as fast as the clients ask.
    std::uint32_t perSecond = 500;
    /// So many may open theirs at once, when none has for a while. 0 counts as 1.
    std::uint32_t atOnce = 100;
};

}  // namespace xel
