// A host of very many clients, each with an identity of its own, in one process and on one run loop; their
// homes lie in one store.
//
//   gateway_ours --port P --count N [--state-dir D] [--tls CERTIFICATE]
//
// Opens all homes and clients, connects them, has the broker send each of them a message, and prints what
// that cost as one line of JSON. Exit code 0 means that every client got exactly one message. The homes
// are made by a process before, as by an earlier run.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Linux/Headless/HeadlessPlatform.h"
#include "XelPushClient/Linux/Homes/HomeStore.h"
#include "bench/common/ProcessTables.h"
#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"
#include "bench/gateway/GatewayFigures.h"
#include "bench/ours/OursPlatform.h"

namespace xel::bench {

namespace {

/// What ends later than connecting or a message: acknowledgements, the store's own thread and timer.
constexpr std::chrono::milliseconds kSettling{1500};
constexpr std::chrono::milliseconds kGrace{300};

std::string nameOf(std::size_t number) {
    return "device" + std::to_string(100'000 + number).substr(1);
}

template <class Value>
Value orThrow(Result<Value> result) {
    if (!result) {
        throw std::runtime_error(describeError(result.error()));
    }
    return std::move(result).value();
}

/// Makes the homes in a process of its own, so that this one holds nothing of the making.
void makeHomes(const LinuxOptions& options, std::size_t count) {
    const pid_t child = fork();
    if (child == 0) {
        try {
            const Machine machine = makeHeadlessMachine(options);
            const auto store = orThrow(openLinuxHomeStore(options, machine));
            for (std::size_t number = 0; number < count; ++number) {
                const Home home = orThrow(openLinuxHome(options, machine, store, nameOf(number)));
                rememberIdentity(home, nameOf(number), "installation-" + nameOf(number));
            }
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s\n", error.what());
            _exit(1);
        }
        _exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error("the homes could not be made");
    }
}

class Gateway {
public:
    Gateway(const LinuxOptions& options, const Machine& machine, bool isUsingTLS)
        : options_(options),
          machine_(machine),
          isUsingTLS_(isUsingTLS),
          store_(orThrow(openLinuxHomeStore(options, machine))) {}

    int run(std::size_t count) {
        GatewayFigures figures;
        figures_ = &figures;
        received_.resize(count);
        for (std::size_t number = 0; number < count; ++number) {
            addClient(number);
        }
        figures.didOpen();
        for (const auto& client : clients_) {
            client->registerApplication(std::string(kSampleAppId), "bench-key", "bench-user",
                                        "bench-password");
            client->setUsingSSLConnection(isUsingTLS_);
            client->connectToServer();
        }
        machine_.runLoop->run();
        std::printf("%s\n", figures.describe(count).c_str());
        for (const int messages : received_) {
            if (messages != 1) {
                std::fprintf(stderr, "a client got %d messages\n", messages);
                return 1;
            }
        }
        return 0;
    }

private:
    void addClient(std::size_t number) {
        clients_.push_back(std::make_unique<PushClientManager>(
            machine_, orThrow(openLinuxHome(options_, machine_, store_, nameOf(number)))));
        PushClientManager& client = *clients_.back();
        client.setMessageUILocalNotificationHandler([](const PushClientMessage&) {});
        client.setMessageHandler([this, number](const PushClientMessage&) { didReceive(number); });
        client.enqueueWhenSessionIsConnected([this] { didConnect(); });
    }

    void didConnect() {
        if (++connected_ < clients_.size()) {
            return;
        }
        figures_->didConnect();
        after(kSettling, [this] {
            figures_->didSettle();
            figures_->willFanOut();
            clients_.front()->publishEvent("ready", Dictionary());
        });
    }

    void didReceive(std::size_t number) {
        ++received_[number];
        if (++messages_ == clients_.size()) {
            figures_->didFanOut();
            after(kSettling, [this] {
                figures_->didSettleAgain();
                for (const auto& client : clients_) {
                    client->disconnectFromServer();
                }
                after(kGrace, [this] { machine_.runLoop->stop(); });
            });
        }
    }

    void after(std::chrono::milliseconds delay, std::function<void()> block) {
        machine_.runLoop->scheduleTimer(delay, std::move(block));
    }

    const LinuxOptions& options_;
    const Machine& machine_;
    bool isUsingTLS_;
    std::shared_ptr<HomeStore> store_;
    std::vector<std::unique_ptr<PushClientManager>> clients_;
    std::vector<int> received_;
    std::size_t connected_ = 0;
    std::size_t messages_ = 0;
    GatewayFigures* figures_ = nullptr;
};

int run(const BenchOptions& commandLine) {
    const SubjectOptions subject(commandLine);
    OursOptions ours;
    ours.stateFolder = subject.stateFolder;
    ours.brokerPort = subject.port;
    ours.certificate = subject.certificate;
    const LinuxOptions options = linuxOptionsOf(ours);
    raiseDescriptorLimit();
    makeHomes(options, subject.count);
    PushClientManager::setDevelopment(true);
    const Machine machine = makeHeadlessMachine(options);
    return Gateway(options, machine, !subject.certificate.empty()).run(subject.count);
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
