#include "tests/simulation/invariants/Connection.h"

#include <array>
#include <string>
#include <utility>

namespace xel::simulation {
namespace {

constexpr std::array kEdges = {
    std::pair("Disconnected", "Connecting"), std::pair("Error", "Connecting"),
    std::pair("Connecting", "Connected"),    std::pair("Connecting", "Error"),
    std::pair("Connecting", "Disconnected"), std::pair("Connected", "Error"),
    std::pair("Connected", "Disconnected"),
};

/// An end like this uses up no forced close: nobody would connect again anyway.
const std::string kRefusedIdentity = "refused";

/// CONNACK's codes by which a broker refuses an identity.
bool refusesIdentity(const PacketFact& packet) {
    return packet.type == "CONNACK" && !packet.codes.empty() &&
           (packet.codes.front() == 4 || packet.codes.front() == 5);
}

}  // namespace

void StateEdges::take(const Fact& fact) {
    if (fact.kind == FactKind::LifeBegan) {
        states_[fact.client] = "Disconnected";
    } else if (fact.kind == FactKind::StateTold) {
        const auto before = std::exchange(states_[fact.client], fact.name);
        for (const auto& [from, to] : kEdges) {
            if (before == from && fact.name == to) {
                return;
            }
        }
        breaks("the host was told of " + fact.name + " after " + before);
    }
}

void KeepAlive::take(const Fact& fact) {
    constexpr std::chrono::seconds kLongestSilence{270};
    for (const auto& [client, written] : lastWritten_) {
        if (fact.time - written > kLongestSilence) {
            breaks("a connected client said nothing for more than 270 s");
        }
    }
    const bool isOver = fact.kind == FactKind::ConnectionEnded || fact.kind == FactKind::LifeEnded;
    if (isOver) {
        lastWritten_.erase(fact.client);
    } else if (fact.kind == FactKind::Written) {
        lastWritten_[fact.client] = fact.time;
    }
}

void HealedIsConnected::take(const Fact& fact) {
    Client& client = clients_[fact.client];
    switch (fact.kind) {
        case FactKind::LifeBegan:
            client.state = "Disconnected";
            client.isCloseForced = false;
            client.excuses = {"not registered in this life"};
            return;
        case FactKind::LifeEnded: client.excuses = {"no client"}; return;
        case FactKind::HostActs: takeAct(client, fact); return;
        case FactKind::StateTold: takeState(client, fact); return;
        case FactKind::Arrived:
            if (refusesIdentity(fact.packet)) {
                client.excuses.insert(kRefusedIdentity);
            }
            return;
        case FactKind::HostHears:
            if (fact.name == "pushClientManagerDidRegisterUser") {
                client.excuses.clear();  // it connects by itself now
            } else if (fact.name == "pushClientManagerDidFailRegisterUser") {
                client.excuses.insert("the registration has failed");
            }
            return;
        case FactKind::Background:
            for (auto& [name, each] : clients_) {
                each.isInFront = !fact.ok;
                if (fact.ok) {
                    each.excuses.insert("not in front");
                }
            }
            return;
        case FactKind::Rests:
            if (client.isInFront && client.excuses.empty() && fact.rest->isIdentityComplete &&
                fact.rest->state != "Connected") {
                breaks("the client is " + fact.rest->state + ", and nothing stands in its way");
            }
            return;
        default: return;
    }
}

void HealedIsConnected::takeAct(Client& client, const Fact& act) {
    static const std::set<std::string> endings{
        "disconnectFromServer",    "reset",     "unregisterUser", "registerUser",
        "registerAgainWithUserId", "setUserId", "setDeviceId",    "removeAppLifeCyclesFunctionality",
    };
    if (!endings.contains(act.name)) {
        return;
    }
    client.excuses.insert("the host called " + act.name);
    const bool mayReset = act.name != "disconnectFromServer" && act.name != "setUserId" &&
                          act.name != "setDeviceId" && act.name != "removeAppLifeCyclesFunctionality";
    client.isCloseForced = client.isCloseForced || mayReset;
}

void HealedIsConnected::takeState(Client& client, const Fact& fact) {
    client.state = fact.name;
    if (fact.name == "Connected") {
        client.excuses.clear();
    } else if (fact.name == "Error" && !client.excuses.contains(kRefusedIdentity) &&
               std::exchange(client.isCloseForced, false)) {
        client.excuses.insert("a forced close");
    }
    if (fact.name == "Error" && !client.isInFront) {
        client.excuses.insert("not in front");  // when the timer is due it does nothing
    }
}

}  // namespace xel::simulation
