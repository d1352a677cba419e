// The client on a second platform: POSIX sockets, a store in memory, libcurl for REST. Registers a user with
// the local push service, connects to its broker without TLS, and prints as many messages as asked for.
//   minimal_platform_host USER CHANNEL COUNT     credentials and ports by environment, as for xelpush
// What it does not have comes from XelPushClient::Testing.

#include <cstdio>
#include <cstdlib>

#include "XelPushClient/MQTTSDK/MQTTClientSessionFactory.h"
#include "XelPushClient/Platform/Home.h"
#include "XelPushClient/Testing/InMemorySessionMemory.h"
#include "XelPushClient/Testing/InMemoryUserDefaults.h"
#include "XelPushClient/Testing/PlaceholderPorts.h"
#include "XelPushClient/XelPushClient.h"
#include "examples/minimal-platform/EasyTransport.h"
#include "examples/minimal-platform/SocketStreams.h"

namespace minimal {

class SystemTime final : public xel::Clock {
public:
    [[nodiscard]] xel::Date now() const override { return std::chrono::system_clock::now(); }
    [[nodiscard]] std::chrono::steady_clock::time_point steadyNow() const override {
        return std::chrono::steady_clock::now();
    }
};

std::string setting(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

xel::Machine makeMachine(const std::shared_ptr<PollRunLoop>& loop) {
    xel::Machine machine = xel::makePlaceholderMachine(loop, std::make_shared<SystemTime>());
    machine.sessions =
        std::make_shared<xel::MQTTClientSessionFactory>(std::make_shared<SocketStreams>(loop), machine.clock);
    machine.http = std::make_shared<EasyTransport>(loop, setting("XELPUSH_CA_FILE"));
    machine.endpoints.kBrokerLocalPort =
        static_cast<std::uint16_t>(std::atoi(setting("XELPUSH_LOCAL_BROKER_PORT").c_str()));
    machine.endpoints.kLoopBackLocalSSLAddress = setting("XELPUSH_LOCAL_REST_SSL_URL");
    return machine;
}

/// Lives in memory: with the process everything is forgotten.
xel::Home makeHome() {
    const auto disk = std::make_shared<xel::FakeDisk>();
    return {xel::InMemoryUserDefaults::open(disk).value(), std::make_shared<xel::InMemorySessionMemory>(disk),
            std::make_shared<xel::NSNotificationCenter>(), ""};
}

}  // namespace minimal

int main(int count, char** arguments) {
    if (count != 4) {
        std::fprintf(stderr, "usage: %s USER CHANNEL COUNT\n", arguments[0]);
        return 2;
    }
    const auto loop = std::make_shared<minimal::PollRunLoop>();
    xel::PushClientManager::setDevelopment(true);
    xel::PushClientManager push(minimal::makeMachine(loop), minimal::makeHome());
    int missing = std::atoi(arguments[3]);
    push.setMessageHandler([&](const xel::PushClientMessage& message) {
        std::puts(message.messageBody.value_or("").c_str());
        if (--missing == 0) {
            loop->stop();
        }
    });
    push.setServerConnectionStateHandler(
        [&](auto...) { std::fprintf(stderr, "%s\n", std::string(push.connectionStateString()).c_str()); });
    push.setRegistrationHandler([&](auto...) { push.setUsingSSLConnection(false); });  // before it connects
    push.registerApplication(minimal::setting("XELPUSH_APP_ID"), minimal::setting("XELPUSH_API_KEY"),
                             minimal::setting("XELPUSH_BROKER_USER"),
                             minimal::setting("XELPUSH_BROKER_PASSWORD"));
    push.registerUser(arguments[1], {arguments[2]});
    loop->run();
}
