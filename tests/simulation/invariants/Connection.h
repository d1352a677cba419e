#pragma once

#include <chrono>
#include <map>
#include <set>
#include <string>

#include "tests/simulation/invariants/Invariant.h"

namespace xel::simulation {

/// The host is told of the edges of the state machine that there are, and of no others.
class StateEdges final : public Invariant {
public:
    [[nodiscard]] std::string_view name() const override { return "only the edges of the state machine"; }
    void take(const Fact& fact) override;

private:
    std::map<std::string, std::string> states_;
};

/// A client that is connected is never silent for one and a half times its keep-alive, whatever becomes of
/// what it says.
class KeepAlive final : public Invariant {
public:
    [[nodiscard]] std::string_view name() const override { return "the connection is kept alive"; }
    void take(const Fact& fact) override;

private:
    std::map<std::string, std::chrono::nanoseconds> lastWritten_;  // of those that are connected
};

/// In a healed world a client is connected within a bound, unless it was refused, closed by its host, sent
/// to the background, without credentials, held back by the forced close after `reset`, or not registered.
class HealedIsConnected final : public Invariant {
public:
    [[nodiscard]] std::string_view name() const override { return "a healed world is connected"; }
    void take(const Fact& fact) override;

private:
    struct Client {
        std::set<std::string> excuses;
        std::string state = "Disconnected";
        bool isCloseForced = false;
        bool isInFront = true;
    };

    static void takeAct(Client& client, const Fact& act);
    static void takeState(Client& client, const Fact& fact);

    std::map<std::string, Client> clients_;
};

}  // namespace xel::simulation
