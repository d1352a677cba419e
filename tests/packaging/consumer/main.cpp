// A host outside the tree: makes a client and asks it for something, without a network. HEADLESS makes it one
// that links the platform without a bus.

#include <cstdio>
#include <cstdlib>
#include <string>

#ifdef HEADLESS
#include <XelPushClient/Linux/Headless/HeadlessPlatform.h>
#else
#include <XelPushClient/Linux/LinuxPlatform.h>
#endif
#include <XelPushClient/XelPushClient.h>

int main() {
    char folder[] = "/tmp/xelpush-consumer-XXXXXX";
    if (mkdtemp(folder) == nullptr) {
        return 1;
    }
    xel::LinuxOptions options;
    options.stateFolder = std::string(folder) + "/state";
    options.documentsFolder = std::string(folder) + "/documents";
#ifdef HEADLESS
    const auto machine = xel::makeHeadlessMachine(options);
#else
    const auto machine = xel::makeLinuxMachine(options);
#endif
    auto home = xel::openLinuxHome(options, machine);
    if (!home) {
        std::fprintf(stderr, "%s\n", home.error().localizedDescription().c_str());
        return 1;
    }
    xel::PushClientManager push(machine, std::move(home).value());
    push.registerApplication("shop-demo", "key", "user", "password");
    std::printf("%s, %s\n", push.appId().value_or("").c_str(),
                std::string(push.connectionStateString()).c_str());
    return push.appId() == "shop-demo" && push.connectionStateString() == "Disconnected" ? 0 : 1;
}
