#include "tests/kill/PublishVerdict.h"

#include "tests/kill/ReceivedLog.h"

namespace xel::killtest {

PublishVerdict judgePublishing(const std::vector<std::string>& notes,
                               const std::map<std::string, std::size_t>& rows) {
    PublishVerdict verdict;
    verdict.arrived = rows.size();
    for (const auto& [id, times] : rows) {
        verdict.arrivedAgain += times - 1;
    }
    for (const auto& note : notes) {
        if (note == kStartLine) {
            ++verdict.lives;
            continue;
        }
        ++verdict.promised;
        if (!rows.contains(note)) {
            verdict.lost.push_back(note);
        }
    }
    return verdict;
}

}  // namespace xel::killtest
