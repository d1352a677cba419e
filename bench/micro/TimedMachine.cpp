#include "bench/micro/TimedMachine.h"

#include <utility>

#include "XelPushClient/MQTTSDK/MQTTClientSessionFactory.h"

namespace xel::bench {

namespace {

class TimedRunLoop final : public NSRunLoop {
public:
    TimedRunLoop(std::shared_ptr<NSRunLoop> loop, std::shared_ptr<LibraryTime> time)
        : loop_(std::move(loop)), time_(std::move(time)) {}

    void post(std::function<void()> block) override { loop_->post(timed(std::move(block))); }
    std::shared_ptr<NSTimer> scheduleTimer(std::chrono::milliseconds delay,
                                           std::function<void()> block) override {
        return loop_->scheduleTimer(delay, timed(std::move(block)));
    }
    [[nodiscard]] bool isCurrent() const override { return loop_->isCurrent(); }
    void run() override { loop_->run(); }
    void stop() override { loop_->stop(); }

private:
    [[nodiscard]] std::function<void()> timed(std::function<void()> block) const {
        return [time = time_, block = std::move(block)] { time->take(block); };
    }

    std::shared_ptr<NSRunLoop> loop_;
    std::shared_ptr<LibraryTime> time_;
};

/// A stream of the fake network: it lives on the fake loop, where the broker's work is not timed.
class TimedStream final : public ByteStream, private ByteStreamObserver {
public:
    TimedStream(ByteStreamFactory& streams, NSRunLoop& loop, ByteStreamObserver& observer, LibraryTime& time)
        : observer_(observer), time_(time), stream_(streams.makeStream(loop, *this)) {}

    void open(std::string_view host, std::uint16_t port, bool usingTLS) override {
        stream_->open(host, port, usingTLS);
    }
    void receive() override { stream_->receive(); }
    void write(std::string_view octets) override { stream_->write(octets); }
    void closeAfterWriting(Ended ended) override { stream_->closeAfterWriting(std::move(ended)); }

private:
    void streamDidOpen() override {
        time_.take([this] { observer_.streamDidOpen(); });
    }
    void streamDidReceive(std::string_view octets) override {
        time_.take([&] { observer_.streamDidReceive(octets); });
    }
    void streamDidEndByPeer() override {
        time_.take([this] { observer_.streamDidEndByPeer(); });
    }
    void streamDidFail(const NSError& error) override {
        time_.take([&] { observer_.streamDidFail(error); });
    }

    ByteStreamObserver& observer_;
    LibraryTime& time_;
    std::unique_ptr<ByteStream> stream_;
};

class TimedStreams final : public ByteStreamFactory {
public:
    TimedStreams(const FakeMachine& fakes, std::shared_ptr<LibraryTime> time)
        : network_(fakes.network), loop_(fakes.runLoop), time_(std::move(time)) {}

    [[nodiscard]] std::unique_ptr<ByteStream> makeStream(NSRunLoop& /*runLoop*/,
                                                         ByteStreamObserver& observer) override {
        return std::make_unique<TimedStream>(*network_, *loop_, observer, *time_);
    }

private:
    std::shared_ptr<FakeNetwork> network_;
    std::shared_ptr<NSRunLoop> loop_;
    std::shared_ptr<LibraryTime> time_;
};

class TimedHTTPTransport final : public HTTPTransport {
public:
    TimedHTTPTransport(std::shared_ptr<HTTPTransport> http, std::shared_ptr<LibraryTime> time)
        : http_(std::move(http)), time_(std::move(time)) {}

    void send(HTTPRequest request, Completion completion) override {
        http_->send(std::move(request),
                    [time = time_, completion = std::move(completion)](Result<HTTPResponse> response) {
                        time->take([&] { completion(std::move(response)); });
                    });
    }

private:
    std::shared_ptr<HTTPTransport> http_;
    std::shared_ptr<LibraryTime> time_;
};

}  // namespace

Machine timedMachine(const FakeMachine& fakes, const std::shared_ptr<LibraryTime>& time) {
    Machine machine = fakes.machine();
    machine.runLoop = std::make_shared<TimedRunLoop>(fakes.runLoop, time);
    machine.mainRunLoop = machine.runLoop;
    machine.sessions = std::make_shared<MQTTClientSessionFactory>(std::make_shared<TimedStreams>(fakes, time),
                                                                  fakes.clock, machine.mainRunLoop.get());
    machine.http = std::make_shared<TimedHTTPTransport>(fakes.http, time);
    return machine;
}

}  // namespace xel::bench
