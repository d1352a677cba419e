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
    example::tellStates(push);
    push.registerForAPNsToken();  // also: may notifications be shown?
    example::registerWithService(push, name, {channel});
    example::runUntilSignal(context, machine);
}

}  // namespace

int main(int count, char** arguments) {
    return example::run(count == 3, "kiosk NAME CHANNEL", [&] { runKiosk(arguments[1], arguments[2]); });
}
