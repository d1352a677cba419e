// libmosquitto with its own loop, and the pipeline that a team would write around it.

#include <cstring>

#include "bench/peers/MosquittoClient.h"
#include "bench/peers/PeerTally.h"
#include "bench/peers/SqliteIds.h"

namespace xel::bench {

namespace {

struct Context {
    SubjectTally tally;
    std::uint64_t expected = 0;
    TeamPipeline* pipeline = nullptr;
};

void onMessage(mosquitto* client, void* opaque, const mosquitto_message* message) {
    auto& context = *static_cast<Context*>(opaque);
    context.pipeline->handle(message->topic, std::strlen(message->topic),
                             static_cast<const char*>(message->payload),
                             static_cast<std::size_t>(message->payloadlen));
    if (context.tally.messages == context.expected) {
        mosquitto_disconnect(client);
    }
}

int run(const BenchOptions& options) {
    const SubjectOptions subject(options);
    Context context{SubjectTally(subject)};
    context.expected = subject.count;
    SqliteIds ids(subject.stateFolder + "/peer.sqlite", SqliteIds::Commit::EachId);
    TeamPipeline pipeline(ids, [&](const TeamMessage& message) { tallyTeamMessage(context.tally, message); });
    context.pipeline = &pipeline;
    receiveWithMosquitto(subject, &context, onMessage);
    return context.tally.finish(subject, true);
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
