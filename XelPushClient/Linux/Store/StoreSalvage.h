#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "XelPushClient/Foundation/Result.h"

namespace xel {

/// What became of a damaged store.
struct StoreSalvage {
    /// So many lines of losses are told.
    static constexpr std::size_t kMostTold = 20;

    /// Where the damaged file went.
    std::string aside;
    /// The homes that are known to have been in it, and how many of them are whole.
    std::size_t homes = 0;
    std::size_t whole = 0;
    /// Whether there may have been others, whose names cannot be read.
    bool mayHaveLostOthers = false;
    /// A line for each home that is not whole, and how many more there are.
    std::vector<std::string> losses;
    std::size_t untold = 0;
};

/// Makes a new database of what can be read of the damaged one at "<base>.db", sets that one aside as it is,
/// and puts the new one in its place. On an error the damaged one is still there. A home that is lost stays
/// so: what the journal beside it holds of that one is never brought in.
[[nodiscard]] Result<StoreSalvage> salvageStore(const std::string& base);

}  // namespace xel
