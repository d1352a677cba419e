#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/MQTTDecoder.h"
#include "tests/unit/MQTTSDK/Octets.h"

namespace xel {
namespace {

constexpr std::size_t kLimit = 1024;

// Everything that a packet said, as text.
std::string describe(const MQTTInboundPacket& packet) {
    switch (packet.type) {
        case MQTTPacketType::Connack:
            return "CONNACK " + std::to_string(packet.sessionPresent) + " " +
                   std::to_string(packet.returnCode);
        case MQTTPacketType::Publish:
            return "PUBLISH " + std::to_string(packet.qos) + (packet.retained ? " retained " : " ") +
                   std::to_string(packet.packetId) + " " + std::string(packet.topic) + " [" +
                   std::string(packet.payload) + "]";
        case MQTTPacketType::Puback: return "PUBACK " + std::to_string(packet.packetId);
        case MQTTPacketType::Unsuback: return "UNSUBACK " + std::to_string(packet.packetId);
        case MQTTPacketType::Pingresp: return "PINGRESP";
        case MQTTPacketType::Suback: {
            std::string text = "SUBACK " + std::to_string(packet.packetId);
            for (const std::uint8_t code : packet.returnCodes) {
                text += " " + std::to_string(code);
            }
            return text;
        }
        default: return "?";
    }
}

struct Reading {
    std::vector<std::string> packets;
    std::string fault;
    std::size_t unread = 0;
};

Reading readWhole(std::string_view input) {
    MQTTDecoder decoder(kLimit);
    Reading reading;
    MQTTInboundPacket packet;
    MQTTDecoding decoding = MQTTDecoding::Complete;
    while ((decoding = decoder.decode(input, packet)) == MQTTDecoding::Complete) {
        reading.packets.push_back(describe(packet));
    }
    if (decoding == MQTTDecoding::Malformed) {
        reading.fault = decoder.fault();
    }
    reading.unread = input.size();
    return reading;
}

// As a network may bring it: every octet by itself, none behind a fault.
Reading readOctetByOctet(std::string_view input) {
    MQTTDecoder decoder(kLimit);
    Reading reading;
    std::string arrived;
    for (const char octet : input) {
        arrived.push_back(octet);
        std::string_view view = arrived;
        MQTTInboundPacket packet;
        switch (decoder.decode(view, packet)) {
            case MQTTDecoding::Complete:
                reading.packets.push_back(describe(packet));
                arrived = std::string(view);
                break;
            case MQTTDecoding::Malformed: reading.fault = decoder.fault(); return reading;
            case MQTTDecoding::Incomplete: break;
        }
    }
    reading.unread = arrived.size();
    return reading;
}

struct SoundCase {
    std::string_view hex;
    std::string_view expected;
};

constexpr SoundCase kSound[] = {
    {"20 02 00 00", "CONNACK 0 0"},
    {"20 02 01 00", "CONNACK 1 0"},
    {"20 02 00 05", "CONNACK 0 5"},
    {"30 03 0001 61", "PUBLISH 0 0 a []"},
    {"31 05 0001 61 7b7d", "PUBLISH 0 retained 0 a [{}]"},
    {"32 07 0001 61 0001 7b7d", "PUBLISH 1 1 a [{}]"},
    {"33 05 0001 61 ffff", "PUBLISH 1 retained 65535 a []"},
    {"3a 05 0001 61 0100", "PUBLISH 1 256 a []"},
    {"32 8700 0001 61 0001 7b7d", "PUBLISH 1 1 a [{}]"},
    {"30 06 0004 efbbbf61", "PUBLISH 0 0 \xEF\xBB\xBF\x61 []"},  // a mark of byte order is a character
    {"40 02 0102", "PUBACK 258"},
    {"90 03 0001 00", "SUBACK 1 0"},
    {"90 06 0001 00 01 02 80", "SUBACK 1 0 1 2 128"},
    {"b0 02 0003", "UNSUBACK 3"},
    {"d0 00", "PINGRESP"},
};

TEST(MQTTDecoder, ReadsEachPacketOfABroker) {
    for (const SoundCase& sound : kSound) {
        const Reading reading = readWhole(octetsFromHex(sound.hex));
        EXPECT_EQ(reading.packets, std::vector<std::string>{std::string(sound.expected)}) << sound.hex;
        EXPECT_EQ(reading.fault, "") << sound.hex;
        EXPECT_EQ(reading.unread, 0U) << sound.hex;
    }
}

TEST(MQTTDecoder, ReadsTheSameOctetByOctet) {
    std::string stream;
    for (const SoundCase& sound : kSound) {
        stream += octetsFromHex(sound.hex);
    }
    const Reading whole = readWhole(stream);
    EXPECT_EQ(whole.packets.size(), std::size(kSound));
    EXPECT_EQ(readOctetByOctet(stream).packets, whole.packets);
}

TEST(MQTTDecoder, WaitsForTheRestOfAPacketAndTakesNothingOfIt) {
    for (const SoundCase& sound : kSound) {
        const std::string octets = octetsFromHex(sound.hex);
        for (std::size_t length = 0; length < octets.size(); ++length) {
            const Reading reading = readWhole(std::string_view(octets).substr(0, length));
            EXPECT_TRUE(reading.packets.empty() && reading.fault.empty())
                << sound.hex << " cut at " << length;
            EXPECT_EQ(reading.unread, length);
        }
    }
}

struct MalformedCase {
    std::string_view name;
    std::string_view hex;
};

constexpr MalformedCase kMalformed[] = {
    {"reserved type 0", "00 00"},
    {"reserved type 15", "f0 00"},
    {"CONNECT", "10 00"},
    {"SUBSCRIBE", "82 06 0001 0001 61 01"},
    {"UNSUBSCRIBE", "a2 05 0001 0001 61"},
    {"PINGREQ", "c0 00"},
    {"DISCONNECT", "e0 00"},
    {"PUBREC", "50 02 0001"},
    {"PUBREL", "62 02 0001"},
    {"PUBCOMP", "70 02 0001"},
    {"CONNACK with a reserved header bit", "21 02 00 00"},
    {"PUBACK with a reserved header bit", "42 02 0001"},
    {"SUBACK with a reserved header bit", "98 03 0001 00"},
    {"UNSUBACK with a reserved header bit", "b2 02 0001"},
    {"PINGRESP with a reserved header bit", "d1 00"},
    {"remaining length of five octets", "30 ff ff ff ff 01"},
    {"remaining length of five octets, a small one", "30 83 80 80 80 00"},
    {"oversized PUBLISH", "30 fe 07"},
    {"oversized SUBACK", "90 ff ff ff 7f"},
    {"CONNACK too short", "20 01 00"},
    {"CONNACK too long", "20 03 00 00 00"},
    {"CONNACK with reserved flags", "20 02 02 00"},
    {"CONNACK with a reserved return code", "20 02 00 06"},
    {"CONNACK that refuses a present session", "20 02 01 05"},
    {"PUBLISH of QoS 2", "34 05 0001 61 0001"},
    {"PUBLISH of QoS 3", "36 05 0001 61 0001"},
    {"PUBLISH of QoS 0 marked as a duplicate", "38 03 0001 61"},
    {"PUBLISH without a topic length", "30 01 00"},
    {"PUBLISH with an empty topic", "30 02 0000"},
    {"PUBLISH with an empty topic and a payload", "30 04 0000 7b7d"},
    {"PUBLISH with a topic longer than the packet", "30 04 0003 6161"},
    {"PUBLISH with NUL in its topic", "30 05 0003 610061"},
    {"PUBLISH with + in its topic", "30 05 0003 612f2b"},
    {"PUBLISH with # in its topic", "30 05 0003 612f23"},
    {"PUBLISH with a topic that is not UTF-8", "30 04 0002 c328"},
    {"PUBLISH with a surrogate in its topic", "30 05 0003 eda080"},
    {"PUBLISH of QoS 1 without a packet identifier", "32 03 0001 61"},
    {"PUBLISH of QoS 1 with half a packet identifier", "32 05 0002 6161 00"},
    {"PUBLISH of QoS 1 with packet identifier 0", "32 05 0001 61 0000"},
    {"PUBACK too short", "40 01 00"},
    {"PUBACK too long", "40 03 0001 00"},
    {"PUBACK of packet identifier 0", "40 02 0000"},
    {"SUBACK without return codes", "90 02 0001"},
    {"SUBACK without a packet identifier", "90 00"},
    {"SUBACK of packet identifier 0", "90 03 0000 00"},
    {"SUBACK with return code 3", "90 03 0001 03"},
    {"SUBACK with return code 127", "90 04 0001 00 7f"},
    {"SUBACK with return code 129", "90 03 0001 81"},
    {"SUBACK with return code 255", "90 03 0001 ff"},
    {"UNSUBACK too short", "b0 00"},
    {"UNSUBACK too long", "b0 03 0001 00"},
    {"UNSUBACK of packet identifier 0", "b0 02 0000"},
    {"PINGRESP with a body", "d0 01 00"},
};

TEST(MQTTDecoder, RefusesEachMalformedPacketAndTakesNothingOfIt) {
    for (const MalformedCase& malformed : kMalformed) {
        const std::string octets = octetsFromHex(malformed.hex);
        const Reading reading = readWhole(octets);
        EXPECT_NE(reading.fault, "") << malformed.name;
        EXPECT_TRUE(reading.packets.empty()) << malformed.name;
        EXPECT_EQ(reading.unread, octets.size()) << malformed.name;
    }
}

TEST(MQTTDecoder, FindsTheSameFaultOctetByOctetBehindTheSamePackets) {
    const std::string sound = octetsFromHex("32 07 0001 61 0001 7b7d");
    for (const MalformedCase& malformed : kMalformed) {
        const std::string stream = sound + octetsFromHex(malformed.hex) + sound;
        const Reading whole = readWhole(stream);
        const Reading single = readOctetByOctet(stream);
        EXPECT_EQ(single.fault, whole.fault) << malformed.name;
        EXPECT_EQ(single.packets, whole.packets) << malformed.name;
        EXPECT_EQ(whole.packets.size(), 1U) << malformed.name;
    }
}

TEST(MQTTDecoder, RefusesAnOversizedPacketBeforeItsBodyArrives) {
    // 1024 octets in all are allowed: three of header and 1021.
    const auto header = octetsFromHex("30 fd07");
    EXPECT_EQ(readWhole(header).fault, "");
    EXPECT_NE(readWhole(octetsFromHex("30 fe07")).fault, "");
    const std::string body = octetsFromHex("0001 61") + std::string(1021 - 3, 'p');
    EXPECT_EQ(readWhole(header + body).packets.size(), 1U);
}

TEST(MQTTDecoder, RefusesAWrongFirstOctetBeforeTheSecondArrives) {
    for (const std::string_view hex : {"00", "10", "21", "34", "36", "38", "62", "c0", "e0", "f0"}) {
        EXPECT_NE(readWhole(octetsFromHex(hex)).fault, "") << hex;
    }
}

TEST(MQTTDecoder, TakesNoFirstOctetButThoseThatTheStandardGivesABroker) {
    const std::string allowed = octetsFromHex("20 30 31 32 33 3a 3b 40 90 b0 d0");
    for (int octet = 0; octet < 0x100; ++octet) {
        const std::string first(1, static_cast<char>(octet));
        const bool isAllowed = allowed.find(first) != std::string::npos;
        EXPECT_EQ(readWhole(first).fault.empty(), isAllowed) << hexFromOctets(first);
    }
}

TEST(MQTTDecoder, PointsIntoTheInput) {
    const std::string octets = octetsFromHex("32 07 0001 61 0001 7b7d");
    std::string_view input = octets;
    MQTTInboundPacket packet;
    MQTTDecoder decoder(kLimit);
    ASSERT_EQ(decoder.decode(input, packet), MQTTDecoding::Complete);
    EXPECT_EQ(packet.topic.data(), octets.data() + 4);
    EXPECT_EQ(packet.payload.data(), octets.data() + 7);
}

}  // namespace
}  // namespace xel
