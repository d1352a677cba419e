// A gateway that speaks for many small devices: each is an identity of its own, with a home, an installation
// and a connection, and all of them live in one process, on one run loop and one machine.
//
//   gateway CHANNEL [COUNT]      a hundred unless said otherwise

#include <cstdio>
#include <exception>
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
        push_.setServerConnectionStateHandler([this] {
            std::fprintf(stderr, "%s [%s]\n", name_.c_str(),
                         std::string(push_.connectionStateString()).c_str());
        });
    }

    void start(const std::string& channel) {
        if (!example::registerWithService(push_, name_, {channel, "private/" + channel})) {
            throw std::runtime_error(push_.failureError()->localizedDescription());
        }
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
    if (count < 2 || count > 3 || devices < 1 || devices > kMostDevices) {
        std::fprintf(stderr, "usage: %s CHANNEL [COUNT], at most %d\n", arguments[0], kMostDevices);
        return 2;
    }
    try {
        xel::PushClientManager::setDevelopment(true);
        runGateway(arguments[1], devices);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
