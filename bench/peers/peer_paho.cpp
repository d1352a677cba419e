// Paho C's asynchronous client, and the pipeline that a team would write around it.

#include <cstring>

#include "bench/peers/PahoClient.h"
#include "bench/peers/PeerTally.h"
#include "bench/peers/SqliteIds.h"

namespace xel::bench {

namespace {

struct Context {
    SubjectTally tally;
    std::uint64_t expected = 0;
    std::string topic{};
    TeamPipeline* pipeline = nullptr;
    PahoClient* client = nullptr;
};

void onConnected(void* opaque, MQTTAsync_successData*) {
    const auto& context = *static_cast<Context*>(opaque);
    MQTTAsync_responseOptions options = MQTTAsync_responseOptions_initializer;
    if (MQTTAsync_subscribe(context.client->get(), context.topic.c_str(), 1, &options) != MQTTASYNC_SUCCESS) {
        context.client->setDone();
    }
}

void onConnectionLost(void* opaque, char*) {
    static_cast<Context*>(opaque)->client->setDone();
}

int onMessage(void* opaque, char* topic, int topicBytes, MQTTAsync_message* message) {
    auto& context = *static_cast<Context*>(opaque);
    // Paho gives 0 for a topic without embedded NUL characters.
    const std::size_t length = topicBytes > 0 ? static_cast<std::size_t>(topicBytes) : std::strlen(topic);
    context.pipeline->handle(topic, length, static_cast<const char*>(message->payload),
                             static_cast<std::size_t>(message->payloadlen));
    if (context.tally.messages == context.expected) {
        context.client->setDone();
    }
    MQTTAsync_freeMessage(&message);
    MQTTAsync_free(topic);
    return 1;
}

int run(const BenchOptions& options) {
    const SubjectOptions subject(options);
    Context context{SubjectTally(subject)};
    context.expected = subject.count;
    context.topic = sampleTopic(kSampleAppId, kSampleUserId, kSampleChannel);
    SqliteIds ids(subject.stateFolder + "/peer.sqlite", SqliteIds::Commit::EachId);
    TeamPipeline pipeline(ids, [&](const TeamMessage& message) { tallyTeamMessage(context.tally, message); });
    PahoClient client(subject.port, "bench-paho", subject.certificate);
    context.pipeline = &pipeline;
    context.client = &client;
    PahoClient::check(MQTTAsync_setCallbacks(client.get(), &context, onConnectionLost, onMessage, nullptr));
    client.connect(&context, onConnected);
    client.waitUntilDone();
    client.disconnect();
    return context.tally.finish(subject, true);
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
