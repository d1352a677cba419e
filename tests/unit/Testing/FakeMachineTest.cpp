#include <stdexcept>

#include <gtest/gtest.h>

#include "XelPushClient/Testing/FakeMachine.h"

namespace xel {
namespace {

TEST(FakeMachine, SetsEveryPort) {
    const FakeMachine fakes;
    const auto machine = fakes.machine();
    EXPECT_NE(machine.runLoop, nullptr);
    EXPECT_EQ(machine.mainRunLoop, machine.runLoop);
    EXPECT_NE(machine.clock, nullptr);
    EXPECT_NE(machine.logSink, nullptr);
    EXPECT_NE(machine.operationQueues, nullptr);
    EXPECT_NE(machine.sessions, nullptr);
    EXPECT_NE(machine.http, nullptr);
    EXPECT_NE(machine.json, nullptr);
    EXPECT_NE(machine.reachability, nullptr);
    EXPECT_NE(machine.application, nullptr);
    EXPECT_NE(machine.notificationCenter, nullptr);
    EXPECT_NE(machine.locationSource, nullptr);
    EXPECT_NE(machine.device, nullptr);
    EXPECT_NE(machine.bundle, nullptr);
}

TEST(FakeMachine, KeepsWhatWasStoredAndLosesTheRestWhenAHomeIsDropped) {
    const FakeMachine fakes;
    {
        const auto home = fakes.makeHome();
        home.defaults->setObject("stored", 1);
        ASSERT_TRUE(home.defaults->synchronize());
        home.defaults->setObject("lost", 1);
        EXPECT_THROW(static_cast<void>(fakes.makeHome()), std::runtime_error);
    }
    const auto home = fakes.makeHome();
    EXPECT_EQ(home.defaults->integerForKey("stored"), 1);
    EXPECT_EQ(home.defaults->objectForKey("lost"), std::nullopt);
}

TEST(FakeMachine, KeepsHomesOfDifferentNamesApart) {
    const FakeMachine fakes;
    const auto first = fakes.makeHome("first");
    const auto second = fakes.makeHome("second");
    first.defaults->setObject("key", 1);
    ASSERT_TRUE(first.defaults->synchronize());
    ASSERT_TRUE(first.sessionMemory->storeGrantedTopics("c", {{"t", 1}}).isOk());
    EXPECT_EQ(second.defaults->objectForKey("key"), std::nullopt);
    EXPECT_TRUE(second.sessionMemory->loadGrantedTopics("c").value().empty());
    EXPECT_NE(first.notificationCenter, second.notificationCenter);
}

TEST(FakeMachine, DrivesTwoLoopsInStep) {
    FakeMachine fakes(FakeMachineLoops::MainLoopApart);
    ASSERT_NE(fakes.runLoop, fakes.mainRunLoop);
    std::string order;
    fakes.mainRunLoop->scheduleTimer(std::chrono::seconds(2), [&] { order += "2"; });
    fakes.runLoop->scheduleTimer(std::chrono::seconds(1), [&] {
        order += "1";
        fakes.mainRunLoop->post([&] {
            order += "m";
            fakes.runLoop->post([&] { order += "r"; });
        });
    });
    fakes.runLoop->scheduleTimer(std::chrono::seconds(3), [&] { order += "3"; });
    fakes.advanceBy(std::chrono::seconds(3));
    EXPECT_EQ(order, "1mr23");
    EXPECT_EQ(fakes.mainRunLoop->elapsed(), std::chrono::seconds(3));
}

TEST(FakeMachine, KillsAProcessWithEverythingThatItDoesOnItsWayOut) {
    FakeMachine fakes;
    auto home = fakes.makeHome();
    bool hasRun = false;
    fakes.runLoop->post([&] { hasRun = true; });
    fakes.kill([&] {
        home.defaults->setObject("late", 1);
        EXPECT_TRUE(home.defaults->synchronize()) << "it is told so";
        fakes.runLoop->post([&] { hasRun = true; });
        home = Home();
    });
    fakes.runUntilIdle();
    EXPECT_FALSE(hasRun);
    EXPECT_EQ(fakes.disk->contents("home").settings.find("late"), nullptr);
    home = fakes.makeHome();
    home.defaults->setObject("next", 1);
    ASSERT_TRUE(home.defaults->synchronize());
    EXPECT_NE(fakes.disk->contents("home").settings.find("next"), nullptr);
}

TEST(FakeMachine, ForgetsItsRecords) {
    FakeMachine fakes;
    fakes.http->send({"POST", "https://host/api/installations", {}, "{}"}, [](const auto&) {});
    fakes.application->presentLocalNotificationNow({});
    static_cast<void>(fakes.application->beginBackgroundTaskWithName("task", nullptr));
    fakes.clearRecords();
    EXPECT_TRUE(fakes.http->requests().empty());
    EXPECT_EQ(fakes.http->waitingCount(), 1U) << "what waits goes on waiting";
    EXPECT_TRUE(fakes.application->presentedNotifications().empty());
    EXPECT_TRUE(fakes.application->begunBackgroundTaskNames().empty());
    EXPECT_EQ(fakes.application->runningBackgroundTaskNames().size(), 1U);
}

TEST(FakeDisk, HoldsTheCommitsOfTurnsUntilItAnswers) {
    const FakeMachine fakes;
    auto home = fakes.makeHome();
    fakes.disk->setHoldingTurnCommits(true);
    home.defaults->setObject("key", 1);
    int answers = 0;
    home.defaults->synchronizeTurn([&](bool isStored) { answers += isStored ? 1 : 100; });
    EXPECT_EQ(answers, 0);
    EXPECT_EQ(fakes.disk->contents("home").settings.find("key"), nullptr);
    fakes.disk->answerHeldTurnCommits();
    EXPECT_EQ(answers, 1);
    EXPECT_NE(fakes.disk->contents("home").settings.find("key"), nullptr);
    home.defaults->setObject("key", 2);
    home.defaults->synchronizeTurn([&](bool) { answers += 100; });
    home = Home();
    fakes.disk->answerHeldTurnCommits();
    EXPECT_EQ(answers, 1) << "its store is gone";
    EXPECT_EQ(*fakes.disk->contents("home").settings.find("key"), Value(1));
}

TEST(FakeHTTPTransport, LetsARequestWaitUntilItsAnswerIsArranged) {
    FakeMachine fakes;
    int status = 0;
    fakes.http->send({"POST", "https://host/api/installations?access_token=k", {}, "{}"},
                     [&](const Result<HTTPResponse>& result) { status = result.value().status; });
    fakes.runUntilIdle();
    EXPECT_EQ(fakes.http->waitingCount(), 1U);
    fakes.http->answer("GET", "installations", 200, "");
    fakes.http->answer("POST", "installations/D1", 200, "");
    fakes.runUntilIdle();
    EXPECT_EQ(status, 0);
    fakes.http->answer("POST", "installations", 201, "");
    EXPECT_EQ(status, 0) << "never inside a call";
    fakes.runUntilIdle();
    EXPECT_EQ(status, 201);
    EXPECT_EQ(fakes.http->requestsTo("POST", "api/installations").size(), 1U);
}

TEST(UrlHasPath, ComparesWholeSegmentsAtTheEnd) {
    EXPECT_TRUE(urlHasPath("https://host/api/installations?a=b", "installations"));
    EXPECT_TRUE(urlHasPath("https://host/api/installations", "/api/installations"));
    EXPECT_TRUE(urlHasPath("https://host/api/installations/D1", "installations/*"));
    EXPECT_FALSE(urlHasPath("https://host/api/installations/D1", "installations"));
    EXPECT_FALSE(urlHasPath("https://host/api/oldinstallations", "installations"));
    EXPECT_FALSE(urlHasPath("https://installations", "installations"));
}

}  // namespace
}  // namespace xel
