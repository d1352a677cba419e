// Very many channels: subscribing to a list of them, or to as many events, and starting again with
// those stored. Argument: how many.
//
// The time is that of the client alone (`TimedMachine.h`). "perChannel" shows whether it grows with the
// number of channels and no faster; "longestBlock_ms" how long the run loop was held at a stretch, outside
// the host's own calls, whose time is "calls_ms". Both are the least of the repetitions.

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Testing/Simulation/SimulatedService.h"
#include "bench/micro/TimedMachine.h"

namespace xel::bench {

namespace {

using Seconds = std::chrono::duration<double>;

class ChannelDelegate final : public PushClientManagerDelegate {
public:
    void pushClientManagerDidSubscribed(const std::string& /*channel*/) override { ++subscribed; }

    std::size_t subscribed = 0;
};

std::vector<std::string> channelNames(std::int64_t count) {
    std::vector<std::string> names;
    for (std::int64_t i = 0; i < count; ++i) {
        names.push_back("channel-" + std::to_string(100'000 + i));
    }
    return names;
}

/// A user with a client, on a machine that outlives the client's processes.
class ChannelUser {
public:
    ~ChannelUser() { kill(); }

    // Each operation runs until nothing is left to do, and returns how long the host's calls took.

    /// A process starts.
    LibraryTime::Duration launch() {
        home_ = fakes_.makeHome();
        return call([this] {
            client_ = std::make_unique<PushClientManager>(timedMachine(fakes_, time), *home_);
            delegate_ = std::make_shared<ChannelDelegate>();
            client_->addDelegate(delegate_);
            client_->registerApplication("benchapp", "key", "user", "password");
            client_->registerUser("alice01");
        });
    }

    void kill() {
        fakes_.kill([this] {
            client_.reset();
            home_.reset();
        });
    }

    LibraryTime::Duration subscribe(const std::vector<std::string>& channels) {
        return call([&] { client_->subscribeList(channels); });
    }
    /// Each has a SUBSCRIBE of its own.
    LibraryTime::Duration subscribeToEvents(const std::vector<std::string>& names) {
        return call([&] {
            for (const auto& name : names) {
                client_->subscribeEvent(name);
            }
        });
    }

    /// What the broker has, beside the client's own topics.
    [[nodiscard]] bool brokerHas(std::size_t channels) const {
        return fakes_.broker->subscriptionsOf(*client_->brokerClientId()).size() >= channels + 2;
    }
    [[nodiscard]] std::size_t reported() const { return delegate_->subscribed; }
    void brokerForgets() { fakes_.broker->forgetSessions(); }
    /// So that the next process asks for every channel anew.
    void clientForgetsWhatWasGranted() {
        const Home home = fakes_.makeHome();
        home.defaults->removeObject(kSubscribedTopicsKey);
        (void)home.defaults->synchronize();
        for (const auto& clientId : home.sessionMemory->clientIds()) {
            home.sessionMemory->erase(clientId);
        }
    }

    const std::shared_ptr<LibraryTime> time = std::make_shared<LibraryTime>();

private:
    template <class Calls>
    LibraryTime::Duration call(Calls&& calls) {
        const auto begin = std::chrono::steady_clock::now();
        calls();
        const auto duration = std::chrono::steady_clock::now() - begin;
        settle();
        return duration;
    }
    void settle() {
        fakes_.advanceBy(std::chrono::seconds(1));
        fakes_.clearRecords();
    }

    FakeMachine fakes_;
    SimulatedService service_{fakes_};
    std::optional<Home> home_;
    std::unique_ptr<PushClientManager> client_;
    std::shared_ptr<ChannelDelegate> delegate_;
};

class ChannelReport {
public:
    explicit ChannelReport(benchmark::State& state) : state_(state) {}

    /// `calls` is the host's calls, which no block of the run loop holds.
    void add(const LibraryTime& time, LibraryTime::Duration calls) {
        state_.SetIterationTime(Seconds(time.all() + calls).count());
        // What else the machine did is in the greater ones.
        const double longest = Seconds(time.longest()).count() * 1000;
        longestBlock_ = longestBlock_ ? std::min(*longestBlock_, longest) : longest;
        const double inCalls = Seconds(calls).count() * 1000;
        calls_ = calls_ ? std::min(*calls_, inCalls) : inCalls;
    }
    void finish() {
        state_.counters["perChannel"] =
            benchmark::Counter(static_cast<double>(state_.range(0)),
                               benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
        state_.counters["longestBlock_ms"] = longestBlock_.value_or(0);
        state_.counters["calls_ms"] = calls_.value_or(0);
    }

private:
    benchmark::State& state_;
    std::optional<double> longestBlock_;
    std::optional<double> calls_;
};

/// How the host asks for them.
using Subscribe = LibraryTime::Duration (ChannelUser::*)(const std::vector<std::string>&);

void subscribe(benchmark::State& state, Subscribe subscribeTo) {
    const auto names = channelNames(state.range(0));
    ChannelReport report(state);
    for (auto _ : state) {
        ChannelUser user;
        user.launch();
        user.time->clear();
        const auto calls = (user.*subscribeTo)(names);
        report.add(*user.time, calls);
        if (!user.brokerHas(names.size()) || user.reported() < names.size()) {
            state.SkipWithError("a channel was not granted, or not reported");
            break;
        }
    }
    report.finish();
}

/// What has become of the channels since the last process.
enum class Since { Kept, LostByBroker, LostByBoth };

void launchAgain(benchmark::State& state, Since since) {
    const auto names = channelNames(state.range(0));
    ChannelUser user;
    user.launch();
    user.subscribe(names);
    ChannelReport report(state);
    for (auto _ : state) {
        user.kill();
        if (since != Since::Kept) {
            user.brokerForgets();
        }
        if (since == Since::LostByBoth) {
            user.clientForgetsWhatWasGranted();
        }
        user.time->clear();
        const auto calls = user.launch();
        report.add(*user.time, calls);
        if (!user.brokerHas(names.size())) {
            state.SkipWithError("a channel was not granted again");
            break;
        }
    }
    report.finish();
}

void forManyChannels(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1'000)->Arg(10'000)->Arg(50'000)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(subscribe, toList, &ChannelUser::subscribe)->Apply(forManyChannels);
BENCHMARK_CAPTURE(subscribe, toEvents, &ChannelUser::subscribeToEvents)->Apply(forManyChannels);
BENCHMARK_CAPTURE(launchAgain, kept, Since::Kept)->Apply(forManyChannels);
BENCHMARK_CAPTURE(launchAgain, lostByBroker, Since::LostByBroker)->Apply(forManyChannels);
BENCHMARK_CAPTURE(launchAgain, lostByBoth, Since::LostByBoth)->Apply(forManyChannels);

}  // namespace

}  // namespace xel::bench
