#pragma once

#include <span>
#include <string_view>

namespace xel {

/// Octets that no client may take from a broker in the middle of a connection, by a name that says what
/// is wrong.
struct MalformedPacket {
    std::string_view name;
    std::string_view octets;
};

/// Each kind of malformed, oversized or misplaced packet (MQTT 3.1.1 sections 2 and 3).
[[nodiscard]] std::span<const MalformedPacket> malformedPackets();

/// Null when none is called that.
[[nodiscard]] const MalformedPacket* malformedPacketNamed(std::string_view name);

}  // namespace xel
