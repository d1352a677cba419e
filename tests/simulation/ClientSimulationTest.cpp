// The whole client on virtual time against a broker, a network and a disk that fail at random. Every run is
// named by its seed; a failing one is printed and replays with XELPUSH_SIMULATION_SEED.
// XELPUSH_SIMULATION_RUNS makes more of them.

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tests/simulation/SimulatedHost.h"

namespace xel::simulation {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kTurnSize = 24;
constexpr int kSteps = 120;
constexpr unsigned kFirstSeed = 1;
constexpr unsigned kRuns = 60;

class Simulation {
public:
    explicit Simulation(unsigned seed) : random_(seed) {
        machine_.http->answerAlways("POST", "installations", 200, R"({"id":"D1"})");
        machine_.http->answerAlways("PUT", "installations/D1", 200, R"({"id":"D1"})");
    }

    void run() {
        begin();
        for (int step = 0; step < kSteps; ++step) {
            takeStep();
        }
        heal();
    }

    /// What the broker took for the client and the host was never handed.
    [[nodiscard]] std::set<std::string> lost() const {
        std::set<std::string> missing = taken_;
        for (const auto& reception : host_.receptions()) {
            missing.erase(reception.id);
        }
        return missing;
    }

    /// Ids handed over again though the first time was not in the turn in which a life ended. A life whose
    /// commits failed may repeat more.
    [[nodiscard]] std::set<std::string> repeatedWithoutCause() const {
        std::map<std::size_t, std::size_t> receptionsInLife;
        for (const auto& reception : host_.receptions()) {
            ++receptionsInLife[reception.life];
        }
        std::map<std::string, std::pair<std::size_t, std::size_t>>
            lastSeen;  // life, and which of that life's
        std::map<std::size_t, std::size_t> counted;
        std::set<std::string> repeated;
        for (const auto& reception : host_.receptions()) {
            const std::size_t place = ++counted[reception.life];
            const auto [at, isFirst] = lastSeen.emplace(reception.id, std::pair{reception.life, place});
            if (!isFirst) {
                const auto [life, formerPlace] = at->second;
                const bool wasInLastTurn =
                    life != reception.life && receptionsInLife[life] - formerPlace < kTurnSize;
                if (!wasInLastTurn && !livesWithFailedCommits_.contains(life)) {
                    repeated.insert(reception.id);
                }
                at->second = {reception.life, place};
            }
        }
        return repeated;
    }

    [[nodiscard]] const std::vector<std::string>& breaches() const { return machine_.broker->faults(); }
    [[nodiscard]] std::size_t takenCount() const { return taken_.size(); }
    [[nodiscard]] std::size_t lives() const { return lives_; }

private:
    void begin() {
        startHost();
        settle(1s);
        ASSERT_EQ(host_.push().connectionStateString(), "Connected");
    }

    void startHost() {
        ++lives_;
        host_.start();
        if (areCommitsFailing_) {
            livesWithFailedCommits_.insert(lives_);
        }
    }

    /// Lets time pass; a kill that happens on the way ends the host's life.
    void settle(FakeRunLoop::Duration duration) {
        try {
            machine_.advanceBy(duration);
        } catch (const Killed&) {
            host_.kill();
        }
    }

    void publish(int count) {
        const std::string topic = "app/shop/user/alice01/default";
        for (int i = 0; i < count; ++i) {
            const std::string id = "m" + std::to_string(++published_);
            if (machine_.broker->subscriptionsOf("shop/alice01/D1").contains(topic)) {
                taken_.insert(id);
            }
            machine_.broker->publish({topic, R"({"id":")" + id + R"(","messageBody":"b"})", 1, false});
        }
    }

    void setFailingCommits(bool areFailing) {
        areCommitsFailing_ = areFailing;
        machine_.disk->setFailingCommits(areFailing);
        if (areFailing && host_.isRunning()) {
            livesWithFailedCommits_.insert(lives_);
        }
    }

    void takeStep() {
        if (!host_.isRunning() && chance(50)) {
            startHost();
        }
        switch (number(0, 9)) {
            case 0:
            case 1:
            case 2: publish(number(1, 60)); break;
            case 3: machine_.broker->dropConnections(); break;
            case 4: machine_.broker->endConnections(); break;
            case 5: machine_.broker->setListening(chance(60)); break;
            case 6:
                if (host_.isRunning()) {
                    host_.killAfterMessages(static_cast<std::size_t>(number(1, 50)));
                }
                break;
            case 7:
                if (host_.isRunning()) {
                    host_.kill();
                }
                break;
            case 8: setFailingCommits(chance(30)); break;
            case 9: holdCommitsForAWhile(); break;
            default: break;
        }
        settle(std::chrono::milliseconds(number(0, 1) == 0 ? number(0, 5) : number(0, 8000)));
    }

    /// Commits that close a turn take a while; sometimes the host dies before they are made.
    void holdCommitsForAWhile() {
        machine_.disk->setHoldingTurnCommits(true);
        publish(number(1, 30));
        settle(1ms);
        if (host_.isRunning() && chance(40)) {
            host_.kill();
        }
        machine_.disk->setHoldingTurnCommits(false);
        machine_.disk->answerHeldTurnCommits();
    }

    /// Everything works again, and there is time enough.
    void heal() {
        setFailingCommits(false);
        machine_.broker->setListening(true);
        if (host_.isRunning()) {
            host_.kill();
        }
        startHost();
        settle(60s);
        if (!host_.isRunning()) {
            startHost();
        }
        settle(60s);
    }

    int number(int first, int last) { return std::uniform_int_distribution<int>(first, last)(random_); }
    bool chance(int percent) { return number(1, 100) <= percent; }

    std::mt19937 random_;
    FakeMachine machine_;
    SimulatedHost host_{machine_};
    std::size_t lives_ = 0;
    std::size_t published_ = 0;
    bool areCommitsFailing_ = false;
    std::set<std::string> taken_;
    std::set<std::size_t> livesWithFailedCommits_;
};

unsigned fromEnvironment(const char* name, unsigned otherwise) {
    const char* text = std::getenv(name);
    return text == nullptr ? otherwise : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

TEST(ClientSimulation, LosesNothingAndRepeatsOnlyTheTurnOfAKill) {
    const unsigned onlySeed = fromEnvironment("XELPUSH_SIMULATION_SEED", 0);
    const unsigned first = onlySeed != 0 ? onlySeed : kFirstSeed;
    const unsigned runs = onlySeed != 0 ? 1 : fromEnvironment("XELPUSH_SIMULATION_RUNS", kRuns);
    std::size_t taken = 0;
    for (unsigned seed = first; seed < first + runs; ++seed) {
        SCOPED_TRACE("replay with XELPUSH_SIMULATION_SEED=" + std::to_string(seed));
        Simulation simulation(seed);
        simulation.run();
        EXPECT_EQ(simulation.lost(), std::set<std::string>());
        EXPECT_EQ(simulation.repeatedWithoutCause(), std::set<std::string>());
        EXPECT_EQ(simulation.breaches(), std::vector<std::string>());
        EXPECT_GE(simulation.lives(), 2U);
        taken += simulation.takenCount();
        if (HasFailure()) {
            break;
        }
    }
    if (onlySeed == 0) {
        EXPECT_GE(taken, std::size_t{100} * runs) << "too few messages for the runs to prove anything";
    }
}

}  // namespace
}  // namespace xel::simulation
