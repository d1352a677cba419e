#include "tests/simulation/wire/PacketFacts.h"

#include <algorithm>
#include <string_view>

namespace xel::simulation {
namespace {

constexpr std::string_view kReservedBody = "BIBB";

bool isOfKind(std::string_view topic, std::string_view kind) {
    // app/<application>/<kind>/...
    const auto second = topic.find('/');
    const auto third = second == std::string_view::npos ? second : topic.find('/', second + 1);
    return third != std::string_view::npos && topic.substr(third + 1).starts_with(kind);
}

std::size_t countParts(std::string_view text, std::string_view separator) {
    std::size_t count = 1;
    for (auto at = text.find(separator); at != std::string_view::npos;
         at = text.find(separator, at + separator.size())) {
        ++count;
    }
    return count;
}

}  // namespace

PacketFact factOf(const FakeBrokerPacket& packet) {
    PacketFact fact{.type = std::string(nameOfPacketType(packet.type))};
    fact.packetId = packet.packetId;
    fact.topic = packet.topic;
    fact.payload = packet.payload;
    fact.clientId = packet.connect.clientId;
    fact.qos = packet.qos;
    fact.dup = packet.dup;
    fact.retain = packet.retain;
    fact.topics = packet.topics;
    fact.names = packet.topicNames;
    return fact;
}

PacketFact factOf(const OutboxEntry& entry) {
    PacketFact fact{.type = "PUBLISH"};
    fact.packetId = entry.packetId;
    fact.topic = entry.topic;
    fact.payload = entry.payload;
    return fact;
}

void readPayload(PacketFact& packet, NSJSONSerialization& json) {
    if (isOfKind(packet.topic, "delivery/")) {
        packet.isReadable = countParts(packet.payload, "-:-") == 3;
        return;
    }
    const auto document = json.JSONObjectWithData(packet.payload);
    const Dictionary* members = document ? document.value().asDictionary() : nullptr;
    const bool isEvent = isOfKind(packet.topic, "event/");
    packet.isReadable = isEvent ? countParts(packet.topic, "/") == 5 : members != nullptr;
    if (members == nullptr) {
        return;
    }
    if (const Value* id = members->find("id"); id != nullptr && id->asString() != nullptr) {
        packet.id = *id->asString();
    }
    if (isEvent) {
        return;
    }
    if (const Value* expires = members->find("expireTime")) {
        packet.expiresAt = expires->number();
    }
    const Value* body = members->find("messageBody");
    packet.isReserved =
        body != nullptr && body->asString() != nullptr && body->asString()->starts_with(kReservedBody);
}

}  // namespace xel::simulation
