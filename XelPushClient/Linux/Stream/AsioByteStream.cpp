#include "XelPushClient/Linux/Stream/AsioByteStream.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Stream/AsioStreamConnection.h"
#include "XelPushClient/Linux/Stream/AsioStreamOpening.h"

namespace xel {
namespace {

class AsioByteStream final : public ByteStream {
public:
    explicit AsioByteStream(std::shared_ptr<AsioStreamConnection> connection)
        : connection_(std::move(connection)) {}
    AsioByteStream(const AsioByteStream&) = delete;
    AsioByteStream& operator=(const AsioByteStream&) = delete;
    ~AsioByteStream() override { connection_->drop(); }

    void open(std::string_view host, std::uint16_t port, bool usingTLS) override {
        connection_->open(host, port, usingTLS);
    }
    void receive() override { connection_->receive(); }
    void write(std::string_view octets) override { connection_->write(octets); }
    [[nodiscard]] bool gathersWrites() const override { return true; }
    void closeAfterWriting(Ended ended) override { connection_->closeAfterWriting(std::move(ended)); }
    [[nodiscard]] std::string describeProgress() const override { return connection_->describeProgress(); }

private:
    std::shared_ptr<AsioStreamConnection> connection_;
};

}  // namespace

struct AsioByteStreamFactory::Shared : AsioStreamTLS {
    using AsioStreamTLS::AsioStreamTLS;
};

AsioByteStreamFactory::AsioByteStreamFactory(LinuxTLSOptions tlsOptions, AsioByteStreamTimes times)
    : shared_(std::make_shared<Shared>(std::move(tlsOptions))), times_(times) {}

AsioByteStreamFactory::~AsioByteStreamFactory() = default;

std::unique_ptr<ByteStream> AsioByteStreamFactory::makeStream(NSRunLoop& runLoop,
                                                              ByteStreamObserver& observer) {
    auto* const loop = dynamic_cast<AsioRunLoop*>(&runLoop);
    if (loop == nullptr) {
        throw std::invalid_argument("a byte stream of Boost.Asio needs a run loop of Boost.Asio");
    }
    return std::make_unique<AsioByteStream>(
        std::make_shared<AsioStreamConnection>(loop->core(), loop->ioContext(), shared_, observer, times_));
}

}  // namespace xel
