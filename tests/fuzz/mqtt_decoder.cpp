// The decoder on what a broker, or somebody in its place, may send: it reads nothing beyond the input, finds
// the same octet by octet as in one piece, and reads a publication as it was written.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/MQTTSDK/MQTTDecoder.h"
#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"

namespace {

using xel::MQTTDecoder;
using xel::MQTTDecoding;
using xel::MQTTInboundPacket;
using xel::MQTTPacketType;

constexpr std::size_t kLimit = 4096;

void require(bool isTrue) {
    if (!isTrue) {
        std::abort();
    }
}

bool isWithin(std::string_view part, std::string_view whole) {
    return part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size();
}

// A publication that was read, written again, is the octets that it was read from but for the duplicate flag
// and a remaining length in more octets than it needs.
void checkPublication(const MQTTInboundPacket& packet, std::string_view octets) {
    require(isWithin(packet.topic, octets) && isWithin(packet.payload, octets));
    require(xel::isValidTopicName(packet.topic));
    require((packet.qos == 0) == (packet.packetId == 0) && packet.qos <= 1);
    std::string again;
    xel::appendPublish(again, packet.topic, packet.payload, packet.packetId, packet.retained);
    require(again.size() <= octets.size());
    const std::size_t header = again.size() - packet.payload.size() - packet.topic.size();
    const auto tail = again.substr(header > 5 ? 5 : header);
    require(octets.ends_with(tail));
}

struct Reading {
    std::size_t packets = 0;
    std::size_t taken = 0;
    std::string_view fault;
};

Reading readWhole(std::string_view input) {
    MQTTDecoder decoder(kLimit);
    MQTTInboundPacket packet;
    Reading reading;
    const std::size_t size = input.size();
    for (;;) {
        const std::string_view before = input;
        const MQTTDecoding decoding = decoder.decode(input, packet);
        if (decoding != MQTTDecoding::Complete) {
            require(input == before);
            reading.taken = size - input.size();
            if (decoding == MQTTDecoding::Malformed) {
                reading.fault = decoder.fault();
                require(!reading.fault.empty());
            }
            return reading;
        }
        ++reading.packets;
        const std::string_view octets = before.substr(0, before.size() - input.size());
        require(octets.size() >= 2 && octets.size() <= kLimit);
        if (packet.type == MQTTPacketType::Publish) {
            checkPublication(packet, octets);
        } else if (packet.type == MQTTPacketType::Suback) {
            require(!packet.returnCodes.empty() && packet.packetId != 0);
        }
    }
}

Reading readOctetByOctet(std::string_view input) {
    MQTTDecoder decoder(kLimit);
    MQTTInboundPacket packet;
    Reading reading;
    std::vector<char> arrived;
    for (const char octet : input) {
        arrived.push_back(octet);
        // An exact copy, so that a look beyond it is noticed.
        const std::vector<char> exact(arrived.begin(), arrived.end());
        std::string_view view(exact.data(), exact.size());
        switch (decoder.decode(view, packet)) {
            case MQTTDecoding::Complete:
                require(view.empty());
                ++reading.packets;
                reading.taken += arrived.size();
                arrived.clear();
                break;
            case MQTTDecoding::Malformed: reading.fault = decoder.fault(); return reading;
            case MQTTDecoding::Incomplete: require(arrived.size() < kLimit); break;
        }
    }
    return reading;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const Reading whole = readWhole(input);
    const Reading single = readOctetByOctet(input);
    require(whole.packets == single.packets && whole.taken == single.taken && whole.fault == single.fault);
    return 0;
}
