#include "XelPushClient/Testing/FakeMachine.h"

#include <algorithm>
#include <stdexcept>

#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/MQTTSDK/MQTTClientSessionFactory.h"
#include "XelPushClient/Testing/InMemorySessionMemory.h"
#include "XelPushClient/Testing/InMemoryUserDefaults.h"

namespace xel {

FakeMachine::FakeMachine(FakeMachineLoops loops)
    : runLoop(std::make_shared<FakeRunLoop>()),
      mainRunLoop(loops == FakeMachineLoops::One ? runLoop : std::make_shared<FakeRunLoop>()),
      clock(std::make_shared<FakeClock>(runLoop)),
      logSink(std::make_shared<RecordingLogSink>()),
      network(std::make_shared<FakeNetwork>()),
      broker(std::make_shared<FakeBroker>(*network, *runLoop)),
      disk(std::make_shared<FakeDisk>()),
      sessions(std::make_shared<MQTTClientSessionFactory>(network, clock, mainRunLoop.get())),
      http(std::make_shared<FakeHTTPTransport>(runLoop)),
      files(std::make_shared<FakeFileManager>()),
      urlSession(std::make_shared<FakeURLSession>(runLoop, files)),
      strings(std::make_shared<FakeLocalizedStrings>()),
      threads(std::make_shared<FakeThread>()),
      operationQueues(std::make_shared<FakeOperationQueueFactory>(runLoop)),
      json(std::make_shared<SimpleJSONSerialization>()),
      reachability(std::make_shared<FakeReachabilityFactory>(runLoop)),
      application(std::make_shared<FakeApplication>(runLoop)),
      notificationCenter(std::make_shared<FakeNotificationCenter>(runLoop, files)),
      locationSource(std::make_shared<FakeLocationSource>(runLoop, clock)),
      device(std::make_shared<FakeDevice>()),
      bundle(std::make_shared<FakeBundle>()) {}

FakeMachine::~FakeMachine() {
    discardPostedWork();
}

Machine FakeMachine::machine() const {
    Machine machine;
    machine.runLoop = runLoop;
    machine.mainRunLoop = mainRunLoop;
    machine.clock = clock;
    machine.logSink = logSink;
    machine.operationQueues = operationQueues;
    machine.sessions = sessions;
    machine.http = http;
    machine.files = files;
    machine.urlSession = urlSession;
    machine.strings = strings;
    machine.threads = threads;
    machine.json = json;
    machine.reachability = reachability;
    machine.application = application;
    machine.notificationCenter = notificationCenter;
    machine.locationSource = locationSource;
    machine.device = device;
    machine.bundle = bundle;
    machine.endpoints = endpoints;
    return machine;
}

Home FakeMachine::makeHome(const std::string& name) const {
    auto defaults = InMemoryUserDefaults::open(disk, name);
    if (!defaults) {
        throw std::runtime_error(defaults.error().localizedDescription());
    }
    Home home;
    home.defaults = std::move(defaults).value();
    home.sessionMemory = std::make_shared<InMemorySessionMemory>(disk, name);
    home.notificationCenter = std::make_shared<NSNotificationCenter>();
    home.documentsDirectory = "/documents/" + name;
    return home;
}

void FakeMachine::runUntilIdle() {
    for (std::size_t rounds = 0; runLoop->hasWorkDue() || mainRunLoop->hasWorkDue(); ++rounds) {
        if (rounds == FakeRunLoop::kMostSteps) {
            throw std::runtime_error("two fake run loops keep each other busy for ever");
        }
        runLoop->runUntilIdle();
        mainRunLoop->runUntilIdle();
    }
}

void FakeMachine::advanceBy(FakeRunLoop::Duration duration) {
    const auto end = runLoop->elapsed() + duration;
    for (;;) {
        runUntilIdle();
        auto next = end;
        for (const auto& loop : {runLoop, mainRunLoop}) {
            // Both loops stop at the timers of either, so that
            // what one posts to the other runs at that time.
            next = std::min(next, loop->nextTimerDeadline().value_or(end));
        }
        const bool isLast = next >= end;
        runLoop->advanceTo(next);
        mainRunLoop->advanceTo(next);
        if (isLast) {
            runUntilIdle();
            return;
        }
    }
}

void FakeMachine::discardPostedWork() {
    broker->dropConnections();  // what would tell it that they have ended is thrown away
    runLoop->discardEverything();
    mainRunLoop->discardEverything();
    http->discardWaiting();  // a waiting completion holds its transport
    urlSession->discardWaiting();
}

void FakeMachine::clearRecords() {
    network->clearRecords();
    broker->clearRecords();
    http->clearRequests();
    urlSession->clearURLs();
    logSink->clear();
    application->clearRecords();
}

void FakeMachine::kill(const std::function<void()>& drop) {
    disk->killProcess();
    discardPostedWork();
    doThenAlways(drop, [this] {
        discardPostedWork();  // what was posted by what was dropped
        application->processHasEnded();
        disk->processHasEnded();
    });
}

}  // namespace xel
