// Publishing through Paho C's asynchronous client, without persistence, from the main thread.

#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"
#include "bench/peers/PahoClient.h"
#include "bench/publish/PublishWindow.h"

namespace xel::bench {

namespace {

struct Context {
    explicit Context(const PublishOptions& options) : window(options) {}

    PublishWindow window;
    std::mutex mutex;  // the acknowledgements come on Paho's thread
    std::condition_variable changed;
    bool connected = false;
};

void onConnected(void* opaque, MQTTAsync_successData*) {
    auto& context = *static_cast<Context*>(opaque);
    const std::lock_guard lock(context.mutex);
    context.connected = true;
    context.changed.notify_all();
}

void onDelivered(void* opaque, MQTTAsync_token) {
    auto& context = *static_cast<Context*>(opaque);
    const std::lock_guard lock(context.mutex);
    context.window.acknowledged();
    if (context.window.finished() || context.window.allowedNow() > 0) {
        context.changed.notify_all();
    }
}

int onMessage(void*, char* topic, int, MQTTAsync_message* message) {
    MQTTAsync_freeMessage(&message);
    MQTTAsync_free(topic);
    return 1;
}

void publishBatch(Context& context, PahoClient& client, std::uint64_t size, const std::string& topic,
                  const std::string& payload) {
    for (; size > 0; --size) {
        MQTTAsync_message message = MQTTAsync_message_initializer;
        message.payload = const_cast<char*>(payload.data());  // Paho copies it
        message.payloadlen = static_cast<int>(payload.size());
        message.qos = 1;
        {
            const std::lock_guard lock(context.mutex);
            context.window.published();
        }
        PahoClient::check(MQTTAsync_sendMessage(client.get(), topic.c_str(), &message, nullptr));
    }
}

int run(const BenchOptions& commandLine) {
    const PublishOptions options(commandLine);
    const std::string topic = sampleTopic(kSampleAppId, kSampleUserId, kSampleChannel);
    const std::string payload = makeSampleMessage(0).payload;
    Context context(options);
    PahoClient client(options.port, "bench-paho");
    PahoClient::check(MQTTAsync_setCallbacks(client.get(), &context, nullptr, onMessage, onDelivered));
    client.connect(&context, onConnected);

    std::unique_lock lock(context.mutex);
    context.changed.wait(lock, [&] { return context.connected; });
    while (!context.window.finished()) {
        const std::uint64_t size = context.window.allowedNow();
        if (size == 0) {
            context.changed.wait(lock);
            continue;
        }
        lock.unlock();
        publishBatch(context, client, size, topic, payload);
        lock.lock();
    }
    lock.unlock();
    client.disconnect();
    return context.window.report();
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
