#include "XelPushClient/Testing/Broker/MalformedPackets.h"

#include <algorithm>
#include <array>

namespace xel {

using namespace std::string_view_literals;  // for the zeros in them

std::span<const MalformedPacket> malformedPackets() {
    static constexpr auto kPackets = std::to_array<MalformedPacket>({
        {"reserved-type-0", "\x00\x00"sv},
        {"reserved-type-15", "\xF0\x00"sv},
        {"packet-of-a-client", "\xC0\x00"sv},
        {"release-of-qos-2", "\x62\x02\x00\x01"sv},
        {"flags-of-a-header", "\xD1\x00"sv},
        {"length-of-five-octets", "\x30\xFF\xFF\xFF\xFF\x01"sv},
        {"length-of-256-MiB", "\x30\xFF\xFF\xFF\x7F"sv},
        {"second-connack", "\x20\x02\x00\x00"sv},
        {"flags-of-a-connack", "\x20\x02\x02\x00"sv},
        {"publication-of-qos-2", "\x34\x05\x00\x01t\x00\x01"sv},
        {"publication-of-qos-3", "\x36\x05\x00\x01t\x00\x01"sv},
        {"duplicate-of-qos-0", "\x38\x03\x00\x01t"sv},
        {"topic-missing", "\x30\x00"sv},
        {"topic-empty", "\x30\x03\x00\x00p"sv},
        {"topic-of-a-filter", "\x30\x03\x00\x01#"sv},
        {"topic-with-a-null", "\x30\x03\x00\x01\x00"sv},
        {"topic-not-utf-8", "\x30\x03\x00\x01\xFF"sv},
        {"topic-beyond-its-packet", "\x30\x03\x00\x05t"sv},
        {"publication-with-id-0", "\x32\x05\x00\x01t\x00\x00"sv},
        {"publication-without-id", "\x32\x03\x00\x01t"sv},
        {"puback-too-short", "\x40\x01\x00"sv},
        {"puback-with-id-0", "\x40\x02\x00\x00"sv},
        {"suback-without-codes", "\x90\x02\x00\x01"sv},
        {"suback-with-a-reserved-code", "\x90\x03\x00\x01\x05"sv},
        {"unsuback-too-long", "\xB0\x03\x00\x01\x00"sv},
        {"pingresp-with-a-body", "\xD0\x01\x00"sv},
    });
    return kPackets;
}

const MalformedPacket* malformedPacketNamed(std::string_view name) {
    const auto packets = malformedPackets();
    const auto at = std::find_if(packets.begin(), packets.end(),
                                 [&](const MalformedPacket& packet) { return packet.name == name; });
    return at == packets.end() ? nullptr : &*at;
}

}  // namespace xel
