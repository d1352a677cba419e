#include "tests/simulation/invariants/Invariant.h"

#include "tests/simulation/invariants/Bounds.h"
#include "tests/simulation/invariants/Connection.h"
#include "tests/simulation/invariants/Deliveries.h"
#include "tests/simulation/invariants/PacketIdentifiers.h"
#include "tests/simulation/invariants/Publications.h"
#include "tests/simulation/invariants/Registrations.h"
#include "tests/simulation/invariants/TopicsKept.h"

namespace xel::simulation {

std::vector<std::unique_ptr<Invariant>> makeInvariants() {
    std::vector<std::unique_ptr<Invariant>> all;
    all.push_back(std::make_unique<Deliveries>());
    all.push_back(std::make_unique<Publications>());
    all.push_back(std::make_unique<FormerIdentity>());
    all.push_back(std::make_unique<TopicsKept>());
    all.push_back(std::make_unique<PacketIdentifiers>());
    all.push_back(std::make_unique<Registrations>());
    all.push_back(std::make_unique<StateEdges>());
    all.push_back(std::make_unique<KeepAlive>());
    all.push_back(std::make_unique<HealedIsConnected>());
    all.push_back(std::make_unique<SilenceAfterTheEnd>());
    all.push_back(std::make_unique<Bounds>());
    return all;
}

}  // namespace xel::simulation
