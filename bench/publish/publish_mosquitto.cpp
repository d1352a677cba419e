// Publishing through libmosquitto (its outbox is in RAM), on one thread with its own loop.

#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"
#include "bench/peers/MosquittoClient.h"
#include "bench/publish/PublishWindow.h"

namespace xel::bench {

namespace {

struct Context {
    PublishWindow* window = nullptr;
    bool connected = false;
};

void onConnect(mosquitto*, void* context, int result) {
    static_cast<Context*>(context)->connected = result == 0;
}

void onPublish(mosquitto*, void* context, int) {
    static_cast<Context*>(context)->window->acknowledged();
}

int run(const BenchOptions& commandLine) {
    const PublishOptions options(commandLine);
    const std::string topic = sampleTopic(kSampleAppId, kSampleUserId, kSampleChannel);
    const std::string payload = makeSampleMessage(0).payload;
    PublishWindow window(options);
    Context context{&window};

    const MosquittoClient client("bench-mosquitto", &context);
    mosquitto_connect_callback_set(client.get(), onConnect);
    mosquitto_publish_callback_set(client.get(), onPublish);
    MosquittoClient::check(mosquitto_max_inflight_messages_set(client.get(), 0));  // no limit
    MosquittoClient::check(mosquitto_connect(client.get(), "127.0.0.1", options.port, 180));
    while (!context.connected) {
        MosquittoClient::check(mosquitto_loop(client.get(), 1000, 1));
    }
    while (!window.finished()) {
        for (std::uint64_t left = window.allowedNow(); left > 0; --left) {
            MosquittoClient::check(mosquitto_publish(client.get(), nullptr, topic.c_str(),
                                                     static_cast<int>(payload.size()), payload.data(), 1,
                                                     false));
            window.published();
        }
        MosquittoClient::check(mosquitto_loop(client.get(), 1000, 1));
    }
    mosquitto_disconnect(client.get());
    return window.report();
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
