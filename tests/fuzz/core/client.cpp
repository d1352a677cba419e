// The whole client on a fake machine, through a short life that the input tells: what the broker publishes,
// the backend answers, the system hands over and the host asks for, with kills, losses and time between.
// Nothing throws, nothing leaves that breaks the protocol or tells a secret, nobody hears of a message that
// was not sent, and nothing happens any more once the client is gone.
//
// Input: lines, each a letter for the step and what it is about; see `Life::step`.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

#include "XelPushClient/Classes/GeoLocation/CoreGeoLocation.h"
#include "tests/fuzz/support/FuzzClient.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/FuzzValues.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::FuzzClient;
using fuzz::require;

constexpr std::size_t kMostSteps = 48;
constexpr std::size_t kMostTimers = 64;
constexpr std::string_view kUserTopic = "app/shop/user/alice01/default";

class Life {
public:
    Life() {
        client_.launch();
        client_.connect();
    }

    void step(char letter, const std::string& about) {
        broker(letter, about);
        machine(letter, about);
        host(letter, about);
        client_.machine.runUntilIdle();
        check();
    }

    void end() {
        client_.requireNoSecretInLog();
        client_.end();
        client_.requireNoSecretInLog();
    }

private:
    void publish(std::string_view topic, std::string_view payload) {
        ++published_;
        client_.machine.broker->publishTo(
            fuzz::kBrokerClientId, {.topic = std::string(topic), .payload = std::string(payload), .qos = 1});
    }

    void broker(char letter, const std::string& about) {
        switch (letter) {
            case 'm': publish(kUserTopic, about); break;
            case 'e': publish("app/shop/event/login/D9", about); break;
            case 'd': publish("app/shop/delivery/alice01/m1", about); break;
            case 't': {
                fuzz::FuzzInput parts{std::string_view(about)};
                const std::string topic(parts.until(' '));
                if (!topic.empty() && topic.size() < 1000) {
                    publish(topic, parts.rest());
                }
                break;
            }
            case 'x':
                isDisturbed_ = true;
                client_.machine.broker->sendOctets(about);
                break;
            case 'l': client_.machine.broker->dropConnections(); break;
            case 'z': client_.machine.broker->forgetSessions(); break;
            default: break;
        }
    }

    void machine(char letter, const std::string& about) {
        FakeMachine& machine = client_.machine;
        switch (letter) {
            case 'a': machine.http->answer("PUT", "installations/*", 200, about); break;
            case 'r': machine.http->answer("PUT", "installations/*", 404, about); break;
            case 'n': machine.application->receiveRemoteNotification(fuzz::dictionaryOfText(about)); break;
            case 'o': respond(about); break;
            case 'g': stand(about); break;
            case 'b': machine.application->didEnterBackground(); break;
            case 'f': machine.application->didBecomeActive(); break;
            case 'w':
                machine.advanceBy(std::chrono::seconds(std::min<std::size_t>(about.size() * 30, 3600)));
                break;
            default: break;
        }
    }

    void host(char letter, const std::string& about) {
        PushClientManager& manager = *client_.manager;
        switch (letter) {
            case 's': manager.subscribe(about); break;
            case 'u': manager.unsubscribe(about); break;
            case 'v': manager.subscribeEvent(about); break;
            // A host may have subscribed to what it publishes.
            case 'p': published_ += manager.publish("default", about) ? 1 : 0; break;
            case 'q':
                published_ += manager.publishEvent("login", fuzz::dictionaryOfText(about)) ? 1 : 0;
                break;
            case 'i': published_ += manager.markAsRead(about) ? 1 : 0; break;
            case 'y': manager.showLocalRichNotificationWithPayload(fuzz::dictionaryOfText(about)); break;
            case 'h':
                manager.applicationDidFinishLaunchingWithOptions(*client_.machine.application,
                                                                 fuzz::dictionaryOfText(about));
                break;
            case 'c': manager.registerUser("alice01", {about}); break;
            case 'j': manager.reset(); break;
            case 'k':
                client_.kill();
                published_ += published_;  // what was not acknowledged comes again
                client_.launch();
                client_.connect();
                break;
            default: break;
        }
    }

    void respond(const std::string& about) {
        fuzz::FuzzInput parts{std::string_view(about)};
        const std::string action(parts.until(' '));
        (void)client_.machine.notificationCenter->respond(
            {action, {"request", fuzz::dictionaryOfText(parts.rest())}});
    }

    void stand(const std::string& about) {
        CLLocation fix;
        (void)std::sscanf(about.c_str(), "%lf %lf %lf %lf", &fix.coordinate.latitude,
                          &fix.coordinate.longitude, &fix.horizontalAccuracy, &fix.speed);
        fix.timestamp = client_.machine.clock->now();
        client_.machine.locationSource->report(fix);
    }

    void check() {
        require(isDisturbed_ || client_.machine.broker->faults().empty(), "nothing leaves that breaks MQTT");
        const fuzz::CountingHost& host = *client_.host;
        require(isDisturbed_ || host.messages + host.events + host.deliveries <= published_ + 1,
                "what was not sent is not heard");
        require(client_.machine.runLoop->scheduledTimerCount() <= kMostTimers, "timers are bounded");
        require(client_.machine.http->waitingCount() <= kMostSteps, "requests are bounded");
    }

    FuzzClient client_;
    std::size_t published_ = 0;
    bool isDisturbed_ = false;  ///< the broker has said what it never says
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    if (fuzz::holdsSecret({reinterpret_cast<const char*>(data), size})) {
        return 0;
    }
    Life life;
    for (std::size_t count = 0; !input.isAtEnd() && count < kMostSteps; ++count) {
        const auto letter = static_cast<char>(input.octet());
        life.step(letter, input.line());
    }
    life.end();
    return 0;
}
