// The whole of a host: registers a user and prints what arrives. Credentials come by environment:
//
//   XELPUSH_APP_ID, XELPUSH_API_KEY, XELPUSH_BROKER_USER, XELPUSH_BROKER_PASSWORD, and XELPUSH_CA_FILE for
//   the local push service's own certificate authority.

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "XelPushClient/XelPushClient.h"

static std::optional<std::string> setting(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

int main() {
    xel::PushClientManager::setDevelopment(true);
    auto& push = xel::PushClientManager::defaultManager();
    push.setMessageHandler(
        [](const xel::PushClientMessage& m) { std::puts(m.messageBody.value_or("").c_str()); });
    push.setRegistrationHandler([](bool, const auto&, const std::optional<xel::NSError>& error) {
        std::fprintf(stderr, "%s\n", error ? error->localizedDescription().c_str() : "registered");
    });
    push.registerApplication(setting("XELPUSH_APP_ID"), setting("XELPUSH_API_KEY"),
                             setting("XELPUSH_BROKER_USER"), setting("XELPUSH_BROKER_PASSWORD"));
    push.registerUser("alice01", {"news", "private/orders"});
    xel::NSRunLoop::mainRunLoop().run();
}
