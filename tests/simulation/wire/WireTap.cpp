#include "tests/simulation/wire/WireTap.h"

#include <utility>

#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"
#include "tests/simulation/wire/BrokerPacketReader.h"
#include "tests/simulation/wire/PacketFacts.h"

namespace xel::simulation {

class WireTap::Stream final : public ByteStream, private ByteStreamObserver {
public:
    Stream(ByteStreamFactory& streams, NSRunLoop& runLoop, ByteStreamObserver& observer, Tell tell,
           std::int64_t number)
        : observer_(observer),
          tell_(std::move(tell)),
          number_(number),
          stream_(streams.makeStream(runLoop, *this)) {}

    ~Stream() override { end(); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    void open(std::string_view host, std::uint16_t port, bool usingTLS) override {
        tell_({.kind = FactKind::ConnectionBegan, .number = number_});
        stream_->open(host, port, usingTLS);
    }
    void receive() override { stream_->receive(); }
    void write(std::string_view octets) override {
        tellWritten(octets);
        stream_->write(octets);
    }
    [[nodiscard]] bool gathersWrites() const override { return stream_->gathersWrites(); }
    void closeAfterWriting(Ended ended) override {
        end();
        stream_->closeAfterWriting(std::move(ended));
    }
    [[nodiscard]] std::string describeProgress() const override { return stream_->describeProgress(); }

private:
    void streamDidOpen() override { observer_.streamDidOpen(); }
    void streamDidReceive(std::string_view octets) override {
        fromBroker_.feed(octets);
        while (auto packet = fromBroker_.next()) {
            tell_({.kind = FactKind::Arrived, .packet = *std::move(packet), .number = number_});
        }
        observer_.streamDidReceive(octets);
    }
    void streamDidEndByPeer() override {
        end();
        observer_.streamDidEndByPeer();
    }
    void streamDidFail(const NSError& error) override {
        end();
        observer_.streamDidFail(error);
    }

    void tellWritten(std::string_view octets) {
        static_cast<void>(fromClient_.feed(octets));
        while (const auto packet = fromClient_.next()) {
            tell_({.kind = FactKind::Written, .packet = factOf(*packet), .number = number_});
        }
    }

    void end() {
        if (!std::exchange(hasEnded_, true)) {
            tell_({.kind = FactKind::ConnectionEnded, .number = number_});
        }
    }

    ByteStreamObserver& observer_;
    Tell tell_;
    std::int64_t number_;
    bool hasEnded_ = false;
    BrokerPacketReader fromBroker_;
    FakeBrokerPacketReader fromClient_;
    std::unique_ptr<ByteStream> stream_;
};

WireTap::WireTap(std::shared_ptr<ByteStreamFactory> streams, Tell tell)
    : streams_(std::move(streams)), tell_(std::move(tell)) {}

std::unique_ptr<ByteStream> WireTap::makeStream(NSRunLoop& runLoop, ByteStreamObserver& observer) {
    return std::make_unique<Stream>(*streams_, runLoop, observer, tell_, ++lastNumber_);
}

}  // namespace xel::simulation
