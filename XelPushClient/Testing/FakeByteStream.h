#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "XelPushClient/Testing/FakeNetwork.h"

namespace xel {

/// The client's end of a `FakeConnection`. What the contract forbids (opening twice, writing before the
/// stream is open) throws `std::logic_error`.
class FakeByteStream final : public ByteStream {
public:
    using Opened = std::function<void(const std::shared_ptr<FakeConnection>& connection)>;

    /// `opened` is called with the connection attempt when it begins.
    FakeByteStream(NSRunLoop& runLoop, ByteStreamObserver& observer, Opened opened);
    ~FakeByteStream() override;
    FakeByteStream(const FakeByteStream&) = delete;
    FakeByteStream& operator=(const FakeByteStream&) = delete;

    void open(std::string_view host, std::uint16_t port, bool usingTLS) override;
    void receive() override;
    void write(std::string_view octets) override;
    void closeAfterWriting(Ended ended) override;
    [[nodiscard]] std::string describeProgress() const override;

private:
    NSRunLoop& runLoop_;
    ByteStreamObserver& observer_;
    Opened opened_;
    std::shared_ptr<FakeConnection> connection_;
    bool isClosed_ = false;
};

}  // namespace xel
