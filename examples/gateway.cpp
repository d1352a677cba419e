// A gateway that speaks for many small devices: each is an identity of its own, with a home, an installation
// and a connection, and all of them live in one process, on one run loop and one machine. Their homes lie in
// one store, so that what many of them get at once is stored by one write.
//
//   gateway CHANNEL [COUNT]      a hundred unless said otherwise

#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "examples/Example.h"

namespace {

constexpr int kMostDevices = 1000;

/// One device behind the gateway.
class Device {
public:
    Device(const xel::Machine& machine, xel::Home home, std::string name)
        : name_(std::move(name)), push_(machine, std::move(home)) {
        push_.setMessageHandler([this](const xel::PushClientMessage& message) {
            std::printf("%s %s\n", name_.c_str(), message.messageBody.value_or("").c_str());
            std::fflush(stdout);
        });
        // Here a gateway hands what is for the device on; its log shows one line for each.
        example::tellStates(push_, name_ + " ");
    }

    void start(const std::string& channel) {
        example::registerWithService(push_, name_, {channel, "private/" + channel});
    }

private:
    std::string name_;
    xel::PushClientManager push_;
};

void runGateway(const std::string& channel, int count) {
    boost::asio::io_context context;
    xel::LinuxOptions options;
    options.hostContext = &context;
    const xel::Machine machine = xel::makeLinuxMachine(options);
    const auto store = example::orThrow(xel::openLinuxHomeStore(options, machine));
    std::vector<std::unique_ptr<Device>> devices;
    for (int number = 0; number < count; ++number) {
        const std::string name = "device" + std::to_string(1000 + number).substr(1);
        auto home = example::orThrow(xel::openLinuxHome(options, machine, store, name));
        devices.push_back(std::make_unique<Device>(machine, std::move(home), name));
        devices.back()->start(channel);
    }
    example::runUntilSignal(context, machine);
}

}  // namespace

int main(int count, char** arguments) {
    const int devices = count == 3 ? std::atoi(arguments[2]) : 100;
    return example::run((count == 2 || count == 3) && devices >= 1 && devices <= kMostDevices,
                        "gateway CHANNEL [COUNT], at most " + std::to_string(kMostDevices),
                        [&] { runGateway(arguments[1], devices); });
}
