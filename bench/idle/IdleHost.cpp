#include "bench/idle/IdleHost.h"

#include <chrono>
#include <cstdio>
#include <stdexcept>

#include "XelPushClient/Classes/PushClientManager.h"
#include "bench/common/ProcessFigures.h"
#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"

namespace xel::bench {

namespace {

/// Until what connecting has begun is over: acknowledgements, the store's own thread.
constexpr std::chrono::milliseconds kSettling{200};
constexpr std::chrono::milliseconds kGrace{20};

}  // namespace

int runIdleHost(const BenchOptions& commandLine, MachineMaker makeMachine) {
    ProcessFigures figures;
    const SubjectOptions subject(commandLine);
    OursOptions options;
    options.stateFolder = subject.stateFolder;
    options.certificate = commandLine.text("rest-certificate", subject.certificate);
    options.brokerPort = subject.port;
    options.restPort = static_cast<int>(commandLine.number("rest-port", 0));
    const OursPlatform platform(options, makeMachine);
    const auto runLoop = platform.machine().runLoop;
    platform.rememberIdentity(kSampleUserId, "bench-device");

    PushClientManager::setDevelopment(true);
    PushClientManager push(platform.machine(), platform.home());
    int exitCode = 1;
    const auto settle = [&] {
        runLoop->scheduleTimer(kSettling, [&] {
            exitCode = figures.report();
            push.disconnectFromServer();
            runLoop->scheduleTimer(kGrace, [&] { runLoop->stop(); });
        });
    };
    push.setMessageUILocalNotificationHandler([](const PushClientMessage&) {});
    push.setMessageHandler([&](const PushClientMessage&) {
        figures.didReceiveFirst();
        if (options.restPort == 0) {
            settle();
            return;
        }
        push.requestMethod(
            "GET", "bench", std::nullopt, [&](const Value&) { settle(); },
            [&](const NSError& error) {
                std::fprintf(stderr, "the request failed: %s\n", describeError(error).c_str());
                runLoop->stop();
            });
    });
    push.enqueueWhenSessionIsConnected([&] { figures.didConnect(); });
    push.registerApplication(std::string(kSampleAppId), "bench-key", "bench-user", "bench-password");
    push.setUsingSSLConnection(!subject.certificate.empty());
    push.connectToServer();
    runLoop->run();
    return exitCode;
}

}  // namespace xel::bench
