#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LifecycleMonitorTest : public RoomsTest {
protected:
    LifecycleMonitorTest() {
        rooms_->lifecycle.observeApplication();
        rooms_->lifecycle.observeReachability();
    }

    LifecycleMonitor& room() { return rooms_->lifecycle; }
    bool isConnecting() { return rooms_->state.value() == PushClientServerConnectingState; }
    void setNetwork(bool isReachable, PushClientServerReachabilityNetworkType type) {
        machine_.reachability->setNetwork(isReachable, type);
        machine_.runUntilIdle();
    }
};

TEST_F(LifecycleMonitorTest, StartsWithTheNetworkOfTheMoment) {
    EXPECT_TRUE(room().isServerReachable());
    EXPECT_EQ(room().serverNetworkType(), PushClientServerReachabilityWifiNetworkType);
    EXPECT_EQ(machine_.reachability->startedCount(), 1U);
    EXPECT_EQ(room().backgroundTask(), UIBackgroundTaskInvalid);
}

TEST_F(LifecycleMonitorTest, ReportsAChangeOfNetworkAndConnects) {
    identify();
    addDelegate();
    switchLogOn();
    setNetwork(true, PushClientServerReachabilityCelluarNetworkType);
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Reachability 1 1", "delegate: ConnectionState"));
    EXPECT_EQ(firstOf(takeLog()),
              "[-[PushClientManager handleReachabilityStatus]]: ONLINE! Calling connectToServer");
    EXPECT_TRUE(isConnecting());
    EXPECT_EQ(room().serverNetworkType(), PushClientServerReachabilityCelluarNetworkType);
}

TEST_F(LifecycleMonitorTest, IgnoresAReportWithoutAChange) {
    identify();
    addDelegate();
    setNetwork(true, PushClientServerReachabilityWifiNetworkType);
    room().handleReachabilityStatus();
    EXPECT_THAT(takeHeard(), IsEmpty());
    EXPECT_FALSE(isConnecting());
}

TEST_F(LifecycleMonitorTest, ReportsTheLossOfTheNetworkAndTriesNothing) {
    identify();
    addDelegate();
    setNetwork(false, PushClientServerReachabilityNoNetworkFoundType);
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Reachability 0 0"));
    EXPECT_FALSE(room().isServerReachable());
    EXPECT_FALSE(isConnecting());
}

TEST_F(LifecycleMonitorTest, DecidesByTheKindOfNetworkNotByTheFlag) {
    identify();
    setNetwork(true, PushClientServerReachabilityNoNetworkFoundType);
    EXPECT_FALSE(isConnecting());
    setNetwork(false, PushClientServerReachabilityWifiNetworkType);
    EXPECT_TRUE(isConnecting());
}

TEST_F(LifecycleMonitorTest, ReportsAChangeOfTheFlagAlone) {
    addDelegate();
    setNetwork(false, PushClientServerReachabilityWifiNetworkType);
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Reachability 0 2"));
}

TEST_F(LifecycleMonitorTest, ConnectsWhenTheApplicationComesToTheFront) {
    identify();
    switchLogOn();
    machine_.application->willResignActive();
    machine_.application->didBecomeActive();
    EXPECT_FALSE(isConnecting());
    machine_.application->didEnterBackground();
    EXPECT_THAT(takeLog(), IsEmpty());
    EXPECT_FALSE(isConnecting());
    machine_.application->willEnterForeground();
    EXPECT_TRUE(isConnecting());
    EXPECT_EQ(firstOf(takeLog()),
              "[-[PushClientManager applicationWillEnterForeground:]] Calling pending "
              "registration & connectToServer");
}

TEST_F(LifecycleMonitorTest, StaysConnectedInTheBackgroundUnderATask) {
    connect();
    machine_.application->didEnterBackground();
    EXPECT_THAT(machine_.application->runningBackgroundTaskNames(), ElementsAre("XEL PUSH BG Task"));
    EXPECT_NE(room().backgroundTask(), UIBackgroundTaskInvalid);
    EXPECT_TRUE(rooms_->state.isConnected());
}

TEST_F(LifecycleMonitorTest, KeepsOnlyTheSecondOfTwoTasks) {
    machine_.application->didEnterBackground();
    const auto first = room().backgroundTask();
    machine_.application->willEnterForeground();
    machine_.application->didEnterBackground();
    EXPECT_NE(room().backgroundTask(), first);
    room().endBackgroundTask();
    EXPECT_EQ(machine_.application->runningBackgroundTaskNames().size(), 1U) << "nobody ends the first";
}

