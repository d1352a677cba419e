// The smallest host on libmosquitto and the pipeline that a team would write around it.

#include <chrono>

#include "bench/common/ProcessFigures.h"
#include "bench/peers/MosquittoClient.h"
#include "bench/peers/PeerTally.h"
#include "bench/peers/SqliteIds.h"

namespace xel::bench {

namespace {

struct Context {
    ProcessFigures figures;
    TeamPipeline* pipeline = nullptr;
    bool received = false;
};

int run(const BenchOptions& options) {
    Context context;
    const SubjectOptions subject(options);
    SqliteIds ids(subject.stateFolder + "/peer.sqlite", SqliteIds::Commit::EachId);
    TeamPipeline pipeline(ids, [&](const TeamMessage&) {
        context.figures.didReceiveFirst();
        context.received = true;
    });
    context.pipeline = &pipeline;
    const MosquittoClient client("bench-mosquitto", &context);
    client.trust(subject.certificate);
    mosquitto_connect_callback_set(client.get(), [](mosquitto* connected, void* opaque, int) {
        static_cast<Context*>(opaque)->figures.didConnect();
        const std::string topic = sampleTopic(kSampleAppId, kSampleUserId, kSampleChannel);
        mosquitto_subscribe(connected, nullptr, topic.c_str(), 1);
    });
    mosquitto_message_callback_set(
        client.get(), [](mosquitto*, void* opaque, const mosquitto_message* message) {
            static_cast<Context*>(opaque)->pipeline->handle(
                message->topic, std::char_traits<char>::length(message->topic),
                static_cast<const char*>(message->payload), static_cast<std::size_t>(message->payloadlen));
        });
    MosquittoClient::check(mosquitto_connect(client.get(), "127.0.0.1", subject.port, 180));
    while (!context.received) {
        MosquittoClient::check(mosquitto_loop(client.get(), 1000, 1));
    }
    const auto settled = std::chrono::steady_clock::now() + std::chrono::milliseconds(200);
    while (std::chrono::steady_clock::now() < settled) {
        MosquittoClient::check(mosquitto_loop(client.get(), 20, 1));
    }
    const int exitCode = context.figures.report();
    mosquitto_disconnect(client.get());
    return exitCode;
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
