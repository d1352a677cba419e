// The list of ids against duplicates: a turn of 24 messages, with its one commit into a store in memory, so
// that what is seen is the list and not the disk.

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "XelPushClient/Classes/Messaging/MessageIds.h"
#include "XelPushClient/Testing/FakeMachine.h"
#include "bench/common/SampleMessage.h"

namespace xel::bench {

namespace {

constexpr std::size_t kTurn = 24;

void storeIdsOfOneTurn(benchmark::State& state) {
    const FakeMachine fakes;
    const Machine machine = fakes.machine();
    const Home home = fakes.makeHome();
    const ClientLife life;
    LastFailure lastFailure;
    const LogOutput log(*home.defaults, *machine.logSink);
    MessageIds ids(life, *home.defaults, lastFailure, log);
    std::vector<std::string> names;
    for (std::uint64_t index = 0; index < 100 * kTurn; ++index) {
        names.push_back(makeSampleMessage(index).id);
    }
    std::size_t next = 0;
    for (auto _ : state) {
        ids.beginTurn();
        bool seen = false;
        for (std::size_t i = 0; i < kTurn; ++i) {
            seen |= ids.storeMessageId(names[next]);
            next = (next + 1) % names.size();
        }
        bool closed = false;
        ids.closeTurn([&] { closed = true; });
        if (seen || !closed) {
            state.SkipWithError("a new id counted as seen, or the turn was not closed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kTurn));
}
BENCHMARK(storeIdsOfOneTurn);

}  // namespace

}  // namespace xel::bench
