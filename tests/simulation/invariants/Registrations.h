#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "tests/simulation/invariants/Invariant.h"

namespace xel::simulation {

/// A user is registered by an answer to what was asked for this user: none that was asked for by an identity
/// that has ended since counts.
class Registrations final : public Invariant {
public:
    [[nodiscard]] std::string_view name() const override { return "answers count for who asked"; }
    void take(const Fact& fact) override;

private:
    struct Client {
        std::map<std::int64_t, int> identityOf;  // by request: of those that save an installation
        int identity = 0;                        // how many have ended
        bool isSaved = false;
    };

    static void takeAnswer(Client& client, const Fact& fact);
    static void endIdentity(Client& client);

    std::map<std::string, Client> clients_;
};

}  // namespace xel::simulation
