// A host that the session's bus starts when a push message comes for it, and that prints each message's
// payload. docs/push-messages.md tells what it takes. The environment is that of ten_line_host;
// XELPUSH_BUS_NAME is the host's name on the bus.

#include <cstdio>
#include <memory>

#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "examples/Example.h"

namespace {

class Printer : public xel::UIApplicationDelegate {
public:
    void applicationDidReceiveRemoteNotification(xel::UIApplication& /*application*/,
                                                 const xel::Dictionary& payload) override {
        std::puts(xel::printJSON(payload, xel::JSONLayout::OneLine).c_str());
        std::fflush(stdout);
    }
};

void runHost() {
    // The name is the host's from here on: what made the bus start it waits until somebody takes it.
    const xel::LinuxOptions options;
    const auto machine = xel::makeLinuxMachine(options);
    xel::PushClientManager push(machine, example::openHome(options, machine));
    const auto printer = std::make_shared<Printer>();
    machine.application->attachDelegate(printer);

    example::registerWithService(push, "alice01", {"news", "private/orders"});
    xel::NSRunLoop::mainRunLoop().run();
}

}  // namespace

int main(int count, char** /*arguments*/) {
    return example::run(count == 1, "activatable_host", runHost);
}
