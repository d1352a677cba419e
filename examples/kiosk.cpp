// A kiosk: shows the notifications of its channel on the desktop, those with pictures and buttons too, and
// tells the service as an event which button a visitor pressed.
//
//   kiosk NAME CHANNEL
//
// A message with buttons, from another shell:
//
//   xelpush send --public --channel CHANNEL "Lunch?" --notification '{"title": "Lunch?", "mutableContent": 1,
//     "category": "lunch", "actions": [{"title": "Yes", "id": "yes"}, {"title": "No", "id": "no"}]}'

#include <cstdio>
#include <exception>

#include "examples/Example.h"

namespace {

/// Turns what visitors do into events.
class Visitors final : public xel::PushClientManagerDelegate {
public:
    explicit Visitors(xel::PushClientManager& push) : push_(push) {}

    void userNotificationCenterDidReceiveNotificationResponse(
        xel::UNUserNotificationCenter& /*center*/, const xel::UNNotificationResponse& response,
        const std::function<void()>& completion) override {
        std::printf("pressed: %s\n", response.actionIdentifier.c_str());
        std::fflush(stdout);
        push_.publishEvent("kiosk-pressed", xel::Dictionary{{"action", response.actionIdentifier}}, {});
        completion();
    }

private:
    xel::PushClientManager& push_;
};

void runKiosk(const std::string& name, const std::string& channel) {
    boost::asio::io_context context;
    xel::LinuxOptions options;
    options.hostContext = &context;
    options.applicationName = "Kiosk";
    const xel::Machine machine = xel::makeLinuxMachine(options);
    xel::PushClientManager push(machine, example::openHome(options, machine, "kiosk-" + name));

    const auto visitors = std::make_shared<Visitors>(push);
    push.addDelegate(visitors);
    push.setServerConnectionStateHandler(
        [&] { std::fprintf(stderr, "[%s]\n", std::string(push.connectionStateString()).c_str()); });
    push.registerForAPNsToken();  // also: may notifications be shown?
    if (!example::registerWithService(push, name, {channel})) {
        throw std::runtime_error(push.failureError()->localizedDescription());
    }
    example::runUntilSignal(context, machine);
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::fprintf(stderr, "usage: %s NAME CHANNEL\n", arguments[0]);
        return 2;
    }
    try {
        xel::PushClientManager::setDevelopment(true);
        runKiosk(arguments[1], arguments[2]);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
