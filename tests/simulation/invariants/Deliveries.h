#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/simulation/invariants/Invariant.h"

namespace xel::simulation {

/// Each publication that reaches the client goes through the pipeline to its end, in order, and is
/// acknowledged only then: at the host, or dropped for a reason that is true. What has an id comes to the
/// host once, unless its process was killed inside the turn, or the id has left the list of 25.
class Deliveries final : public Invariant {
public:
    [[nodiscard]] std::string_view name() const override { return "each message once, then acknowledged"; }
    void take(const Fact& fact) override;

private:
    struct Client {
        std::deque<PacketFact> arrived;                     // on this connection, and not at its end yet
        std::multimap<std::uint16_t, PacketFact> handled;   // at its end, and not acknowledged
        std::deque<std::string> remembered;                 // the ids in memory
        std::vector<std::string> stored;                    // the ids on the disk
        bool areIdsStored = true;                           // the last time they were to be
        std::string session;                                // the client id by which it connected last
        bool hasEnded = false;                              // and there is no other life yet
        bool hasIds = false;                                // were there any then
        using Key = std::pair<std::uint16_t, std::string>;  // packet identifier and payload
        std::vector<Key> unconfirmed;                       // acknowledged on this connection
        std::set<Key> handedInThisLife;                     // once at least
        std::set<Key> handedAndUnconfirmed;                 // and no answer shows that the broker knows
        std::set<std::string> acknowledged;                 // marks, whether the broker heard it or not
        std::set<std::string> storedButUnacknowledged;      // marks, when the process died
    };

    static void beginSession(Client& client, const std::string& clientId);
    void takeArrival(Client& client, const Fact& fact);
    void takeEnd(Client& client, const Fact& fact, bool wasHanded);
    void judge(Client& client, const PacketFact& publication, const Fact& fact, bool wasHanded);
    void judgeRepeat(Client& client, const PacketFact& publication, const Fact& fact, bool wasHanded);
    void takeAcknowledgement(Client& client, const Fact& fact);
    void takeStored(Client& client, const Fact& fact);
    static void beginLife(Client& client, const Fact& fact);
    static void endLife(Client& client);
    static void endIdentity(Client& client);

    std::map<std::string, Client> clients_;
};

}  // namespace xel::simulation
