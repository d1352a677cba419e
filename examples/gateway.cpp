// A gateway that speaks for many small devices: each is an identity of its own, with a home, an installation
// and a connection, and all of them live in one process, on one run loop and one machine.
//
//   gateway CHANNEL [COUNT]      a hundred unless said otherwise

#include <cstdio>
#include <vector>

#include "examples/Example.h"

namespace {

constexpr int kMostDevices = 1000;

/// One device behind the gateway.
class Device {
public:
    Device(const xel::LinuxOptions& options, const xel::Machine& machine, int number)
        : name_("device" + std::to_string(1000 + number).substr(1)),
          push_(machine, example::openHome(options, machine, "gateway/" + name_)) {
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
    std::vector<std::unique_ptr<Device>> devices;
    for (int number = 0; number < count; ++number) {
        devices.push_back(std::make_unique<Device>(options, machine, number));
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
