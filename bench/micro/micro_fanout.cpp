// Telling the host of one message: delegates, block, and the broadcast that is posted.

#include <memory>

#include <benchmark/benchmark.h>

#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Testing/FakeMachine.h"
#include "bench/common/SampleMessage.h"

namespace xel::bench {

namespace {

class CountingDelegate final : public PushClientManagerDelegate {
public:
    void pushClientManagerDidReceivedMessage(const PushClientMessage& message) override {
        seen += message.id ? 1 : 0;
    }

    std::int64_t seen = 0;
};

/// Argument: how many delegates hear of each message.
void reportOneMessage(benchmark::State& state) {
    FakeMachine fakes;
    const Machine machine = fakes.machine();
    const Home home = fakes.makeHome();
    const LogOutput log(*home.defaults, *machine.logSink);
    NSObject manager;
    EventFanout fanout({manager, machine.mainRunLoop, home.notificationCenter, log});
    std::int64_t seenByBlock = 0;
    fanout.blocks.messageHandler = [&](const PushClientMessage&) { ++seenByBlock; };
    std::vector<std::shared_ptr<CountingDelegate>> delegates;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        delegates.push_back(std::make_shared<CountingDelegate>());
        fanout.delegates.addDelegate(delegates.back(), operationsOverriddenBy<CountingDelegate>());
    }
    auto message = std::make_shared<PushClientMessage>();
    message->id = makeSampleMessage(0).id;
    for (auto _ : state) {
        fanout.callbackNewMessageReceived(message);
        fakes.runUntilIdle();
    }
    bool complete = seenByBlock == static_cast<std::int64_t>(state.iterations());
    for (const auto& delegate : delegates) {
        complete = complete && delegate->seen == seenByBlock;
    }
    if (!complete) {
        state.SkipWithError("a delegate or the block missed a message");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(reportOneMessage)->Arg(0)->Arg(1)->Arg(10)->Arg(100);

}  // namespace

}  // namespace xel::bench
