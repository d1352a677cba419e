#pragma once

#include <functional>
#include <memory>
#include <string>

#include "XelPushClient/Platform/Home.h"
#include "XelPushClient/Platform/Machine.h"
#include "XelPushClient/Testing/Broker/FakeBroker.h"
#include "XelPushClient/Testing/FakeApplication.h"
#include "XelPushClient/Testing/FakeClock.h"
#include "XelPushClient/Testing/FakeDevice.h"
#include "XelPushClient/Testing/FakeDisk.h"
#include "XelPushClient/Testing/FakeFileManager.h"
#include "XelPushClient/Testing/FakeHTTPTransport.h"
#include "XelPushClient/Testing/FakeLocalizedStrings.h"
#include "XelPushClient/Testing/FakeLocationSource.h"
#include "XelPushClient/Testing/FakeNetwork.h"
#include "XelPushClient/Testing/FakeNotificationCenter.h"
#include "XelPushClient/Testing/FakeOperationQueue.h"
#include "XelPushClient/Testing/FakeReachability.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/FakeThread.h"
#include "XelPushClient/Testing/FakeURLSession.h"
#include "XelPushClient/Testing/RecordingLogSink.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"

namespace xel {

/// How many loops a `FakeMachine` has.
enum class FakeMachineLoops {
    One,            ///< the managers' loop is the main loop
    MainLoopApart,  ///< broadcast notifications have a loop of their own
};

/// A whole machine of fakes, wired together. Sessions are the library's own, over the fake network.
///
/// Hold it for as long as its managers live. To play a kill, have `kill` drop the manager and its home,
/// and make another manager with `makeHome` of the same name: the disk and the broker remember. Thread:
/// the one that made it.
class FakeMachine {
public:
    explicit FakeMachine(FakeMachineLoops loops = FakeMachineLoops::One);
    ~FakeMachine();
    FakeMachine(const FakeMachine&) = delete;
    FakeMachine& operator=(const FakeMachine&) = delete;

    /// The ports, for a manager.
    [[nodiscard]] Machine machine() const;

    /// A home on the disk, with a notification centre of its own. Throws `std::runtime_error` while
    /// another home of that name is held.
    [[nodiscard]] Home makeHome(const std::string& name = "home") const;

    /// Drives all loops, as `FakeRunLoop` says.
    void runUntilIdle();
    void advanceBy(FakeRunLoop::Duration duration);

    /// Throws away what is posted, scheduled and waiting for an answer, and every connection, as the end
    /// of a process does.
    void discardPostedWork();

    /// Kills the process: from here on nothing that it does reaches anybody. `drop` drops everything
    /// that was in it, its managers and homes. The next manager is another process's. So does a process
    /// end that has died at a write (`FakeDisk::killAt`): `kill` is called by whoever catches
    /// `ProcessKilled`.
    void kill(const std::function<void()>& drop);

    /// Forgets what clients have sent, asked for, logged and shown so far. A long run, which looks by
    /// observers, does so now and then: records grow without end.
    void clearRecords();

    const std::shared_ptr<FakeRunLoop> runLoop;
    const std::shared_ptr<FakeRunLoop> mainRunLoop;
    const std::shared_ptr<FakeClock> clock;
    const std::shared_ptr<RecordingLogSink> logSink;
    const std::shared_ptr<FakeNetwork> network;
    const std::shared_ptr<FakeBroker> broker;
    const std::shared_ptr<FakeDisk> disk;
    const std::shared_ptr<MQTTSessionFactory> sessions;
    const std::shared_ptr<FakeHTTPTransport> http;
    const std::shared_ptr<FakeFileManager> files;
    const std::shared_ptr<FakeURLSession> urlSession;
    const std::shared_ptr<FakeLocalizedStrings> strings;
    const std::shared_ptr<FakeThread> threads;
    const std::shared_ptr<FakeOperationQueueFactory> operationQueues;
    const std::shared_ptr<SimpleJSONSerialization> json;
    const std::shared_ptr<FakeReachabilityFactory> reachability;
    const std::shared_ptr<FakeApplication> application;
    const std::shared_ptr<FakeNotificationCenter> notificationCenter;
    const std::shared_ptr<FakeLocationSource> locationSource;
    const std::shared_ptr<FakeDevice> device;
    const std::shared_ptr<FakeBundle> bundle;

    /// Settings of the deployment; change them before a manager is made.
    Endpoints endpoints;
};

}  // namespace xel
