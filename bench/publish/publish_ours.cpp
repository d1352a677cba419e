// Publishing through our session on the Linux platform: `--memory disk` keeps the outbox in the home's store,
// as hosts have it, `--memory ram` in RAM, as the libraries beside it do.

#include <stdexcept>

#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"
#include "bench/ours/CountingSessionMemory.h"
#include "bench/ours/OursPlatform.h"
#include "bench/ours/RamSessionMemory.h"
#include "bench/publish/PublishWindow.h"

namespace xel::bench {

namespace {

/// Publishes batch after batch from the run loop. Lives as long as the loop runs.
class Publishing final : public MQTTSessionDelegate {
public:
    Publishing(const PublishOptions& options, NSRunLoop& runLoop) : window_(options), runLoop_(runLoop) {}

    void start(MQTTSession& session, int port) {
        session_ = &session;
        session.setDelegate(this);
        session.connectToHost("127.0.0.1", static_cast<std::uint16_t>(port), false);
    }

    void countAcknowledged(std::size_t acknowledged) {
        for (; acknowledged > 0; --acknowledged) {
            window_.acknowledged();
        }
        runLoop_.post([this] { goOn(); });
    }

    int report() const { return failure_.empty() ? window_.report() : throw std::runtime_error(failure_); }

    void handleEvent(MQTTSession&, MQTTSessionEvent event, const std::optional<NSError>& error) override {
        if (event == MQTTSessionEvent::Connected) {
            runLoop_.post([this] { goOn(); });
        } else if (!window_.finished()) {
            fail(error ? describeError(*error) : "the connection was closed");
        }
    }

    void sessionWillDeliver(MQTTSession&) override {}
    void newMessage(MQTTSession&, const MQTTPublication&) override {}
    void sessionDidDeliver(MQTTSession&, std::function<void()> acknowledge) override { acknowledge(); }
    void subAckReceived(MQTTSession&, std::uint16_t, std::span<const std::uint8_t>) override {}
    void unsubAckReceived(MQTTSession&, std::uint16_t) override {}
    void topicWasRefused(MQTTSession&, std::string_view) override {}
    void publicationDidFail(MQTTSession&, std::string_view, std::string_view, const NSError& error) override {
        fail(describeError(error));
    }
    void subscriptionDidFail(MQTTSession&, std::string_view, const NSError&) override {}
    void unsubscriptionDidFail(MQTTSession&, std::string_view, const NSError&) override {}

private:
    void goOn() {
        if (window_.finished()) {
            runLoop_.stop();
            return;
        }
        // The unmeasured publications are followed by the first batch at once: nobody acknowledges them.
        for (std::uint64_t left = window_.allowedNow(); left > 0; left = window_.allowedNow()) {
            for (; left > 0; --left) {
                if (!session_->publishDataAtLeastOnce(payload_, topic_, false)) {
                    fail("a publication was refused");
                    return;
                }
                window_.published();
            }
        }
    }

    void fail(std::string failure) {
        failure_ = std::move(failure);
        runLoop_.stop();
    }

    PublishWindow window_;
    NSRunLoop& runLoop_;
    MQTTSession* session_ = nullptr;
    std::string topic_ = sampleTopic(kSampleAppId, kSampleUserId, kSampleChannel);
    std::string payload_ = makeSampleMessage(0).payload;
    std::string failure_;
};

int run(const BenchOptions& commandLine) {
    const PublishOptions options(commandLine);
    const std::string where = commandLine.text("memory", "disk");
    if (where != "disk" && where != "ram") {
        throw std::invalid_argument("--memory is disk or ram, not '" + where + "'");
    }
    const OursPlatform platform(commandLine.text("state-dir", "."), options.port);
    std::shared_ptr<SessionMemory> memory = platform.home().sessionMemory;
    if (where == "ram") {
        memory = std::make_shared<RamSessionMemory>();
    }
    Publishing publishing(options, *platform.machine().runLoop);
    CountingSessionMemory counting(memory, [&](std::size_t count) { publishing.countAcknowledged(count); });
    MQTTSessionParameters parameters;
    parameters.clientId = "bench-ours";
    const auto session =
        platform.machine().sessions->makeSession(parameters, *platform.machine().runLoop, counting);
    publishing.start(*session, options.port);
    platform.machine().runLoop->run();
    session->setDelegate(nullptr);
    return publishing.report();
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
