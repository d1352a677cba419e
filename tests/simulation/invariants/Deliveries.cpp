#include "tests/simulation/invariants/Deliveries.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace xel::simulation {
namespace {

constexpr std::size_t kRememberedIds = 25;

bool isDelivery(const Fact& fact) {
    return fact.kind == FactKind::HostHears && fact.ok &&
           (fact.name == "pushClientManagerDidReceivedMessage" ||
            fact.name == "pushClientManagerDidReceivedEventMessage" ||
            fact.name == "pushClientManagerDidReceivedDelivery");
}

template <class Container>
bool contains(const Container& container, const std::string& text) {
    return std::find(container.begin(), container.end(), text) != container.end();
}

bool hasEachOnce(const std::vector<std::string>& ids) {
    return std::set<std::string_view>(ids.begin(), ids.end()).size() == ids.size();
}

}  // namespace

void Deliveries::take(const Fact& fact) {
    Client& client = clients_[fact.client];
    if (isDelivery(fact)) {
        takeEnd(client, fact, true);
        return;
    }
    switch (fact.kind) {
        case FactKind::LifeBegan: beginLife(client, fact); return;
        case FactKind::LifeEnded: endLife(client); return;
        case FactKind::ConnectionBegan:
        case FactKind::ConnectionEnded:
            client.arrived.clear();
            client.unconfirmed.clear();
            if (fact.kind == FactKind::ConnectionEnded) {
                // What came again on it has its id in the list twice, and the others' were pushed out.
                client.storedButUnacknowledged.clear();
            }
            if (!client.hasEnded) {
                client.handled.clear();
            }
            return;
        case FactKind::Arrived: takeArrival(client, fact); return;
        case FactKind::Dropped: takeEnd(client, fact, false); return;
        case FactKind::Written:
            if (fact.packet.type == "CONNECT") {
                beginSession(client, fact.packet.clientId);
            } else if (fact.packet.type == "PUBACK") {
                takeAcknowledgement(client, fact);
            }
            return;
        case FactKind::IdsStored: takeStored(client, fact); return;
        case FactKind::MemoryErased: endIdentity(client); return;
        case FactKind::Rests:
            if (fact.rest->state == "Connected" && fact.rest->unacknowledged != 0) {
                breaks(std::to_string(fact.rest->unacknowledged) +
                       " publications stay at the broker of a client that is connected and quiet");
            }
            return;
        default: return;
    }
}

void Deliveries::beginLife(Client& client, const Fact& fact) {
    // By what the disk holds: who died at the write was told nothing of it. Of a turn that had come again,
    // and has its ids in the list twice, the list does not hold all.
    client.storedButUnacknowledged.clear();
    const bool holdsTheTurn = hasEachOnce(fact.list);
    for (const auto& [packetId, publication] : std::exchange(client.handled, {})) {
        if (holdsTheTurn && publication.id && contains(fact.list, *publication.id)) {
            client.storedButUnacknowledged.insert(markIn(publication));
        }
    }
    client.remembered.assign(fact.list.begin(), fact.list.end());
    client.stored = fact.list;
    client.areIdsStored = true;
    client.hasIds = !fact.list.empty();
    client.hasEnded = false;
}

void Deliveries::endLife(Client& client) {
    client.hasEnded = true;
    client.arrived.clear();
    client.handedInThisLife.clear();
    client.handedAndUnconfirmed.clear();
}

void Deliveries::endIdentity(Client& client) {
    client.remembered.clear();
    client.handedInThisLife.clear();
    client.handedAndUnconfirmed.clear();
    client.storedButUnacknowledged.clear();
}

// Another installation of the same user's has a session of its own at the broker, which counts packet
// identifiers from the beginning and has its own copy of each message: one that comes as sent before was
// never here.
void Deliveries::beginSession(Client& client, const std::string& clientId) {
    if (std::exchange(client.session, clientId) != clientId) {
        client.handedInThisLife.clear();
        client.handedAndUnconfirmed.clear();
    }
}

void Deliveries::takeArrival(Client& client, const Fact& fact) {
    if (fact.packet.type != "PUBLISH") {
        // What was written before an answer may have been read before it: from now on it is not lost.
        for (const auto& key : std::exchange(client.unconfirmed, {})) {
            client.handedAndUnconfirmed.erase(key);
        }
        return;
    }
    client.arrived.push_back(fact.packet);
    // What comes before the last turn, or again for want of acknowledgements that were lost with the process,
    // may push its ids out of the list. The first is so where the broker has another session of the user's,
    // under a former installation id, with its own copy of each message.
    if (!fact.packet.dup || client.acknowledged.contains(markIn(fact.packet))) {
        client.storedButUnacknowledged.clear();
    }
}

