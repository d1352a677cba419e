#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DeferredWorkTest : public RoomsTest {
protected:
    void enqueue(const std::string& name) {
        rooms_->deferred.enqueueWhenSessionIsConnected([this, name] { heard_->push_back(name); });
    }
    void report(PushClientServerConnectionState state) {
        rooms_->state.assign(state);
        machine_.runUntilIdle();
    }
};

TEST_F(DeferredWorkTest, WaitsForAReportThatFindsTheClientConnected) {
    switchLogOn();
    enqueue("work");
    EXPECT_THAT(takeLog(), ElementsAre("enqueue subscribe for later when session is ready"));
    report(PushClientServerConnectingState);
    report(PushClientServerDisconnectedErrorState);
    EXPECT_THAT(takeHeard(), IsEmpty());
    report(PushClientServerConnectedState);
    EXPECT_THAT(takeHeard(), ElementsAre("work"));
}

TEST_F(DeferredWorkTest, WaitsForTheNextReportWhenConnectedAlready) {
    report(PushClientServerConnectedState);
    enqueue("work");
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), IsEmpty());
    report(PushClientServerConnectedState);
    report(PushClientServerConnectedState);
    EXPECT_THAT(takeHeard(), ElementsAre("work")) << "and runs once";
}

TEST_F(DeferredWorkTest, RunsOnceForSeveralReportsAtATime) {
    enqueue("work");
    rooms_->state.assign(PushClientServerConnectedState);
    rooms_->state.assign(PushClientServerConnectedState);
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), ElementsAre("work"));
}

TEST_F(DeferredWorkTest, RunsInTheOrderOfQueueing) {
    enqueue("first");
    enqueue("second");
    enqueue("third");
    report(PushClientServerConnectedState);
    EXPECT_THAT(takeHeard(), ElementsAre("first", "second", "third"));
}

TEST_F(DeferredWorkTest, WaitsOnWhenTheStateHasChangedAgain) {
    enqueue("work");
    rooms_->state.assign(PushClientServerConnectedState);
    rooms_->state.assign(PushClientServerDisconnectedState);
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), IsEmpty());
    report(PushClientServerConnectedState);
    EXPECT_THAT(takeHeard(), ElementsAre("work"));
}

TEST_F(DeferredWorkTest, RunsBehindTheBatchOfTheConnect) {
    identify();
    std::vector<std::string> callsBefore;
    rooms_->deferred.enqueueWhenSessionIsConnected([&] { callsBefore = sessions_->latest().calls; });
    rooms_->connection.connectToServer();
    sessions_->latest().connected();
    machine_.runUntilIdle();
    ASSERT_EQ(callsBefore.size(), 2U);
    EXPECT_TRUE(callsBefore[1].starts_with("subscribe "));
}

TEST_F(DeferredWorkTest, MayQueueMoreWorkWhileItRuns) {
    rooms_->deferred.enqueueWhenSessionIsConnected([this] { enqueue("later"); });
    report(PushClientServerConnectedState);
    EXPECT_THAT(takeHeard(), IsEmpty());
    report(PushClientServerConnectedState);
    EXPECT_THAT(takeHeard(), ElementsAre("later"));
}

TEST_F(DeferredWorkTest, RunsTheOthersAlthoughOneThrows) {
    enqueue("first");
    rooms_->deferred.enqueueWhenSessionIsConnected([] { throw std::runtime_error("host"); });
    enqueue("third");
    EXPECT_THROW(report(PushClientServerConnectedState), std::runtime_error);
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), ElementsAre("first", "third"));
}

TEST_F(DeferredWorkTest, KeepsTheRestWhenOnePieceEndsTheConnection) {
    rooms_->deferred.enqueueWhenSessionIsConnected(
        [this] { rooms_->state.assign(PushClientServerDisconnectedState); });
    enqueue("second");
    report(PushClientServerConnectedState);
    EXPECT_THAT(takeHeard(), IsEmpty());
    report(PushClientServerConnectedState);
    EXPECT_THAT(takeHeard(), ElementsAre("second"));
}

TEST_F(DeferredWorkTest, IgnoresAnEmptyBlock) {
    switchLogOn();
    rooms_->deferred.enqueueWhenSessionIsConnected(nullptr);
    EXPECT_THAT(takeLog(), testing::ElementsAre("enqueueWhenSessionIsConnected: an empty block is ignored"));
    EXPECT_FALSE(
        home_.notificationCenter->hasObserverFor(PushClientDidChangeServerConnectionStateNotification));
    connect();
    EXPECT_NO_THROW(machine_.runUntilIdle());
}

TEST_F(DeferredWorkTest, ObservesOnlyWhileSomethingWaits) {
    const auto isObserving = [this] {
        return home_.notificationCenter->hasObserverFor(
            "PushClientDidChangeServerConnectionStateNotification");
    };
    EXPECT_FALSE(isObserving());
    enqueue("work");
    EXPECT_TRUE(isObserving());
    report(PushClientServerConnectedState);
    EXPECT_FALSE(isObserving());
}

TEST_F(DeferredWorkTest, OfTheLibrarysOwnEndsWithItsIdentityAndAHostsStays) {
    const auto enqueueOwn = [this](const std::string& name) {
        rooms_->deferred.enqueueForThisIdentity([this, name] { heard_->push_back(name); });
    };
    enqueueOwn("own");
    enqueue("host's");
    enqueueOwn("another of its own");
    rooms_->deferred.dropWorkOfIdentity();
    enqueueOwn("the next identity's");
    report(PushClientServerConnectedState);
    EXPECT_THAT(takeHeard(), ElementsAre("host's", "the next identity's"));
}

TEST_F(DeferredWorkTest, ObservesNothingOnceAllOfItWasDropped) {
    rooms_->deferred.enqueueForThisIdentity([] {});
    rooms_->deferred.dropWorkOfIdentity();
    rooms_->deferred.dropWorkOfIdentity();
    EXPECT_FALSE(
        home_.notificationCenter->hasObserverFor("PushClientDidChangeServerConnectionStateNotification"));
    enqueue("work");
    report(PushClientServerConnectedState);
    EXPECT_THAT(takeHeard(), ElementsAre("work"));
}

TEST_F(DeferredWorkTest, NeverRunsForAClientThatIsGone) {
    enqueue("work");
    rooms_->state.assign(PushClientServerConnectedState);
    rooms_.reset();
    machine_.runUntilIdle();
    home_.notificationCenter->postNotification(
        {"PushClientDidChangeServerConnectionStateNotification", &manager_, {}});
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), IsEmpty());
}

}  // namespace
}  // namespace xel