TEST_F(LifecycleMonitorTest, DisconnectsWhenTheBackgroundTimeIsUp) {
    auto& session = connect();
    machine_.application->didEnterBackground();
    machine_.application->setBackgroundTimeRemaining(4.96);
    switchLogOn();
    session.calls.clear();
    machine_.application->expireBackgroundTasks();
    EXPECT_THAT(session.calls, ElementsAre("close"));
    EXPECT_THAT(machine_.application->runningBackgroundTaskNames(), IsEmpty());
    EXPECT_EQ(room().backgroundTask(), UIBackgroundTaskInvalid);
    EXPECT_THAT(takeLog(),
                ElementsAre("########################### Expired Background Task!", "Time remaining: 5.0",
                            "[-[PushClientManager disconnectFromServer]]: Disconnect Request... ",
                            "[-[PushClientManager handleEvent:event:error:]]: ConnectionClosed"));
}

TEST_F(LifecycleMonitorTest, HoldsTheTaskOfTheApplicationItWasGiven) {
    FakeApplication other(machine_.runLoop);
    other.didEnterBackground();
    other.setBackgroundTimeRemaining(7.0);
    switchLogOn();
    room().applicationDidEnterBackground(other);
    EXPECT_THAT(other.runningBackgroundTaskNames(), ElementsAre("XEL PUSH BG Task"));
    other.expireBackgroundTasks();
    EXPECT_THAT(takeLog(), testing::Contains("Time remaining: 7.0"));
    EXPECT_THAT(other.runningBackgroundTaskNames(), IsEmpty());
    EXPECT_EQ(room().backgroundTask(), UIBackgroundTaskInvalid);
}

TEST_F(LifecycleMonitorTest, EndsTheTaskWhenTimeIsUpWithoutAConnection) {
    machine_.application->didEnterBackground();
    machine_.application->expireBackgroundTasks();
    EXPECT_THAT(machine_.application->runningBackgroundTaskNames(), IsEmpty());
    EXPECT_EQ(room().backgroundTask(), UIBackgroundTaskInvalid);
}

TEST_F(LifecycleMonitorTest, EndsTheTaskWhenTheConnectionIsClosed) {
    auto& session = connect();
    machine_.application->didEnterBackground();
    session.close();
    EXPECT_THAT(machine_.application->runningBackgroundTaskNames(), IsEmpty());
    EXPECT_EQ(room().backgroundTask(), UIBackgroundTaskInvalid);
}

TEST_F(LifecycleMonitorTest, QueuesTheDisconnectWhenTheApplicationTerminates) {
    auto& session = connect();
    session.calls.clear();
    machine_.application->willTerminate();
    EXPECT_THAT(session.calls, IsEmpty());
    machine_.runUntilIdle();
    EXPECT_THAT(session.calls, ElementsAre("close"));
}

TEST_F(LifecycleMonitorTest, HearsNothingOnceDetached) {
    identify();
    room().stopObservingApplication();
    machine_.application->didEnterBackground();
    machine_.application->willEnterForeground();
    EXPECT_FALSE(isConnecting());
    EXPECT_THAT(machine_.application->begunBackgroundTaskNames(), IsEmpty());
    setNetwork(true, PushClientServerReachabilityCelluarNetworkType);
    EXPECT_TRUE(isConnecting()) << "reachability is another matter";
}

TEST_F(LifecycleMonitorTest, FindsTheApplicationOfANotification) {
    EXPECT_EQ(LifecycleMonitor::applicationFromNotification({"name", machine_.application.get(), {}}),
              machine_.application.get());
    EXPECT_EQ(LifecycleMonitor::applicationFromNotification({"name", &manager_, {}}), nullptr);
    EXPECT_EQ(LifecycleMonitor::applicationFromNotification({"name", nullptr, {}}), nullptr);
}

TEST_F(LifecycleMonitorTest, IgnoresLifecycleNotificationsOfOthers) {
    identify();
    home_.notificationCenter->postNotification(
        {std::string(UIApplicationWillEnterForegroundNotification), &manager_, {}});
    EXPECT_FALSE(isConnecting());
}

TEST_F(LifecycleMonitorTest, StopsListeningWhenItIsDestroyed) {
    machine_.application->didEnterBackground();
    rooms_.reset();
    EXPECT_EQ(machine_.reachability->startedCount(), 0U);
    machine_.application->expireBackgroundTasks();
    machine_.application->willEnterForeground();
    setNetwork(true, PushClientServerReachabilityCelluarNetworkType);
    EXPECT_TRUE(sessions_->made.empty());
}

}  // namespace
}  // namespace xel
