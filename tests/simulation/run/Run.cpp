#include "tests/simulation/run/Run.h"

#include <algorithm>
#include <exception>

#include "tests/simulation/run/Healing.h"

namespace xel::simulation {
namespace {

/// What may leave a call or the loop: what the generator lets a host's code throw, and the one refusal of
/// the client's that is an exception.
bool isExpected(const std::string& exception) {
    return exception == "the host fails" || exception == "Device token is nil";
}

class Runner {
public:
    [[nodiscard]] bool carryOut(const std::string& line) {
        witness_.stepBegins(line);
        done_.push_back(line);
        try {
            world_.perform({"", 0, line, scenario::cutIntoWords(line)});
        } catch (const scenario::StepDoesNotApply&) {
            // It was made without a look at what happens.
        } catch (const scenario::ScenarioFailure& failure) {
            witness_.breaks("every step can be carried out", line + ": " + failure.what());
        }
        const auto exception = world_.takeException();
        wasCutShort_ = exception.has_value();
        if (exception && !isExpected(*exception)) {
            witness_.breaks("no exception but the host's", *exception);
        }
        witness_.stepEnds();
        return !witness_.breach();
    }

    [[nodiscard]] bool carryOutAll(const Steps& steps) {
        for (const auto& line : steps) {
            // Time stops where the host's code throws, and what is left of it is to pass all the same.
            do {
                if (!carryOut(line)) {
                    return false;
                }
            } while (isHealing_ && wasCutShort_ && line.starts_with("time passes"));
        }
        return true;
    }

    [[nodiscard]] bool heal(bool hasBackend) {
        isHealing_ = true;
        if (!carryOutAll(stepsThatHeal(hasBackend))) {
            return false;
        }
        witness_.rests(false);
        if (witness_.breach() || !carryOutAll(stepsThatWake())) {
            return false;
        }
        witness_.rests(false);
        std::vector<std::string> clients;
        for (const auto& [name, client] : world_.clients()) {
            clients.push_back(name);
        }
        if (witness_.breach() || !carryOutAll(stepsThatStartAnew(clients))) {
            return false;
        }
        witness_.rests(true);
        return !witness_.breach();
    }

    [[nodiscard]] Verdict verdict() {
        return {std::move(witness_.trace()), witness_.breach(), std::move(done_)};
    }

private:
    scenario::ScenarioWorld world_;
    Witness witness_{world_};
    Steps done_;
    bool isHealing_ = false;
    bool wasCutShort_ = false;
};

}  // namespace

Verdict run(const Steps& steps) {
    Runner runner;
    if (runner.carryOutAll(steps)) {
        static_cast<void>(
            runner.heal(std::find(steps.begin(), steps.end(), kBackendThatAnswers) != steps.end()));
    }
    return runner.verdict();
}

}  // namespace xel::simulation
