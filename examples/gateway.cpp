// A gateway that speaks for many small devices: each is an identity of its own, with a home, an installation
// and a connection, and all of them live in one process, on one run loop and one machine. Their homes lie in
// one store, so that what many of them get at once is stored by one write.
//
//   gateway CHANNEL [COUNT [PACE]]
//
// COUNT is a hundred unless said otherwise; PACE is how many connections are opened in a second, 0 for all at
// once, and otherwise the library's own.

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/resource.h>

#include "examples/Example.h"

namespace {

constexpr std::uint32_t kMostDevices = 10'000;
constexpr std::uint32_t kFastestPace = 100'000;

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

    [[nodiscard]] bool isConnected() const {
        return push_.connectionState() == xel::PushClientServerConnectedState;
    }

private:
    std::string name_;
    xel::PushClientManager push_;
};

using Devices = std::vector<std::unique_ptr<Device>>;

/// Each connection is a descriptor; most systems begin with 1,024 and let a process have more.
void makeRoomForDescriptors(std::uint32_t devices) {
    constexpr rlim_t kForOthers = 100;  // the store, the loop, requests
    rlimit limit{};
    (void)getrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t wanted = devices + kForOthers;
    limit.rlim_cur = std::max(limit.rlim_cur, std::min(wanted, limit.rlim_max));
    (void)setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < wanted) {
        std::fprintf(stderr,
                     "this process may have %ju descriptors open: not all of %u devices will connect "
                     "(ulimit -n, or LimitNOFILE= of its unit)\n",
                     static_cast<std::uintmax_t>(limit.rlim_cur), devices);
    }
}

/// Tells once a second how many are connected, until all have been.
void tellProgress(const xel::Machine& machine, const Devices& devices) {
    const auto connected = std::count_if(devices.begin(), devices.end(),
                                         [](const auto& device) { return device->isConnected(); });
    std::fprintf(stderr, "%jd of %zu connected\n", static_cast<std::intmax_t>(connected), devices.size());
    if (static_cast<std::size_t>(connected) < devices.size()) {
        machine.runLoop->scheduleTimer(std::chrono::seconds(1),
                                       [&machine, &devices] { tellProgress(machine, devices); });
    }
}

void runGateway(const std::string& channel, std::uint32_t count, std::optional<std::uint32_t> pace) {
    boost::asio::io_context context;
    xel::LinuxOptions options;
    options.hostContext = &context;
    options.connectionPace.perSecond = pace.value_or(options.connectionPace.perSecond);
    makeRoomForDescriptors(count);
    const xel::Machine machine = xel::makeLinuxMachine(options);
    const auto store = example::orThrow(xel::openLinuxHomeStore(options, machine));
    Devices devices;
    for (std::uint32_t number = 0; number < count; ++number) {
        std::string digits = std::to_string(number);
        digits.insert(0, 3 - std::min<std::size_t>(digits.size(), 3), '0');
        auto home = example::orThrow(xel::openLinuxHome(options, machine, store, "device" + digits));
        devices.push_back(std::make_unique<Device>(machine, std::move(home), "device" + digits));
        devices.back()->start(channel);
    }
    tellProgress(machine, devices);
    example::runUntilSignal(context, machine);
}

std::optional<std::uint32_t> numberFrom(std::string_view text, std::uint32_t least, std::uint32_t most) {
    std::uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    const bool isRight = read.ec == std::errc() && read.ptr == end && number >= least && number <= most;
    return isRight ? std::optional(number) : std::nullopt;
}

}  // namespace

int main(int count, char** arguments) {
    const auto devices = count > 2 ? numberFrom(arguments[2], 1, kMostDevices) : 100;
    const auto pace = count > 3 ? numberFrom(arguments[3], 0, kFastestPace) : std::nullopt;
    return example::run(count >= 2 && count <= 4 && devices && (count < 4 || pace),
                        "gateway CHANNEL [COUNT [PACE]], COUNT from 1 to " + std::to_string(kMostDevices) +
                            ", PACE up to " + std::to_string(kFastestPace) + " connections a second",
                        [&] { runGateway(arguments[1], *devices, pace); });
}
