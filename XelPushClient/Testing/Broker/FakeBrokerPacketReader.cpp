#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"

namespace xel {
namespace {

/// A packet that breaks the standard. Never leaves this file.
struct Malformed {
    std::string_view text;
};

unsigned octetAt(std::string_view octets, std::size_t at) {
    return static_cast<unsigned char>(octets[at]);
}

class Body {
public:
    explicit Body(std::string_view octets) : rest_(octets) {}

    [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }

    unsigned takeOctet() { return octetAt(take(1), 0); }

    std::uint16_t takeNumber() {
        const auto octets = take(2);
        return static_cast<std::uint16_t>((octetAt(octets, 0) << 8U) | octetAt(octets, 1));
    }

    std::string_view takeOctets() { return take(takeNumber()); }

    std::string takeText() {
        const auto text = takeOctets();
        if (!isValidUTF8(text)) {
            throw Malformed{"a text that is not UTF-8"};
        }
        if (text.find('\0') != std::string_view::npos) {
            throw Malformed{"a text with a null character"};
        }
        return std::string(text);
    }

    std::uint16_t takePacketId() {
        const auto packetId = takeNumber();
        if (packetId == 0) {
            throw Malformed{"packet identifier 0"};
        }
        return packetId;
    }

    std::string_view takeRest() { return take(rest_.size()); }

    void requireEnd() const {
        if (!rest_.empty()) {
            throw Malformed{"octets behind the end of a packet's fields"};
        }
    }

private:
    std::string_view take(std::size_t count) {
        if (count > rest_.size()) {
            throw Malformed{"a packet that ends inside a field"};
        }
        const auto taken = rest_.substr(0, count);
        rest_.remove_prefix(count);
        return taken;
    }

    std::string_view rest_;
};

void requireFlags(unsigned flags, unsigned wanted) {
    if (flags != wanted) {
        throw Malformed{"reserved flags of a fixed header"};
    }
}

FakeBrokerConnect readConnect(Body& body) {
    if (body.takeText() != "MQTT" || body.takeOctet() != 4) {
        throw Malformed{"a protocol name or level other than MQTT 3.1.1"};
    }
    const unsigned flags = body.takeOctet();
    if ((flags & 0x3DU) != 0) {
        throw Malformed{"connect flags that are reserved or speak of a will"};
    }
    FakeBrokerConnect connect;
    connect.cleanSession = (flags & 0x02U) != 0;
    connect.keepAliveSeconds = body.takeNumber();
    connect.clientId = body.takeText();
    if ((flags & 0x80U) != 0) {
        connect.userName = body.takeText();
    }
    if ((flags & 0x40U) != 0) {
        if (!connect.userName) {
            throw Malformed{"a password without a user name"};
        }
        connect.password = std::string(body.takeOctets());
    }
    if (connect.clientId.empty() && !connect.cleanSession) {
        throw Malformed{"an empty client identifier with a kept session"};
    }
    return connect;
}

void readPublish(FakeBrokerPacket& packet, unsigned flags, Body& body) {
    packet.dup = (flags & 8U) != 0;
    packet.qos = static_cast<int>((flags >> 1U) & 3U);
    packet.retain = (flags & 1U) != 0;
    if (packet.qos > 1) {
        throw Malformed{"a publication with a quality of service above 1"};
    }
    if (packet.qos == 0 && packet.dup) {
        throw Malformed{"a duplicate flag at quality of service 0"};
    }
    packet.topic = body.takeText();
    if (packet.topic.empty() || packet.topic.find_first_of("+#") != std::string::npos) {
        throw Malformed{"a publication to an empty topic or to a filter"};
    }
    if (packet.qos > 0) {
        packet.packetId = body.takePacketId();
    }
    packet.payload = std::string(body.takeRest());
}

std::string takeFilter(Body& body) {
    auto filter = body.takeText();
    if (filter.empty()) {
        throw Malformed{"an empty topic filter"};
    }
    return filter;
}

void readSubscribe(FakeBrokerPacket& packet, Body& body) {
    packet.packetId = body.takePacketId();
    // One filter at least ([MQTT-3.8.3-3]).
    do {
        const auto filter = takeFilter(body);
        const unsigned qos = body.takeOctet();
        if (qos > 2) {
            throw Malformed{"a subscription with reserved bits or a quality of service above 2"};
        }
        // No breach of the standard, but this library's tables hold a topic once.
        if (packet.topics.contains(filter)) {
            throw Malformed{"a subscription that names a topic twice"};
        }
        packet.topics.set(filter, static_cast<int>(qos));
    } while (!body.isAtEnd());
}

void readUnsubscribe(FakeBrokerPacket& packet, Body& body) {
    packet.packetId = body.takePacketId();
    // Likewise ([MQTT-3.10.3-2]).
    do {
        packet.topicNames.push_back(takeFilter(body));
    } while (!body.isAtEnd());
}

FakeBrokerPacket readPacket(unsigned firstOctet, std::string_view octets) {
    const unsigned flags = firstOctet & 0x0FU;
    FakeBrokerPacket packet;
    packet.type = static_cast<FakeBrokerPacketType>(firstOctet >> 4U);
    Body body(octets);
    switch (packet.type) {
        case FakeBrokerPacketType::Publish: readPublish(packet, flags, body); return packet;
        case FakeBrokerPacketType::Connect:
            requireFlags(flags, 0);
            packet.connect = readConnect(body);
            break;
        case FakeBrokerPacketType::PubAck:
            requireFlags(flags, 0);
            packet.packetId = body.takePacketId();
            break;
        case FakeBrokerPacketType::Subscribe:
            requireFlags(flags, 2);
            readSubscribe(packet, body);
            break;
        case FakeBrokerPacketType::Unsubscribe:
            requireFlags(flags, 2);
            readUnsubscribe(packet, body);
            break;
        case FakeBrokerPacketType::PingReq:
        case FakeBrokerPacketType::Disconnect: requireFlags(flags, 0); break;
        default: throw Malformed{"a packet that no client of this library sends"};
    }
    body.requireEnd();
    return packet;
}

}  // namespace

bool FakeBrokerPacketReader::fail(std::string_view fault) {
    fault_ = fault;
    buffer_.clear();
    return false;
}

bool FakeBrokerPacketReader::feed(std::string_view octets) {
    if (!fault_.empty()) {
        return false;
    }
    buffer_ += octets;
    while (readOnePacket()) {}
    return fault_.empty();
}

bool FakeBrokerPacketReader::readOnePacket() {
    std::size_t length = 0;
    std::size_t at = 1;
    for (unsigned shift = 0;; shift += 7U, ++at) {
        if (shift > 21) {
            return fail("a remaining length of more than four octets");
        }
        if (at >= buffer_.size()) {
            return false;
        }
        const unsigned octet = octetAt(buffer_, at);
        length |= static_cast<std::size_t>(octet & 0x7FU) << shift;
        if ((octet & 0x80U) == 0) {
            break;
        }
    }
    const std::size_t begin = at + 1;
    if (buffer_.size() - begin < length) {
        return false;
    }
    try {
        packets_.push_back(readPacket(octetAt(buffer_, 0), std::string_view(buffer_).substr(begin, length)));
    } catch (const Malformed& fault) {
        return fail(fault.text);
    }
    buffer_.erase(0, begin + length);
    return true;
}

std::optional<FakeBrokerPacket> FakeBrokerPacketReader::next() {
    if (packets_.empty()) {
        return std::nullopt;
    }
    auto packet = std::move(packets_.front());
    packets_.pop_front();
    return packet;
}

}  // namespace xel
