#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/simulation/invariants/Invariant.h"

namespace xel::simulation {

/// What the broker granted and the host was told is what the session memory and the broker hold once the
/// world is quiet; and a topic leaves the memory only because somebody unsubscribed, the broker refused it,
/// it was given up with a report, or the identity ended.
class TopicsKept final : public Invariant {
public:
    [[nodiscard]] std::string_view name() const override { return "what was granted is kept"; }
    void take(const Fact& fact) override;

private:
    struct Client {
        std::map<std::string, TopicTable> remembered;             // by client id
        std::map<std::uint16_t, std::vector<std::string>> asked;  // SUBSCRIBEs of this connection
        std::set<std::string> granted;                            // on the wire, and not ended since
        std::set<std::string> refused;                            // by the newest answer
        std::set<std::string> words;       // channels and events that the host ever unsubscribed from
        std::set<std::string> lost;        // topics that left for no reason yet
        std::set<std::string> unanswered;  // asked for on connections that ended before the answer
        std::set<std::string> newest;      // granted by the answers of this instant
        std::chrono::nanoseconds newestAt{0};
        std::string user;               // whom the host has named last
        std::set<std::string> givenUp;  // of an ended identity, or reported while no disk let them go
        bool wasErased = false;         // an identity has ended
        bool isStored = true;           // nothing ever failed to be stored
    };

    void takeRemembered(Client& client, const Fact& fact);
    static void endConnection(Client& client, const Fact& end);
    static void takeSubscribeAnswer(Client& client, const Fact& answer);
    [[nodiscard]] static bool mayLeave(const Client& client, const std::string& topic);
    static void takeUnsubscribe(Client& client, const Fact& act);
    static void takeEndOfIdentity(Client& client, const Fact& act);
    void takeReport(Client& client, const Fact& fact);
    void takeFailure(Client& client, std::string_view report);
    void judgeRest(Client& client, const Fact& fact);

    std::map<std::string, Client> clients_;
    bool isDiskFailing_ = false;
};

}  // namespace xel::simulation
