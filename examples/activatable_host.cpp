// A host that the session's bus starts when a push message comes for it, and that prints each message's
// payload. docs/push-messages.md tells what it takes. The environment is that of ten_line_host;
// XELPUSH_BUS_NAME is the host's name on the bus.

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Linux/AsioRunLoop.h"
#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/XelPushClient.h"

namespace {

std::optional<std::string> setting(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

class Printer : public xel::UIApplicationDelegate {
public:
    void applicationDidReceiveRemoteNotification(xel::UIApplication& /*application*/,
                                                 const xel::Dictionary& payload) override {
        std::puts(xel::printJSON(payload, xel::JSONLayout::OneLine).c_str());
        std::fflush(stdout);
    }
};

}  // namespace

int main() {
    xel::PushClientManager::setDevelopment(true);
    // The name is the host's from here on: what made the bus start it waits until somebody takes it.
    const xel::LinuxOptions options;
    const auto machine = xel::makeLinuxMachine(options);
    auto home = xel::openLinuxHome(options, machine);
    if (!home) {
        std::fprintf(stderr, "%s\n", home.error().localizedDescription().c_str());
        return 1;
    }
    xel::PushClientManager push(machine, std::move(home).value());
    const auto printer = std::make_shared<Printer>();
    machine.application->attachDelegate(printer);

    push.registerApplication(setting("XELPUSH_APP_ID"), setting("XELPUSH_API_KEY"),
                             setting("XELPUSH_BROKER_USER"), setting("XELPUSH_BROKER_PASSWORD"));
    push.registerUser("alice01", std::vector<std::string>{"news", "private/orders"});
    xel::NSRunLoop::mainRunLoop().run();
}
