// A host with our client on the Linux platform, as after a restart: the user and the installation are
// known from the store, so that the host connects without registering anew. Logging is off, and the host
// shows its own notifications.

#include <chrono>
#include <cmath>

#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Linux/LinuxPlatform.h"
#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"
#include "bench/ours/OursPlatform.h"

namespace xel::bench {

namespace {

/// Long enough for the last turn's acknowledgements, and then for the DISCONNECT, to be written.
constexpr std::chrono::milliseconds kGrace{50};

void tallyMessage(SubjectTally& tally, const PushClientMessage& message) {
    SeenFields seen;
    seen.id = message.id ? std::string_view(*message.id) : std::string_view();
    seen.messageBody = message.messageBody ? std::string_view(*message.messageBody) : std::string_view();
    seen.senderId = message.senderId ? std::string_view(*message.senderId) : std::string_view();
    if (message.serverTime) {
        seen.serverTimeMs = std::llround(millisecondsSince1970(*message.serverTime));
    }
    if (message.data) {
        const Value* state = message.data->find("state");
        if (const std::string* text = state != nullptr ? state->asString() : nullptr) {
            seen.state = *text;
        }
        const Value* order = message.data->find("orderId");
        if (const std::int64_t* number = order != nullptr ? order->asInteger() : nullptr) {
            seen.orderId = *number;
        }
    }
    tally.add(seen);
}

int run(const BenchOptions& commandLine) {
    const SubjectOptions subject(commandLine);
    OursOptions options;
    options.stateFolder = subject.stateFolder;
    options.brokerPort = subject.port;
    options.certificate = subject.certificate;
    const OursPlatform platform(options, makeLinuxMachine);
    const auto runLoop = platform.machine().runLoop;
    platform.rememberIdentity(kSampleUserId, "bench-device");

    SubjectTally tally(subject);
    PushClientManager::setDevelopment(true);
    PushClientManager push(platform.machine(), platform.home());
    push.setMessageUILocalNotificationHandler([](const PushClientMessage&) {});
    push.setMessageHandler([&](const PushClientMessage& message) {
        tallyMessage(tally, message);
        if (tally.messages == subject.count) {
            runLoop->scheduleTimer(kGrace, [&] {
                push.disconnectFromServer();
                runLoop->scheduleTimer(kGrace, [&] { runLoop->stop(); });
            });
        }
    });
    push.registerApplication(std::string(kSampleAppId), "bench-key", "bench-user", "bench-password");
    push.setUsingSSLConnection(!subject.certificate.empty());
    push.connectToServer();
    runLoop->run();
    return tally.finish(subject, true);
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
