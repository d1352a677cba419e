// A payload of 300 bytes: read into a value tree, and on into the record that the host gets.

#include <benchmark/benchmark.h>

#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Linux/System/SimdjsonSerialization.h"
#include "bench/common/SampleMessage.h"

namespace xel::bench {

namespace {

void parsePayload(benchmark::State& state) {
    const std::string payload = makeSampleMessage(0).payload;
    SimdjsonSerialization json;
    for (auto _ : state) {
        auto value = json.JSONObjectWithData(payload);
        if (!value || value.value().asDictionary() == nullptr) {
            state.SkipWithError("the payload was not read as an object");
            break;
        }
        benchmark::DoNotOptimize(value);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(parsePayload);

void makeMessageOfPayload(benchmark::State& state) {
    const SampleMessage sample = makeSampleMessage(0);
    SimdjsonSerialization json;
    for (auto _ : state) {
        const auto message = PushClientMessage::fromPayload(sample.payload, json, "orders", Date{});
        if (!message || message->id != sample.id) {
            state.SkipWithError("the record was not made");
            break;
        }
        benchmark::DoNotOptimize(message);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(makeMessageOfPayload);

}  // namespace

}  // namespace xel::bench
