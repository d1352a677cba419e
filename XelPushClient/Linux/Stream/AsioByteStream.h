#pragma once

#include <chrono>
#include <memory>

#include "XelPushClient/Linux/Stream/LinuxTCPOptions.h"
#include "XelPushClient/Linux/Stream/TLSContext.h"
#include "XelPushClient/Platform/ByteStream.h"

namespace xel {

/// How long a stream waits for others.
struct AsioByteStreamTimes {
    /// For each address of the host.
    std::chrono::milliseconds connect{10'000};
    /// For the host's part of the TLS handshake.
    std::chrono::milliseconds handshake{10'000};
    /// For what is written last to leave, after `closeAfterWriting`.
    std::chrono::milliseconds linger{5'000};
    /// For a sign of life, once connected.
    LinuxTCPOptions tcp{};
};

/// Makes streams on Boost.Asio and OpenSSL. The run loops it is given are `AsioRunLoop`s; another kind is
/// refused with `std::invalid_argument`.
///
/// Its streams share one TLS context, and one thread on which handshakes are computed, so that neither
/// reading the trust store nor verifying a certificate holds a run loop up. Streams may outlive their
/// factory. Thread: any.
class AsioByteStreamFactory final : public ByteStreamFactory {
public:
    explicit AsioByteStreamFactory(LinuxTLSOptions tlsOptions = {}, AsioByteStreamTimes times = {});
    ~AsioByteStreamFactory() override;
    AsioByteStreamFactory(const AsioByteStreamFactory&) = delete;
    AsioByteStreamFactory& operator=(const AsioByteStreamFactory&) = delete;

    [[nodiscard]] std::unique_ptr<ByteStream> makeStream(NSRunLoop& runLoop,
                                                         ByteStreamObserver& observer) override;

private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
    AsioByteStreamTimes times_;
};

}  // namespace xel
