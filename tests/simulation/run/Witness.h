#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Foundation/Lifeline.h"
#include "tests/scenarios/interpreter/ScenarioWorld.h"
#include "tests/simulation/invariants/Invariant.h"

namespace xel::simulation {

/// The first promise that was broken in a run.
struct Breach {
    std::string invariant;
    std::string how;

    friend bool operator==(const Breach&, const Breach&) = default;
};

/// Sees everything that happens in a world, writes it down and has it judged.
class Witness final : public scenario::WorldObserver {
public:
    explicit Witness(scenario::ScenarioWorld& world);

    void stepBegins(const std::string& line);
    /// After a step: what there is at once of things that are bounded, and whether the disk takes anything.
    void stepEnds();
    /// Everything was healed and is quiet; at the last, whatever was set aside was tried again.
    void rests(bool isLast);
    void breaks(std::string_view invariant, std::string how);

    [[nodiscard]] const std::optional<Breach>& breach() const { return breach_; }
    [[nodiscard]] std::vector<std::string>& trace() { return trace_; }

    // What the world tells.

    void clientWillBegin(const scenario::ScenarioClient& client, Machine& machine, Home& home) override;
    void clientHasEnded(const scenario::ScenarioClient& client) override;
    void hostWillAct(const scenario::ScenarioClient& client, const std::vector<std::string>& words) override;
    void hostHasActed(const scenario::ScenarioClient& client, const std::vector<std::string>& words) override;
    void hostHears(const scenario::ScenarioClient& client, std::size_t life, scenario::Channel channel,
                   const scenario::JournalEntry& entry) override;
    void packetReachedBroker(const FakeBrokerRecord& record) override;

private:
    void tell(Fact fact);
    /// What the disk holds for a life that begins.
    void tellWhatIsFound(const scenario::ScenarioClient& client);
    [[nodiscard]] Fact actOf(FactKind kind, const scenario::ScenarioClient& client,
                             const std::vector<std::string>& words) const;
    [[nodiscard]] std::shared_ptr<const RestFact> restOf(const scenario::ScenarioClient& client,
                                                         bool isLast) const;

    scenario::ScenarioWorld& world_;
    std::vector<std::unique_ptr<Invariant>> invariants_ = makeInvariants();
    std::vector<std::string> trace_;
    std::optional<Breach> breach_;
    bool wasDiskFailing_ = false;
    bool wasInBackground_ = false;
    Lifeline<Witness> life_{*this};
};

}  // namespace xel::simulation
