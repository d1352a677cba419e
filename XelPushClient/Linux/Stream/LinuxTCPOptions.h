#pragma once

#include <chrono>

namespace xel {

/// How the kernel finds out that the broker, or the way to it, has gone without a word: a machine that lost
/// its power, a cable, a router that forgot the connection.
///
/// As they are, a connection is lost within 90 s of that, whether idle or with something to send; the
/// session's own keep-alive of 180 s would take over three minutes. Probes go out only while nothing else
/// arrives, at most one in 45 s, some 2,000 a day, each an empty packet there and one back. That is nothing
/// by cable or Wi-Fi. A mobile radio, though, stays awake for about ten seconds after each packet, and so for
/// a fifth of the day; a host on a battery behind one takes longer times, such as 240 s, or none, and hears
/// of a dead connection as much later. Times that are longer than a router's memory of an idle connection
/// (often five minutes, on mobile networks less) let it forget the connection.
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

}  // namespace xel
