// The engine's decoder over what one read of 64 KiB brings.

#include <cstdint>

#include <benchmark/benchmark.h>

#include "XelPushClient/MQTTSDK/MQTTDecoder.h"
#include "bench/common/MqttPackets.h"
#include "bench/common/SampleMessage.h"

namespace xel::bench {

namespace {

void decodePublications(benchmark::State& state) {
    const std::string topic = sampleTopic(kSampleAppId, kSampleUserId, kSampleChannel);
    std::string octets;
    std::int64_t packets = 0;
    for (; octets.size() < 60'000; ++packets) {
        appendPublish(octets, topic, static_cast<std::uint16_t>(packets + 1),
                      makeSampleMessage(static_cast<std::uint64_t>(packets)).payload);
    }
    MQTTDecoder decoder(1024 * 1024);
    for (auto _ : state) {
        std::string_view input = octets;
        MQTTInboundPacket packet;
        std::int64_t decoded = 0;
        while (decoder.decode(input, packet) == MQTTDecoding::Complete) {
            benchmark::DoNotOptimize(packet);
            ++decoded;
        }
        if (decoded != packets) {
            state.SkipWithError("not every publication was decoded");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * packets);
}
BENCHMARK(decodePublications);

}  // namespace

}  // namespace xel::bench
