// The hash by which a publication that comes again is recognised: paid once for each message at QoS 1.

#include <string>

#include <benchmark/benchmark.h>

#include "XelPushClient/Foundation/KeyedHash.h"
#include "XelPushClient/MQTTSDK/LostAcknowledgements.h"

namespace xel::bench {

namespace {

constexpr std::string_view kTopic = "app/shop-demo/user/public/news";

void hashOnePublication(benchmark::State& state) {
    const std::string payload(static_cast<std::size_t>(state.range(0)), 'x');
    for (auto _ : state) {
        benchmark::DoNotOptimize(keyedHashOf(kTopic, payload));
    }
}
BENCHMARK(hashOnePublication)->Arg(30)->Arg(300)->Arg(300'000);

// A flood that is answered by nothing: the oldest entry makes room for each new one.
void rememberOneAcknowledgement(benchmark::State& state) {
    LostAcknowledgements acknowledgements;
    acknowledgements.connectionDidOpen(true);
    const KeyedHash hash = keyedHashOf(kTopic, "payload");
    std::uint16_t packetId = 0;
    for (auto _ : state) {
        packetId = static_cast<std::uint16_t>(packetId + 1);
        benchmark::DoNotOptimize(acknowledgements.takeArrival(packetId, false, hash));
        acknowledgements.didAcknowledge(packetId, hash, packetId);
    }
}
BENCHMARK(rememberOneAcknowledgement);

}  // namespace
}  // namespace xel::bench
