// The smallest host on Paho C and the pipeline that a team would write around it.

#include <chrono>
#include <cstring>
#include <thread>

#include "bench/common/ProcessFigures.h"
#include "bench/peers/PahoClient.h"
#include "bench/peers/PeerTally.h"
#include "bench/peers/SqliteIds.h"

namespace xel::bench {

namespace {

struct Context {
    ProcessFigures figures;
    TeamPipeline* pipeline = nullptr;
    PahoClient* client = nullptr;
};

void onConnected(void* opaque, MQTTAsync_successData*) {
    auto& context = *static_cast<Context*>(opaque);
    context.figures.didConnect();
    const std::string topic = sampleTopic(kSampleAppId, kSampleUserId, kSampleChannel);
    MQTTAsync_responseOptions options = MQTTAsync_responseOptions_initializer;
    MQTTAsync_subscribe(context.client->get(), topic.c_str(), 1, &options);
}

int onMessage(void* opaque, char* topic, int, MQTTAsync_message* message) {
    static_cast<Context*>(opaque)->pipeline->handle(topic, std::strlen(topic),
                                                    static_cast<const char*>(message->payload),
                                                    static_cast<std::size_t>(message->payloadlen));
    MQTTAsync_freeMessage(&message);
    MQTTAsync_free(topic);
    return 1;
}

int run(const BenchOptions& options) {
    Context context;
    const SubjectOptions subject(options);
    SqliteIds ids(subject.stateFolder + "/peer.sqlite", SqliteIds::Commit::EachId);
    PahoClient client(subject.port, "bench-paho", subject.certificate);
    TeamPipeline pipeline(ids, [&](const TeamMessage&) {
        context.figures.didReceiveFirst();
        client.setDone();
    });
    context.pipeline = &pipeline;
    context.client = &client;
    PahoClient::check(MQTTAsync_setCallbacks(client.get(), &context, nullptr, onMessage, nullptr));
    client.connect(&context, onConnected);
    client.waitUntilDone();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const int exitCode = context.figures.report();
    client.disconnect();
    return exitCode;
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
