// Publishing by the host's own call, `PushClientManager::publish`, which makes the message's JSON as
// well: `--memory disk` keeps the outbox in the home's store, as hosts have it unless they choose otherwise,
// `--memory ram` in RAM, as the libraries beside it do.

#include <stdexcept>

#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Linux/LinuxPlatform.h"
#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"
#include "bench/ours/CountingSessionMemory.h"
#include "bench/ours/OursPlatform.h"
#include "bench/publish/PublishWindow.h"

namespace xel::bench {

namespace {

/// What the peers send as octets that were encoded beforehand, as a host of ours says it.
PushClientMessage makeMessage() {
    const SampleMessage sample = makeSampleMessage(0);
    PushClientMessage message;
    message.id = sample.id;
    message.messageBody = sample.messageBody;
    message.userId = std::string(kSampleUserId);
    message.channel = std::string(kSampleChannel);
    message.data = Dictionary{{"orderId", sample.orderId},
                              {"state", sample.state},
                              {"url", "https://shop.example/o/" + std::to_string(sample.orderId)}};
    return message;
}

/// Publishes batch after batch from the run loop. Lives as long as the loop runs.
class Publishing {
public:
    Publishing(const PublishOptions& options, NSRunLoop& runLoop) : window_(options), runLoop_(runLoop) {}

    void start(PushClientManager& push) {
        push_ = &push;
        goOn();
    }

    void countAcknowledged(std::size_t acknowledged) {
        for (; acknowledged > 0; --acknowledged) {
            window_.acknowledged();
        }
        runLoop_.post([this] { goOn(); });
    }

    int report() const {
        return refused_ ? throw std::runtime_error("a publication was refused") : window_.report();
    }

private:
    void goOn() {
        if (window_.finished()) {
            runLoop_.stop();
            return;
        }
        // The unmeasured publications are followed by the first batch at once: nobody acknowledges them.
        for (std::uint64_t left = window_.allowedNow(); left > 0; left = window_.allowedNow()) {
            for (; left > 0; --left) {
                if (!push_->publish(message_)) {
                    refused_ = true;
                    runLoop_.stop();
                    return;
                }
                window_.published();
            }
        }
    }

    PublishWindow window_;
    NSRunLoop& runLoop_;
    PushClientManager* push_ = nullptr;
    PushClientMessage message_ = makeMessage();
    bool refused_ = false;
};

Durability durabilityFor(const std::string& where) {
    if (where == "ram") {
        return Durability::Memory;
    }
    if (where == "disk") {
        return Durability::ProcessKill;
    }
    throw std::invalid_argument("--memory is disk or ram, not '" + where + "'");
}

/// The home, with an outbox that tells of acknowledgements.
Home watchedHome(Home home, Publishing& publishing) {
    home.sessionMemory = std::make_shared<CountingSessionMemory>(
        home.sessionMemory, [&publishing](std::size_t count) { publishing.countAcknowledged(count); });
    return home;
}

int run(const BenchOptions& commandLine) {
    const PublishOptions options(commandLine);
    OursOptions ours;
    ours.stateFolder = commandLine.text("state-dir", ".");
    ours.brokerPort = options.port;
    ours.durability = durabilityFor(commandLine.text("memory", "disk"));
    const OursPlatform platform(ours, makeLinuxMachine);
    const auto runLoop = platform.machine().runLoop;
    platform.rememberIdentity(kSampleUserId, "bench-device");

    Publishing publishing(options, *runLoop);
    PushClientManager::setDevelopment(true);
    PushClientManager push(platform.machine(), watchedHome(platform.home(), publishing));
    push.enqueueWhenSessionIsConnected([&] { publishing.start(push); });
    push.registerApplication(std::string(kSampleAppId), "bench-key", "bench-user", "bench-password");
    push.setUsingSSLConnection(false);
    push.connectToServer();
    runLoop->run();
    return publishing.report();
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
