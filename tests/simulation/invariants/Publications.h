#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "tests/simulation/invariants/Invariant.h"

namespace xel::simulation {

/// Each publication at least once that was answered YES is on the disk by then and reaches the broker, or is
/// reported, or falls to the end of the identity, or is an event that waited in memory for a session when its
/// process ended.
class Publications final : public Invariant {
public:
    [[nodiscard]] std::string_view name() const override { return "what was answered YES is not lost"; }
    void take(const Fact& fact) override;

private:
    struct Client {
        std::set<std::string> stored;             // marks that the outbox has taken
        std::set<std::string> promised;           // marks answered YES and not at the broker
        std::set<std::string> removedUnanswered;  // marks for which a report is owed
        std::map<std::string, std::map<std::uint16_t, std::string>> outbox;  // by client id: marks
        std::set<std::uint16_t> answered;  // PUBACKs that came on this connection
        bool areSettingsStored = true;     // the last time they were to be
        bool isConnected = false;
    };

    void takeAnswer(Client& client, const Fact& fact);
    static void takeRemoval(Client& client, const Fact& fact);
    static bool isInAnOutbox(const Client& client, const std::string& mark);
    static void endLife(Client& client);
    void judgeRest(Client& client, const Fact& fact);

    std::map<std::string, Client> clients_;
    bool isDiskFailing_ = false;
};

/// Nothing that was queued for a former user goes out.
class FormerIdentity final : public Invariant {
public:
    [[nodiscard]] std::string_view name() const override { return "nothing of a former user goes out"; }
    void take(const Fact& fact) override;

private:
    std::map<std::string, std::set<std::string>> queued_;
    std::map<std::string, std::set<std::string>> former_;
    std::map<std::string, std::string> owners_;  // by mark: the client id in whose outbox it lies
    std::set<std::string> namesItsApplication_;
    std::map<std::string, std::string> users_;  // as far as each client knows its own
    bool isDiskFailing_ = false;
};

}  // namespace xel::simulation
