#include "tests/simulation/generator/Generator.h"

#include <functional>
#include <utility>

#include "tests/simulation/generator/Draw.h"
#include "tests/simulation/generator/FaultSteps.h"
#include "tests/simulation/generator/HostSteps.h"
#include "tests/simulation/generator/PublicationSteps.h"
#include "tests/simulation/run/Healing.h"

namespace xel::simulation {
namespace {

/// One run in the making.
class Making {
public:
    explicit Making(std::uint64_t seed) : draw_(seed), hasBackend_(draw_.chance(40)) {}

    [[nodiscard]] Steps make() {
        begin();
        const int count = draw_.number(20, 90);
        for (int i = 0; i < count; ++i) {
            addSome();
            if (stepsToStart_ > 0 && --stepsToStart_ == 0) {
                startClients();
            }
            if (draw_.chance(75)) {
                steps_.push_back(someTime());
            }
        }
        return std::move(steps_);
    }

private:
    void begin() {
        if (draw_.chance(40)) {
            steps_.emplace_back("given the main loop apart");
        }
        const int others = draw_.chance(60) ? 0 : draw_.number(1, 2);
        for (int i = 0; i < others; ++i) {
            clients_.emplace_back(i == 0 ? "bob" : "carol");
        }
        if (hasBackend_) {
            steps_.emplace_back(kBackendThatAnswers);
        } else {
            const auto answers = stepsThatAnswerRequests();
            steps_.insert(steps_.end(), answers.begin(), answers.end());
        }
        steps_.push_back("broker keeps " + draw_.oneOf<std::string>({"1", "20", "20", "200", "65000"}) +
                         " in flight");
        if (draw_.chance(30)) {
            steps_.push_back(readSize(draw_));
        }
        startClients();
        steps_.emplace_back("time passes 1 s");
    }

    void startClients() {
        for (const auto& client : clients_) {
            append(actingAs(client, "host registerApplication shop key demo secret"));
            append(actingAs(
                client, "host registerUser " + userOf(client) + (draw_.chance(70) ? " channels news" : "")));
        }
    }

    /// What somebody does next, or what breaks.
    void addSome() {
        const auto& client = draw_.oneOf(clients_);
        switch (draw_.number(0, 19)) {
            case 0:
            case 1:
            case 2:
            case 3:
            case 4: append(publications_.fromBroker(userOf(client))); return;
            case 5:
            case 6: append(actingAs(client, publications_.fromHost())); return;
            case 7:
            case 8: append(actingAs(client, subscribing(draw_))); return;
            case 9:
                draw_.chance(25) ? endIdentityMeanwhile(client)
                                 : append(actingAs(client, identity(draw_, userOf(client))));
                startSoon();
                return;
            case 10:
                append(actingAs(client, inside(draw_, userOf(client), publications_)));
                startSoon();
                return;
            case 11: append(actingAs(client, setting(draw_))); return;
            case 12: draw_.chance(50) ? die() : dieWithinTurn(client); return;
            case 13: draw_.chance(60) ? append(outside(draw_)) : loseUnsubscription(client); return;
            default: addFault(); return;
        }
    }

    void addFault() {
        for (auto& line : faults_.next()) {
            append(std::move(line));
        }
    }

    /// What a host did, or does soon, may have ended a client or its identity.
    void startSoon() {
        if (stepsToStart_ == 0 && draw_.chance(70)) {
            stepsToStart_ = draw_.number(2, 9);
        }
    }

    /// The process dies, and there is another one sooner or later.
    void die() {
        append("kill");
        if (draw_.chance(50)) {
            append(someTime());
        }
        startClients();
    }

    /// At one of the writes that a few turns make: some of what they hold is stored, and nothing
    /// acknowledged.
    void dieWithinTurn(const std::string& client) {
        append(draw_.oneOf<std::string>({"disk kills after write ", "disk kills before write "}) +
               std::to_string(draw_.number(1, 4)));
        append(publications_.turns(userOf(client)));
        startClients();
    }

    /// An identity ends while an answer is on its way that was asked for by it, or while what it published
    /// waits for a connection.
    void endIdentityMeanwhile(const std::string& client) {
        if (hasBackend_ && draw_.chance(50)) {
            append("backend delays answers by " + std::to_string(draw_.number(50, 3000)) + " ms for 1 s");
            append(actingAs(client, "host registerDeviceToServer"));
            append("time passes 1 ms");
        } else {
            append("broker stops listening for " + std::to_string(draw_.number(1, 20)) + " s");
            append("broker ends connections");
            append(actingAs(client, publications_.fromHost()));
        }
        append(actingAs(client, "host reset"));
        append(actingAs(client, "host registerUser " + userOf(client) + std::to_string(draw_.number(1, 3))));
    }

    /// What asks the broker for it gets lost, and the client is to ask again.
    void loseUnsubscription(const std::string& client) {
        append("network goes dead for 5 s");
        append(actingAs(client, unsubscribing(draw_)));
        append("time passes 400 s");
    }

    [[nodiscard]] std::string someTime() {
        switch (draw_.number(0, 5)) {
            case 0: return "time passes 1 ms";
            case 1: return "time passes " + std::to_string(draw_.number(1, 900)) + " ms";
            case 2: return "time passes " + std::to_string(draw_.number(30, 400)) + " s";
            default: return "time passes " + std::to_string(draw_.number(1, 8)) + " s";
        }
    }

    void append(std::string line) { steps_.push_back(std::move(line)); }

    Draw draw_;
    bool hasBackend_;
    std::vector<std::string> clients_{""};
    PublicationSteps publications_{draw_};
    FaultSteps faults_{draw_, hasBackend_};
    Steps steps_;
    int stepsToStart_ = 0;
};

}  // namespace

Steps generate(std::uint64_t seed) {
    return Making(seed).make();
}

}  // namespace xel::simulation
