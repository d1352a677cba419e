// The host of the kill test: notes in a file every message that it is handed, or every event that it was
// promised the publishing of, and is killed while it does.
//
//   kill_host <delegate|block|notification|publish|drain> <state folder> <notes> <CA file>
//
// "drain" publishes nothing: what earlier lives left is sent.
// Application, ports and credentials come by environment, as for every host of the local push service.

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/XelPushClient.h"
#include "tests/kill/EventPublisher.h"
#include "tests/kill/ReceivedLog.h"

namespace {

using xel::killtest::EventPublisher;
using xel::killtest::ReceivedLog;

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
    if (way == "delegate") {
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
        throw std::invalid_argument("the way is delegate, block, notification, publish or drain, not " + way);
    }
}

std::string fromEnvironment(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr) {
        throw std::invalid_argument(std::string(name) + " is not set");
    }
    return value;
}

int run(const std::string& way, const std::string& stateFolder, const std::string& notes,
        const std::string& caFile) {
    xel::PushClientManager::setDevelopment(true);
    xel::LinuxOptions options;
    options.stateFolder = stateFolder;
    options.documentsFolder = stateFolder + "/documents";
    options.caFile = caFile;
    xel::Machine machine = xel::makeLinuxMachine(options);
    auto home = xel::openLinuxHome(options, machine);
    if (!home) {
        throw std::runtime_error(home.error().localizedDescription());
    }
    ReceivedLog log(notes);
    log.note(xel::killtest::kStartLine);
    const auto runLoop = machine.runLoop;
    xel::PushClientManager push(std::move(machine), std::move(home).value());
    listen(push, way, log);
    EventPublisher publisher(push, *runLoop, log);
    if (way == "publish") {
        publisher.start();
    }
    push.registerApplication(fromEnvironment("XELPUSH_APP_ID"), fromEnvironment("XELPUSH_API_KEY"),
                             fromEnvironment("XELPUSH_BROKER_USER"),
                             fromEnvironment("XELPUSH_BROKER_PASSWORD"));
    if (push.deviceId()) {
        // A host that was registered in an earlier life may connect at once, so that more of a life is spent
        // receiving.
        push.connectToServer();
    } else {
        push.registerUser("killed01");
    }
    runLoop->run();
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: kill_host <delegate|block|notification|publish|drain> <state folder> <notes> "
                     "<CA file>\n";
        return 2;
    }
    try {
        return run(argv[1], argv[2], argv[3], argv[4]);
    } catch (const std::exception& error) {
        std::cerr << "kill_host: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
