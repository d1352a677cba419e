// A machine's clock that jumps by more than a year, forward or back, on the real platform.

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/System/SystemClock.h"
#include "tests/matrix/support/Correspondent.h"
#include "tests/matrix/support/MatrixClient.h"
#include "tests/matrix/support/RealBroker.h"

namespace xel::matrix {
namespace {

/// The machine's clock, set wrong. That which only goes forward is not set by anybody.
class WrongClock final : public Clock {
public:
    [[nodiscard]] Date now() const override { return clock_.now() + off; }
    [[nodiscard]] std::chrono::steady_clock::time_point steadyNow() const override {
        return clock_.steadyNow();
    }

    std::chrono::hours off{0};

private:
    SystemClock clock_;
};

struct JumpRow {
    const char* name;
    int days;
};

class ClockJump : public testing::TestWithParam<JumpRow> {
protected:
    void makeClient() {
        MatrixClientOptions options;
        options.port = broker_.port();
        options.home = folder_.path();
        options.change = [this](Machine& machine) { machine.clock = clock_; };
        client_ = std::make_unique<MatrixClient>(options);
        client_->connect();
        ASSERT_TRUE(client_->runUntilConnected()) << client_->failureText();
    }

    void jump() { clock_->off = std::chrono::hours(24 * GetParam().days); }

    void expectOpenRoad(const std::string& name) {
        EXPECT_TRUE(client_->push().publish("news", "from-" + name));
        EXPECT_TRUE(client_->healUntil([&] { return correspondent_->has("from-" + name); }));
        correspondent_->send("to-" + name);
        EXPECT_TRUE(client_->healUntil([&] { return client_->countOf("to-" + name) == 1; }));
    }

    RealBroker broker_;
    contract::TemporaryFolder folder_;
    std::shared_ptr<WrongClock> clock_ = std::make_shared<WrongClock>();
    std::unique_ptr<MatrixClient> client_;
    std::unique_ptr<Correspondent> correspondent_ = std::make_unique<Correspondent>(broker_.port());
};

TEST_P(ClockJump, WhileConnectedEndsNothing) {
    makeClient();
    expectOpenRoad("before");
    jump();
    expectOpenRoad("after");
    clock_->off = std::chrono::hours(0);
    expectOpenRoad("back");
    EXPECT_EQ(client_->failureText(), "");
}

TEST_P(ClockJump, WhileAwayLosesNothing) {
    makeClient();
    expectOpenRoad("before");
    client_->push().disconnectFromServer();
    ASSERT_TRUE(client_->runUntil([&] { return client_->states.back() == "Disconnected"; }));
    ASSERT_TRUE(client_->push().publish("news", "kept"));
    correspondent_->send("waiting");
    jump();
    client_->push().connectToServer();
    EXPECT_TRUE(
        client_->healUntil([&] { return client_->countOf("waiting") == 1 && correspondent_->has("kept"); }));
    expectOpenRoad("after");
}

TEST_P(ClockJump, OverARestartLosesNothing) {
    makeClient();
    expectOpenRoad("before");
    broker_.suspend();
    ASSERT_TRUE(client_->push().publish("news", "of a former life"));
    client_.reset();
    broker_.resume();
    jump();
    makeClient();
    EXPECT_TRUE(client_->healUntil([&] { return correspondent_->has("of a former life"); }));
    correspondent_->send("to-before");
    expectOpenRoad("after");
    EXPECT_EQ(client_->countOf("to-before"), 0U) << "an id that was seen stays seen, whatever the date";
}

INSTANTIATE_TEST_SUITE_P(By, ClockJump,
                         testing::Values(JumpRow{"400DaysForward", 400}, JumpRow{"400DaysBack", -400},
                                         JumpRow{"To1970", -20454}, JumpRow{"To2100", 27000}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace xel::matrix
