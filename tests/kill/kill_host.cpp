// The host of the kill test: notes in a file every message that it is handed, or every event that it was
// promised the publishing of, and is killed while it does.
//
//   kill_host <delegate|block|notification|publish|drain|both> <state folder> <notes> <CA file>
//
// "drain" publishes nothing: what earlier lives left is sent. "both" hears by delegate and publishes, for as
// long as it is let live.
// Application, ports and credentials come by environment, as for every host of the local push service.

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "XelPushClient/XelPushClient.h"
#include "tests/kill/EventPublisher.h"
#include "tests/kill/ReceivedLog.h"
#include "tests/kill/RigClient.h"

namespace {

using namespace std::chrono_literals;
using xel::killtest::EventPublisher;
using xel::killtest::PublishingPace;
using xel::killtest::ReceivedLog;
using xel::rig::RigClient;

/// A life of half a second publishes a few thousand at most: far less than the session keeps without an
/// acknowledgement. One that lasts may have to keep what it publishes in some seconds.
constexpr PublishingPace kShortLife{1ms, 8};
constexpr PublishingPace kLongLife{5ms, 1};

class NotingDelegate : public xel::PushClientManagerDelegate {
public:
    explicit NotingDelegate(ReceivedLog& log) : log_(log) {}

    void pushClientManagerDidReceivedMessage(const xel::PushClientMessage& message) override {
        log_.note(message.messageBody.value_or("no body"));
    }

private:
    ReceivedLog& log_;
};

void listen(xel::PushClientManager& push, const std::string& way, ReceivedLog& log) {
    // The host shows its own notifications, so that nothing but the way under test is measured.
    push.setMessageUILocalNotificationHandler([](const xel::PushClientMessage&) {});
    if (way == "delegate" || way == "both") {
        push.addDelegate(std::make_shared<NotingDelegate>(log));
    } else if (way == "block") {
        push.setMessageHandler([&log](const xel::PushClientMessage& message) {
            log.note(message.messageBody.value_or("no body"));
        });
    } else if (way == "notification") {
        push.notificationCenter().addObserver(
            std::string(xel::PushClientDidReceivedMessageNotification), nullptr,
            [&log](const xel::NSNotification& notification) {
                const auto* message = notification.userInfo.get<xel::PushClientMessage>("message");
                log.note(message == nullptr ? "no message" : message->messageBody.value_or("no body"));
            });
    } else if (way != "publish" && way != "drain") {
        throw std::invalid_argument("the way is delegate, block, notification, publish, drain or both, not " +
                                    way);
    }
}

int run(const std::string& way, const std::string& stateFolder, const std::string& notes,
        const std::string& caFile) {
    ReceivedLog log(notes);
    RigClient client(stateFolder, caFile);
    log.note(xel::killtest::kStartLine);
    listen(client.push(), way, log);
    EventPublisher publisher(client.push(), client.runLoop(), log, way == "both" ? kLongLife : kShortLife);
    if (way == "publish" || way == "both") {
        publisher.start();
    }
    client.registerApplication();
    client.connect("killed01");
    client.runLoop().run();
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: kill_host <delegate|block|notification|publish|drain|both> <state folder> "
                     "<notes> <CA file>\n";
        return 2;
    }
    try {
        return run(argv[1], argv[2], argv[3], argv[4]);
    } catch (const std::exception& error) {
        std::cerr << "kill_host: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
