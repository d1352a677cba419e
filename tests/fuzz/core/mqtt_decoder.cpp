// The decoder on what a broker, or somebody in its place, may send: it reads nothing beyond the input,
// finds the same octet by octet as in one piece, takes a packet exactly when the standard lets a broker
// send it, and reads from it what was written.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/MQTTSDK/MQTTDecoder.h"
#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "tests/fuzz/support/Require.h"

namespace {

using xel::MQTTDecoder;
using xel::MQTTDecoding;
using xel::MQTTInboundPacket;
using xel::MQTTPacketType;
using xel::fuzz::require;

constexpr std::size_t kLimit = 4096;

unsigned octetAt(std::string_view octets, std::size_t index) {
    return static_cast<unsigned char>(octets[index]);
}

std::size_t numberAt(std::string_view octets, std::size_t index) {
    return octetAt(octets, index) * 256U + octetAt(octets, index + 1);
}

/// The fixed header (MQTT 3.1.1 section 2.2), read once more, without the decoder.
struct Frame {
    unsigned first = 0;
    std::size_t headerSize = 0;
    std::size_t bodySize = 0;
    bool isWhole = false;  ///< the header is there, and the body
};

Frame frameOf(std::string_view octets) {
    Frame frame;
    std::size_t multiplier = 1;
    for (std::size_t i = 1; i < octets.size() && i <= 4; ++i, multiplier *= 128) {
        frame.bodySize += (octetAt(octets, i) % 128) * multiplier;
        if (octetAt(octets, i) < 128) {
            frame.first = octetAt(octets, 0);
            frame.headerSize = i + 1;
            frame.isWhole = octets.size() - frame.headerSize >= frame.bodySize;
            return frame;
        }
    }
    return frame;
}

bool isTopicName(std::string_view text) {
    const auto isForbidden = [](char octet) { return octet == '\0' || octet == '+' || octet == '#'; };
    return !text.empty() && xel::isValidUTF8(text) && std::none_of(text.begin(), text.end(), isForbidden);
}

bool mayBePublish(unsigned flags, std::string_view body) {
    const unsigned qos = flags / 2 % 4;
    const bool isDuplicate = flags >= 8;
    if (qos > 1 || (qos == 0 && isDuplicate) || body.size() < 2) {
        return false;
    }
    const std::size_t behindTopic = 2 + numberAt(body, 0);
    if (body.size() < behindTopic + 2 * qos || !isTopicName(body.substr(2, behindTopic - 2))) {
        return false;
    }
    return qos == 0 || numberAt(body, behindTopic) != 0;
}

/// Whether a broker may send the packet to a client that asks for QoS 1 at most (sections 3.2 to 3.13).
bool mayBeSent(unsigned first, std::string_view body) {
    const unsigned flags = first % 16;
    const auto isCode = [](char code) {
        return code == 0 || code == 1 || code == 2 || static_cast<unsigned char>(code) == 0x80;
    };
    switch (first / 16) {
        case 2:
            return flags == 0 && body.size() == 2 && octetAt(body, 0) <= 1 && octetAt(body, 1) <= 5 &&
                   (octetAt(body, 0) == 0 || octetAt(body, 1) == 0);
        case 3: return mayBePublish(flags, body);
        case 4:
        case 11: return flags == 0 && body.size() == 2 && numberAt(body, 0) != 0;
        case 9:
            return flags == 0 && body.size() >= 3 && numberAt(body, 0) != 0 &&
                   std::all_of(body.begin() + 2, body.end(), isCode);
        case 13: return flags == 0 && body.empty();
        default: return false;
    }
}

bool isWithin(std::string_view part, std::string_view whole) {
    return part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size();
}

/// The body of the packet, written from what was read.
std::string bodyOf(const MQTTInboundPacket& packet) {
    std::string body;
    const auto number = [&](unsigned value) {
        body += static_cast<char>(value / 256);
        body += static_cast<char>(value % 256);
    };
    switch (packet.type) {
        case MQTTPacketType::Publish: {
            xel::appendPublish(body, packet.topic, packet.payload, packet.packetId, packet.retained);
            const Frame frame = frameOf(body);
            return body.substr(frame.headerSize);
        }
        case MQTTPacketType::Connack:
            body += packet.sessionPresent ? '\1' : '\0';
            body += static_cast<char>(packet.returnCode);
            return body;
        case MQTTPacketType::Pingresp: return body;
        case MQTTPacketType::Suback:
            number(packet.packetId);
            body.append(packet.returnCodes.begin(), packet.returnCodes.end());
            return body;
        default: number(packet.packetId); return body;
    }
}

void checkPacket(const MQTTInboundPacket& packet, std::string_view octets) {
    const Frame frame = frameOf(octets);
    require(static_cast<unsigned>(packet.type) == frame.first / 16, "a packet has the type that it says");
    require(bodyOf(packet) == octets.substr(frame.headerSize), "a packet is read as it was written");
    if (packet.type == MQTTPacketType::Publish) {
        require(isWithin(packet.topic, octets) && isWithin(packet.payload, octets), "views are of the input");
        const unsigned flags = (packet.duplicate ? 8U : 0U) + packet.qos * 2U + (packet.retained ? 1U : 0U);
        require(flags == frame.first % 16, "a publication has the flags that it says");
        require((packet.qos == 0) == (packet.packetId == 0), "an identifier goes with QoS 1");
    }
}

void checkDecision(MQTTDecoding decoding, std::string_view octets) {
    const Frame frame = frameOf(octets);
    if (!frame.isWhole) {
        require(decoding != MQTTDecoding::Complete, "half a packet is none");
        return;
    }
    const bool isAllowed = frame.headerSize + frame.bodySize <= kLimit &&
                           mayBeSent(frame.first, octets.substr(frame.headerSize, frame.bodySize));
    require(decoding == (isAllowed ? MQTTDecoding::Complete : MQTTDecoding::Malformed),
            "a whole packet is taken exactly when it may be sent");
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
        checkDecision(decoding, before);
        if (decoding != MQTTDecoding::Complete) {
            require(input == before, "what is not taken stays");
            reading.taken = size - input.size();
            if (decoding == MQTTDecoding::Malformed) {
                reading.fault = decoder.fault();
                require(!reading.fault.empty(), "a fault has its words");
            }
            return reading;
        }
        ++reading.packets;
        checkPacket(packet, before.substr(0, before.size() - input.size()));
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
                require(view.empty(), "a packet is found at its last octet");
                ++reading.packets;
                reading.taken += arrived.size();
                arrived.clear();
                break;
            case MQTTDecoding::Malformed: reading.fault = decoder.fault(); return reading;
            case MQTTDecoding::Incomplete:
                require(arrived.size() < kLimit, "nothing long is waited for");
                break;
        }
    }
    return reading;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const Reading whole = readWhole(input);
    const Reading single = readOctetByOctet(input);
    require(whole.packets == single.packets && whole.taken == single.taken && whole.fault == single.fault,
            "it does not matter how the octets arrive");
    return 0;
}
