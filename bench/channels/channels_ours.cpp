// A host that subscribes to a list of channels at once: `--count N`. The figure is the process's CPU
// time from the call until the broker's answer to each channel has been reported, and what the store
// does meanwhile is part of it.

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Linux/LinuxPlatform.h"
#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"
#include "bench/ours/OursPlatform.h"

namespace xel::bench {

namespace {

/// What follows the last report, such as storing the list, is over by then.
constexpr std::chrono::milliseconds kSettling{100};
constexpr std::chrono::milliseconds kGrace{20};
constexpr std::string_view kPrefix = "shop-";

class AnswerCounter final : public PushClientManagerDelegate {
public:
    explicit AnswerCounter(std::function<void()> changed) : changed_(std::move(changed)) {}

    void pushClientManagerDidSubscribed(const std::string& channel) override {
        answered += channel.find(kPrefix) != std::string::npos ? 1 : 0;
        changed_();
    }
    void pushClientManagerDidFailInSubscribe(const NSError& error) override {
        failure = describeError(error);
        changed_();
    }

    std::uint64_t answered = 0;
    std::string failure;

private:
    std::function<void()> changed_;
};

std::vector<std::string> makeChannels(std::uint64_t count) {
    std::vector<std::string> channels;
    channels.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        channels.push_back("public/" + std::string(kPrefix) + std::to_string(i));
    }
    return channels;
}

int report(const PushClientManager& push, std::uint64_t count, const AnswerCounter& counter, double cpu) {
    const std::size_t stored = push.topics() ? push.topics()->size() : 0;
    std::printf(R"({"answered":%llu,"topics":%zu,"cpu_ms":%.3f})"
                "\n",
                static_cast<unsigned long long>(counter.answered), stored, cpu / 1e3);
    if (!counter.failure.empty()) {
        std::fprintf(stderr, "%s\n", counter.failure.c_str());
    }
    return counter.answered == count && counter.failure.empty() ? 0 : 1;
}

int run(const BenchOptions& commandLine) {
    const std::uint64_t count = commandLine.number("count");
    OursOptions options;
    options.stateFolder = commandLine.text("state-dir", ".");
    options.brokerPort = static_cast<int>(commandLine.number("port"));
    const OursPlatform platform(options, makeLinuxMachine);
    const auto runLoop = platform.machine().runLoop;
    platform.rememberIdentity(kSampleUserId, "bench-device");

    PushClientManager::setDevelopment(true);
    PushClientManager push(platform.machine(), platform.home());
    double cpuAtStart = 0;
    double cpu = 0;
    std::shared_ptr<AnswerCounter> counter;
    counter = std::make_shared<AnswerCounter>([&] {
        if (counter->answered < count && counter->failure.empty()) {
            return;
        }
        runLoop->scheduleTimer(kSettling, [&] {
            cpu = processCpuMicroseconds() - cpuAtStart;
            push.disconnectFromServer();
            runLoop->scheduleTimer(kGrace, [&] { runLoop->stop(); });
        });
    });
    push.addDelegate(counter);
    push.enqueueWhenSessionIsConnected([&] {
        runLoop->scheduleTimer(kSettling, [&] {
            const std::vector<std::string> channels = makeChannels(count);
            cpuAtStart = processCpuMicroseconds();
            push.subscribeList(channels);
        });
    });
    push.registerApplication(std::string(kSampleAppId), "bench-key", "bench-user", "bench-password");
    push.setUsingSSLConnection(false);
    push.connectToServer();
    runLoop->run();
    return report(push, count, *counter, cpu);
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
