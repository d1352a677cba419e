#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace xel::killtest {

/// What the host's notes say about the messages that were sent.
struct KillVerdict {
    std::size_t sent = 0;
    std::size_t received = 0;
    std::size_t lives = 0;
    std::size_t seenTwice = 0;
    std::vector<std::string> lost;
    /// Seen twice though the first time was not in the turn in which a life of the host ended.
    std::vector<std::string> repeatedWithoutCause;

    [[nodiscard]] bool isGood() const { return lost.empty() && repeatedWithoutCause.empty(); }
};

/// Holds the host's notes (its lines, in order, with `kStartLine` at the beginning of each life) against what
/// was sent. A message may be noted again only when its first note is among the last `turnSize` of a life.
[[nodiscard]] KillVerdict judge(const std::vector<std::string>& sent, const std::vector<std::string>& notes,
                                std::size_t turnSize);

}  // namespace xel::killtest
