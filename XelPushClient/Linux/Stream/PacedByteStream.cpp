#include "XelPushClient/Linux/Stream/PacedByteStream.h"

#include <random>
#include <string>
#include <utility>

namespace xel {

namespace {

class PacedByteStream final : public ByteStream {
public:
    PacedByteStream(std::unique_ptr<ByteStream> stream, ByteStreamObserver& observer,
                    std::shared_ptr<OpeningTurns> turns)
        : stream_(std::move(stream)), observer_(observer), turns_(std::move(turns)) {}

    void open(std::string_view host, std::uint16_t port, bool usingTLS) override {
        if (turns_->takeAtOnce()) {
            stream_->open(host, port, usingTLS);
            return;
        }
        opening_ = std::make_shared<Opening>(*this, std::string(host), port, usingTLS);
        turns_->queue(opening_);
    }

    void receive() override { stream_->receive(); }
    void write(std::string_view octets) override { stream_->write(octets); }
    [[nodiscard]] bool gathersWrites() const override { return stream_->gathersWrites(); }
    void closeAfterWriting(Ended ended) override {
        opening_.reset();
        stream_->closeAfterWriting(std::move(ended));
    }
    [[nodiscard]] bool isAwaitingTurn() const override { return opening_ != nullptr; }
    [[nodiscard]] std::string describeProgress() const override {
        return opening_ ? "many connections are being opened, and it is not its turn yet"
                        : stream_->describeProgress();
    }

private:
    /// What waits for its turn: nothing does once it is dropped.
    class Opening final : public OpeningTurnTaker {
    public:
        Opening(PacedByteStream& stream, std::string host, std::uint16_t port, bool usingTLS)
            : stream_(stream), host_(std::move(host)), port_(port), usingTLS_(usingTLS) {}

        void takeTurn() override {
            stream_.opening_.reset();  // whoever calls holds this
            stream_.observer_.streamDidGetItsTurn();
            stream_.stream_->open(host_, port_, usingTLS_);
        }

    private:
        PacedByteStream& stream_;
        std::string host_;
        std::uint16_t port_;
        bool usingTLS_;
    };

    std::unique_ptr<ByteStream> stream_;
    ByteStreamObserver& observer_;
    std::shared_ptr<OpeningTurns> turns_;
    std::shared_ptr<Opening> opening_;
};

}  // namespace

PacedByteStreamFactory::PacedByteStreamFactory(std::shared_ptr<ByteStreamFactory> streams,
                                               std::shared_ptr<const Clock> clock, LinuxConnectionPace pace,
                                               OpeningTurns::Random random)
    : streams_(std::move(streams)), clock_(std::move(clock)), pace_(pace), random_(std::move(random)) {}

OpeningTurns::Random PacedByteStreamFactory::makeRandom() {
    return [source = std::minstd_rand(std::random_device()())]() mutable {
        return std::uniform_real_distribution<double>()(source);
    };
}

std::unique_ptr<ByteStream> PacedByteStreamFactory::makeStream(NSRunLoop& runLoop,
                                                               ByteStreamObserver& observer) {
    auto stream = streams_->makeStream(runLoop, observer);
    if (pace_.perSecond == 0) {
        return stream;
    }
    return std::make_unique<PacedByteStream>(std::move(stream), observer, turnsOf(runLoop));
}

std::shared_ptr<OpeningTurns> PacedByteStreamFactory::turnsOf(NSRunLoop& runLoop) {
    const std::lock_guard lock(mutex_);
    auto& known = turns_[&runLoop];
    auto turns = known.lock();
    if (!turns) {
        turns = std::make_shared<OpeningTurns>(runLoop, clock_, pace_, random_);
        known = turns;
    }
    return turns;
}

}  // namespace xel
