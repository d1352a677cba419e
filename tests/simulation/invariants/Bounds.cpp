#include "tests/simulation/invariants/Bounds.h"

#include <map>

namespace xel::simulation {
namespace {

constexpr std::size_t kMostIds = 25;

}  // namespace

void SilenceAfterTheEnd::take(const Fact& fact) {
    if (fact.kind == FactKind::HostHears && !fact.ok) {
        breaks("the host was told " + fact.name + " of a client that is no more");
    }
}

void Bounds::take(const Fact& fact) {
    // Whole machines are measured: so many for each of the three clients that a run has at the most, and for
    // what the simulated service does with time.
    static const std::map<std::string, std::int64_t> most{{"timers", 60}, {"requests", 60}};
    if (fact.kind == FactKind::Measured) {
        const auto bound = most.find(fact.name);
        if (bound != most.end() && fact.number > bound->second) {
            breaks(std::to_string(fact.number) + " " + fact.name + " at once");
        }
    } else if (fact.kind == FactKind::IdsStored && fact.list.size() > kMostIds) {
        breaks(std::to_string(fact.list.size()) + " ids of messages were stored");
    }
}

}  // namespace xel::simulation
