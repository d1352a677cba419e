#include "tests/simulation/invariants/PacketIdentifiers.h"

namespace xel::simulation {

void PacketIdentifiers::take(const Fact& fact) {
    Client& client = clients_[fact.client];
    const PacketFact& packet = fact.packet;
    switch (fact.kind) {
        case FactKind::LifeBegan: client.outbox.clear(); return;
        case FactKind::OutboxHeld: client.outbox[fact.clientId][packet.packetId] = packet.payload; return;
        case FactKind::ConnectionBegan:
        case FactKind::LifeEnded: client.outstanding.clear(); return;
        case FactKind::Written: takeWritten(client, packet); return;
        case FactKind::Arrived:
            if (packet.type != "PUBLISH") {
                client.outstanding.erase(packet.packetId);
            }
            return;
        case FactKind::OutboxAppended:
            if (fact.ok) {
                auto& outbox = client.outbox[fact.clientId];
                if (!outbox.emplace(packet.packetId, packet.payload).second) {
                    breaks("packet identifier " + std::to_string(packet.packetId) +
                           " was given to a second publication while the first was in the outbox");
                }
            }
            return;
        case FactKind::OutboxRemoved: client.outbox[fact.clientId].erase(packet.packetId); return;
        case FactKind::MemoryErased:
        case FactKind::FormerErased: client.outbox.erase(fact.clientId); return;
        default: return;
    }
}

void PacketIdentifiers::takeWritten(Client& client, const PacketFact& packet) {
    if (packet.packetId == 0 || packet.type == "PUBACK") {
        return;
    }
    const auto [other, isFree] =
        client.outstanding.emplace(packet.packetId, packet.type + " " + packet.topic);
    if (!isFree) {
        breaks(packet.type + " left under packet identifier " + std::to_string(packet.packetId) +
               ", under which " + other->second + " waits for its answer");
    }
    if (packet.type != "PUBLISH") {
        return;
    }
    const bool isFirst = client.written.insert(packet.topic + " " + packet.payload).second;
    if (!isFirst && !packet.dup) {
        breaks("a publication on " + packet.topic + " left again and did not say so");
    }
}

}  // namespace xel::simulation
