#include "tests/kill/PublishingRun.h"

#include <iostream>

#include "tests/kill/EventArrivals.h"
#include "tests/kill/KillLoop.h"
#include "tests/kill/PublishVerdict.h"

namespace xel::killtest {

WayOutcome testPublishing(const std::string& hostProgram, std::chrono::steady_clock::duration duration,
                          const std::filesystem::path& folder, const xel::sandbox::SandboxInfo& info) {
    const auto notes = folder / "publish.notes";
    const auto home = folder / "publish-home";
    const HostProcess::Command publishing{hostProgram, "publish", home, notes, info};
    const HostProcess::Command draining{hostProgram, "drain", home, notes, info};
    const EventArrivals arrivals(info);
    {
        // A first life, left alone until it has registered: from then on each life has a session at once.
        HostProcess host(publishing);
        if (!waitFor([&] { return !arrivals.rows().empty(); }, kPatienceForTheRest)) {
            std::cerr << "kill test: by publish: the host did not come up\n";
            return {};
        }
    }
    if (!killRepeatedly(publishing, duration)) {
        return {};
    }
    const auto judge = [&] { return judgePublishing(linesOf(notes), arrivals.rows()); };
    {
        HostProcess lastLife(draining);
        waitFor([&] { return judge().isGood(); }, kPatienceForTheRest);
    }
    const auto verdict = judge();
    std::cout << "kill test: by publish: " << verdict.promised << " promised, " << verdict.lost.size()
              << " lost, " << verdict.arrived << " arrived, " << verdict.arrivedAgain << " times one again, "
              << verdict.lives << " lives\n"
              << std::flush;
    // A run that promised or killed next to nothing proves nothing.
    return {verdict.isGood() && verdict.promised >= 100 && verdict.lives >= 3, 0, verdict.promised};
}

}  // namespace xel::killtest
