#pragma once

#include <memory>
#include <string>

#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/integration/desktop/support/NmeaFeed.h"
#include "tests/integration/desktop/support/PrivateBus.h"
#include "tests/integration/desktop/support/TestProgram.h"

namespace xel::test {

/// The system's geoclue on a bus of the test's own, fed by a receiver of the test's own, with an agent that
/// lets applications in.
///
/// geoclue has one place for its configuration, so it runs in a mount namespace in which the test's is there,
/// and in a network namespace without a network: nothing of the machine is changed or reached.
class RealGeoClue {
public:
    /// An application that the configuration lets in, and one that it does not.
    static constexpr const char* kAllowed = "xelpush-test";
    static constexpr const char* kDenied = "xelpush-denied";

    enum class Agent { Runs, IsMissing };

    /// Empty, or why it cannot be run here: what a test skips with.
    [[nodiscard]] static std::string whyMissing();

    explicit RealGeoClue(Agent agent = Agent::Runs);
    RealGeoClue(const RealGeoClue&) = delete;
    RealGeoClue& operator=(const RealGeoClue&) = delete;
    ~RealGeoClue() = default;

    [[nodiscard]] std::string busAddress() const { return bus_.address(); }
    NmeaFeed& receiver() { return receiver_; }

    void startAgent();
    /// Ends geoclue, as an update of the system does.
    void stop();
    PrivateBus& bus() { return bus_; }
    /// What geoclue has written, for the report of a failure.
    [[nodiscard]] std::string log() const { return geoclue_ ? geoclue_->output() : ""; }

private:
    contract::TemporaryFolder folder_;
    PrivateBus bus_;
    NmeaFeed receiver_;
    std::unique_ptr<TestProgram> geoclue_;
    std::unique_ptr<TestProgram> agent_;
};

}  // namespace xel::test
