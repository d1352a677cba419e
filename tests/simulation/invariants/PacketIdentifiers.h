#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "tests/simulation/invariants/Invariant.h"

namespace xel::simulation {

/// A packet identifier names one thing at a time: nothing leaves under one whose answer is still to come, and
/// none is given to a second publication before the first has left the outbox. What leaves again says so.
class PacketIdentifiers final : public Invariant {
public:
    [[nodiscard]] std::string_view name() const override { return "packet identifiers are not reused"; }
    void take(const Fact& fact) override;

private:
    struct Client {
        std::map<std::uint16_t, std::string> outstanding;                    // on this connection: what
        std::map<std::string, std::map<std::uint16_t, std::string>> outbox;  // by client id: payloads
        std::set<std::string> written;                                       // payloads
    };

    void takeWritten(Client& client, const PacketFact& packet);

    std::map<std::string, Client> clients_;
};

}  // namespace xel::simulation
