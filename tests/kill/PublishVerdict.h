#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace xel::killtest {

/// What arrived of the events that the client promised to publish.
struct PublishVerdict {
    std::size_t promised = 0;
    std::size_t arrived = 0;  ///< rows, one an id; there may be more than were noted
    std::size_t arrivedAgain = 0;
    std::size_t lives = 0;
    std::vector<std::string> lost;

    [[nodiscard]] bool isGood() const { return lost.empty(); }
};

/// Holds the host's notes (its lines, with `kStartLine` at the beginning of each life) against the rows of
/// who received the events: how often each id arrived.
[[nodiscard]] PublishVerdict judgePublishing(const std::vector<std::string>& notes,
                                             const std::map<std::string, std::size_t>& rows);

}  // namespace xel::killtest