void Deliveries::takeEnd(Client& client, const Fact& fact, bool wasHanded) {
    const std::string what = fact.mark.empty() ? fact.packet.topic : fact.mark;
    if (client.arrived.empty()) {
        breaks(what + (wasHanded ? " was handed to the host" : " was dropped") + ", and had not arrived");
        return;
    }
    const PacketFact publication = client.arrived.front();
    client.arrived.pop_front();
    const auto mark = markIn(publication);
    const bool isIt = fact.mark.empty() ? fact.packet.topic == publication.topic : fact.mark == mark;
    if (!isIt) {
        breaks("after " + what + " was looked for " + mark + ", which had arrived before it");
        return;
    }
    judge(client, publication, fact, wasHanded);
    if (publication.qos == 1) {
        client.handled.emplace(publication.packetId, publication);
    }
}

void Deliveries::judge(Client& client, const PacketFact& publication, const Fact& fact, bool wasHanded) {
    const auto mark = markIn(publication);
    const bool isExpired = publication.expiresAt && *publication.expiresAt < fact.now;
    const bool isGood = publication.isReadable && !isExpired && !publication.isReserved;
    if (wasHanded && !isGood) {
        breaks(mark + " was handed to the host, and is expired, reserved or unreadable");
    } else if (!wasHanded &&
               ((fact.name == "expired" && !isExpired) ||
                (fact.name == "reserved" && !publication.isReserved) ||
                (fact.name == "unreadable" && publication.isReadable) ||
                (fact.name == "duplicate" && !publication.id) || fact.name == "another reason")) {
        breaks(mark + " was dropped as " + fact.name + ", which it is not");
    }
    if (publication.isReadable && publication.id) {
        judgeRepeat(client, publication, fact, wasHanded);
    }
}

void Deliveries::judgeRepeat(Client& client, const PacketFact& publication, const Fact& fact,
                             bool wasHanded) {
    const auto mark = markIn(publication);
    while (client.remembered.size() >= kRememberedIds) {
        client.remembered.pop_front();
    }
    const bool isRemembered = contains(client.remembered, *publication.id);
    client.remembered.push_back(*publication.id);
    const std::pair key(publication.packetId, publication.payload);
    const bool wasUnconfirmed = client.handedAndUnconfirmed.contains(key);
    const bool isRepeatInThisLife =
        publication.dup && publication.qos == 1 && client.handedInThisLife.contains(key);
    if (publication.qos == 1) {
        client.handedInThisLife.insert(key);
        client.handedAndUnconfirmed.insert(key);
    }
    // It has come again once: a retained message may come later under the same mark.
    const bool isOfLastTurn = client.storedButUnacknowledged.erase(mark) != 0;
    if (!wasHanded) {
        if (fact.name == "duplicate" && !isRemembered && !isRepeatInThisLife) {
            breaks(mark + " was dropped as a duplicate, and had not come before");
        }
        return;
    }
    if (isRemembered) {
        breaks(mark + " was handed to the host again, with its id among the last ones");
    } else if (isRepeatInThisLife && wasUnconfirmed) {
        breaks(mark + " was handed to the host again by one process, for want of an acknowledgement");
    } else if (isOfLastTurn) {
        breaks(mark + " was handed to the host again, and the kill came after its id was stored");
    }
}

void Deliveries::takeAcknowledgement(Client& client, const Fact& fact) {
    const auto handled = client.handled.find(fact.packet.packetId);
    if (handled == client.handled.end()) {
        breaks("packet " + std::to_string(fact.packet.packetId) +
               " was acknowledged, and had not been to its end");
        return;
    }
    const PacketFact& publication = handled->second;
    if (publication.isReadable && publication.id && client.areIdsStored &&
        !contains(client.stored, *publication.id)) {
        breaks(markIn(publication) + " was acknowledged before its id was stored");
    }
    client.unconfirmed.emplace_back(publication.packetId, publication.payload);
    client.acknowledged.insert(markIn(publication));
    client.handled.erase(handled);
}

void Deliveries::takeStored(Client& client, const Fact& fact) {
    client.areIdsStored = fact.ok;
    if (std::exchange(client.hasIds, !fact.list.empty()) && fact.list.empty()) {
        // Whether the disk took that or not, and also where no session had anything to forget.
        endIdentity(client);
    }
    if (fact.ok) {
        client.stored = fact.list;
    }
}

}  // namespace xel::simulation
