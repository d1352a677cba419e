#include "tests/kill/KillVerdict.h"

#include <unordered_map>
#include <unordered_set>

#include "tests/kill/ReceivedLog.h"

namespace xel::killtest {
namespace {

/// For every note, how many notes of the same life follow it.
std::vector<std::size_t> distancesToEndOfLife(const std::vector<std::string>& notes) {
    std::vector<std::size_t> distances(notes.size());
    std::size_t following = 0;
    for (std::size_t i = notes.size(); i-- > 0;) {
        distances[i] = following;
        following = notes[i] == kStartLine ? 0 : following + 1;
    }
    return distances;
}

}  // namespace

KillVerdict judge(const std::vector<std::string>& sent, const std::vector<std::string>& notes,
                  std::size_t turnSize) {
    KillVerdict verdict;
    verdict.sent = sent.size();
    const auto distances = distancesToEndOfLife(notes);
    std::unordered_map<std::string, std::size_t> lastSeenAt;
    for (std::size_t i = 0; i < notes.size(); ++i) {
        if (notes[i] == kStartLine) {
            ++verdict.lives;
            continue;
        }
        ++verdict.received;
        const auto [place, isFirst] = lastSeenAt.emplace(notes[i], i);
        if (!isFirst) {
            ++verdict.seenTwice;
            if (distances[place->second] >= turnSize) {
                verdict.repeatedWithoutCause.push_back(notes[i]);
            }
            place->second = i;
        }
    }
    for (const auto& message : sent) {
        if (!lastSeenAt.contains(message)) {
            verdict.lost.push_back(message);
        }
    }
    return verdict;
}

}  // namespace xel::killtest
