#include "tests/simulation/invariants/Publications.h"

#include <algorithm>
#include <iterator>

namespace xel::simulation {
namespace {

constexpr std::string_view kEvent = "publishEvent";

bool isLive(const Fact& act) {
    const bool isSaidInJSON = act.text.find("\"live\":true") != std::string::npos;
    return isSaidInJSON || (act.name == kEvent && act.text.find("} live") != std::string::npos);
}

bool holds(const std::map<std::uint16_t, std::string>& outbox, const std::string& mark) {
    return std::any_of(outbox.begin(), outbox.end(), [&](const auto& entry) { return entry.second == mark; });
}

}  // namespace

void Publications::take(const Fact& fact) {
    Client& client = clients_[fact.client];
    switch (fact.kind) {
        case FactKind::DiskFails: isDiskFailing_ = fact.ok; return;
        case FactKind::StateTold: client.isConnected = fact.name == "Connected"; return;
        // A client that ends, or dies, may have removed some that nobody told of any more.
        case FactKind::LifeBegan: client.outbox.clear(); return;
        case FactKind::IdsStored: client.areSettingsStored = fact.ok; return;
        case FactKind::OutboxHeld:
            client.outbox[fact.clientId][fact.packet.packetId] = markIn(fact.packet);
            return;
        case FactKind::OutboxAppended:
            if (fact.ok) {
                client.stored.insert(markIn(fact.packet));
                client.outbox[fact.clientId][fact.packet.packetId] = markIn(fact.packet);
            }
            return;
        case FactKind::OutboxRemoved: takeRemoval(client, fact); return;
        case FactKind::ConnectionBegan: client.answered.clear(); return;
        case FactKind::Arrived:
            if (fact.packet.type == "PUBACK") {
                client.answered.insert(fact.packet.packetId);
            }
            return;
        case FactKind::HostActed: takeAnswer(client, fact); return;
        case FactKind::ReachedBroker:
            if (fact.packet.type == "PUBLISH") {
                for (auto& [name, each] : clients_) {
                    each.promised.erase(markIn(fact.packet));
                }
            }
            return;
        case FactKind::HostHears:
            if (fact.name == "pushClientManagerDidFailInPublish") {
                client.promised.erase(fact.mark);
                client.removedUnanswered.erase(fact.mark);
            }
            return;
        case FactKind::MemoryErased:
            client.promised.clear();
            client.removedUnanswered.clear();
            client.outbox.erase(fact.clientId);
            return;
        case FactKind::FormerErased: client.outbox.erase(fact.clientId); return;
        case FactKind::LifeEnded: endLife(client); return;
        case FactKind::Rests: judgeRest(client, fact); return;
        default: return;
    }
}

void Publications::takeAnswer(Client& client, const Fact& fact) {
    if (fact.name == "reset" || fact.name == "unregisterUser") {
        // Also where no memory is erased: before the application is named, nobody knows whose that would be.
        client.promised.clear();
        return;
    }
    if (fact.mark.empty() || !fact.ok || isLive(fact)) {
        return;
    }
    const bool isStored = client.stored.contains(fact.mark);
    // An event may wait in memory: for a session, or for a disk that takes it.
    const bool mayWait = fact.name == kEvent && (!client.isConnected || isDiskFailing_);
    if (!isStored && !mayWait) {
        breaks(fact.mark + " was answered YES and is not on the disk");
    }
    client.promised.insert(fact.mark);
}

void Publications::takeRemoval(Client& client, const Fact& fact) {
    auto& outbox = client.outbox[fact.clientId];
    const auto entry = outbox.find(fact.packet.packetId);
    if (entry == outbox.end()) {
        return;
    }
    const std::string mark = entry->second;
    outbox.erase(entry);
    const bool isInherited = isInAnOutbox(client, mark);
    if (!client.answered.contains(fact.packet.packetId) && !isInherited) {
        client.removedUnanswered.insert(mark);
    }
}

bool Publications::isInAnOutbox(const Client& client, const std::string& mark) {
    return std::any_of(client.outbox.begin(), client.outbox.end(),
                       [&](const auto& outbox) { return holds(outbox.second, mark); });
}

void Publications::endLife(Client& client) {
    if (!client.areSettingsStored) {
        // Whose outbox it was stands on no disk.
        client.promised.clear();
    }
    std::erase_if(client.promised, [&](const std::string& mark) { return !client.stored.contains(mark); });
    client.isConnected = false;
}

void Publications::judgeRest(Client& client, const Fact& fact) {
    if (fact.rest->isLast && !client.removedUnanswered.empty()) {
        breaks(*client.removedUnanswered.begin() +
               " left the outbox without an answer of the broker's, and nobody was told");
    }
    if (!fact.rest->isLast || fact.rest->state != "Connected") {
        return;
    }
    if (!client.promised.empty()) {
        breaks(*client.promised.begin() +
               " was answered YES and has neither reached the broker nor been reported");
    }
    for (const std::string& mark : fact.rest->outboxMarks) {
        // One that the client has asked a failing disk to forget is forgotten with its next write.
        if (isInAnOutbox(client, mark)) {
            breaks(mark + " stays in the outbox of a client that is connected and quiet");
        }
    }
}

void FormerIdentity::take(const Fact& fact) {
    auto& queued = queued_[fact.client];
    auto& former = former_[fact.client];
    if (fact.kind == FactKind::HostActs && !fact.mark.empty()) {
        queued.insert(fact.mark);
    } else if (fact.kind == FactKind::LifeBegan) {
        namesItsApplication_.erase(fact.client);
        users_[fact.client] = fact.name;
    } else if (fact.kind == FactKind::HostActs && fact.name == "registerApplication") {
        namesItsApplication_.insert(fact.client);
    } else if (fact.kind == FactKind::HostActs &&
               (fact.name == "registerUser" || fact.name == "registerAgainWithUserId")) {
        users_[fact.client] = fact.list.size() > 1 ? fact.list[1] : "";
    } else if (fact.kind == FactKind::HostActed && (fact.name == "reset" || fact.name == "unregisterUser")) {
        // Before the application is named in a life, nobody knows whose memory there is to erase; nor that of
        // a user whom no disk took in the life before.
        const std::string user = std::exchange(users_[fact.client], "");
        if (!isDiskFailing_ && !user.empty() && namesItsApplication_.contains(fact.client)) {
            std::copy_if(queued.begin(), queued.end(), std::inserter(former, former.end()),
                         [&](const std::string& mark) {
                             const auto owner = owners_.find(mark);
                             return owner == owners_.end() ||
                                    owner->second.find("/" + user + "/") != std::string::npos;
                         });
        }
        queued.clear();
    } else if (fact.kind == FactKind::DiskFails) {
        isDiskFailing_ = fact.ok;
    } else if (fact.kind == FactKind::MemoryErased || fact.kind == FactKind::FormerErased) {
        // What lies in the outbox of another identity, whose settings no disk took, is not concerned. What a
        // full disk could not forget may come back with the next process.
        std::erase_if(queued, [&](const std::string& mark) {
            const auto owner = owners_.find(mark);
            const bool isConcerned =
                owner == owners_.end() ? fact.kind == FactKind::MemoryErased : owner->second == fact.clientId;
            if (isConcerned && fact.ok) {
                former.insert(mark);
            }
            return isConcerned;
        });
    } else if (fact.ok && (fact.kind == FactKind::OutboxAppended || fact.kind == FactKind::OutboxHeld)) {
        owners_[markIn(fact.packet)] = fact.clientId;
    } else if (fact.kind == FactKind::Written && fact.packet.type == "PUBLISH" &&
               former.contains(markIn(fact.packet))) {
        breaks(markIn(fact.packet) + " was queued for a former user and went out");
    }
}

}  // namespace xel::simulation
