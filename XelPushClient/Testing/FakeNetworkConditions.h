#pragma once

#include <cstddef>
#include <map>
#include <set>

namespace xel {

/// What can be wrong with a `FakeNetwork` for a while.
enum class FakeNetworkTrouble {
    NoNames,      ///< attempts fail: the name is not found
    Refusing,     ///< attempts are refused
    Unreachable,  ///< attempts fail, and connections are lost when it begins
    Interrupted,  ///< the same, for another reason that comes and goes by itself
    Stalled,      ///< octets and attempts wait, and go on at the end
    Dead          ///< what is open then carries nothing any more, and neither side is told; attempts wait
};

/// Which way octets go.
enum class FakeDirection { ToClient, FromClient };

/// The state of a `FakeNetwork`, which its connections look at.
struct FakeNetworkConditions {
    std::set<FakeNetworkTrouble> troubles;
    /// How many octets still pass before the connection breaks on which the last of them does.
    std::map<FakeDirection, std::size_t> octetsUntilBreak;

    [[nodiscard]] bool has(FakeNetworkTrouble trouble) const { return troubles.contains(trouble); }

    /// How many of so many octets may pass now.
    [[nodiscard]] std::size_t passing(FakeDirection direction, std::size_t count) const {
        const auto left = octetsUntilBreak.find(direction);
        return left != octetsUntilBreak.end() && left->second < count ? left->second : count;
    }

    /// So many octets pass. Whether the connection breaks behind them.
    [[nodiscard]] bool pass(FakeDirection direction, std::size_t count) {
        const auto left = octetsUntilBreak.find(direction);
        if (left == octetsUntilBreak.end()) {
            return false;
        }
        left->second -= count;
        if (left->second > 0) {
            return false;
        }
        octetsUntilBreak.erase(left);
        return true;
    }
};

}  // namespace xel
