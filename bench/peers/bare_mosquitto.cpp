// libmosquitto alone: no parsing, no store. What the transport of that library costs by itself.

#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"
#include "bench/peers/MosquittoClient.h"

namespace xel::bench {

namespace {

struct Context {
    SubjectTally tally;
    std::uint64_t expected = 0;
};

void onMessage(mosquitto* client, void* opaque, const mosquitto_message* message) {
    auto& context = *static_cast<Context*>(opaque);
    context.tally.addUnread(static_cast<std::size_t>(message->payloadlen));
    if (context.tally.messages == context.expected) {
        mosquitto_disconnect(client);
    }
}

int run(const BenchOptions& options) {
    const SubjectOptions subject(options);
    Context context{SubjectTally(subject)};
    context.expected = subject.count;
    receiveWithMosquitto(subject, &context, onMessage);
    return context.tally.finish(subject, false);
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
