#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <boost/asio/io_context.hpp>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Loop/AsioLoopCore.h"
#include "XelPushClient/Linux/Process/BackgroundThread.h"
#include "XelPushClient/Linux/Stream/AsioByteStream.h"
#include "XelPushClient/Linux/Stream/AsioConnector.h"
#include "XelPushClient/Linux/Stream/AsioStreamWriter.h"
#include "XelPushClient/Linux/Stream/TLSEngine.h"

namespace xel {

/// What the TLS connections of a factory share.
struct AsioStreamTLS {
    explicit AsioStreamTLS(LinuxTLSOptions options)
        : context(std::make_shared<TLSContext>(std::move(options))) {}

    std::shared_ptr<TLSContext> context;
    /// Computes handshakes.
    SerialWorker worker{"xel-tls"};
};

/// What an opened stream consists of. The writer may have failed already.
struct OpenedStream {
    std::shared_ptr<AsioSocket> socket;
    std::shared_ptr<AsioStreamWriter> writer;
    std::shared_ptr<TLSEngine> engine;  ///< with TLS; it may hold octets that came behind the handshake
};

/// The opening of one stream: name, connection and TLS handshake. Thread: the loop's. Its owner keeps it
/// until it answers or is cancelled.
class AsioStreamOpening final : public AsioStreamWriterObserver,
                                public std::enable_shared_from_this<AsioStreamOpening> {
public:
    /// The opened stream, or an error of the domain "ByteStream".
    using Done = std::function<void(Result<OpenedStream>)>;

    AsioStreamOpening(std::weak_ptr<AsioLoopCore> core, boost::asio::io_context& context,
                      std::shared_ptr<AsioStreamTLS> tls, const AsioByteStreamTimes& times);

    /// Calls `done` once, in a pass of the loop and never inside this call, unless it is cancelled.
    void start(StreamPeer peer, bool usingTLS, Done done);

    void cancel();

    /// What is being waited for, in words for an error's text.
    [[nodiscard]] std::string describeProgress() const;

    void writingDidFail() override;

private:
    void readTrustStoreAhead();
    void wasConnected(std::shared_ptr<AsioSocket> socket);
    void stepHandshake(std::string received);
    void handshakeStepped(TLSEngine::Progress progress, std::string_view toSend);
    void limitHandshake();
    void readMore();
    void wasRead(const boost::system::error_code& error, std::string_view octets);
    void succeed();
    void fail(NSError error);
    void release();

    std::weak_ptr<AsioLoopCore> core_;
    std::shared_ptr<AsioStreamTLS> tls_;
    AsioByteStreamTimes times_;
    StreamPeer peer_;
    bool isUsingTLS_ = false;
    Done done_;  // null once it has answered
    std::shared_ptr<AsioConnector> connector_;
    OpenedStream stream_;
    std::unique_ptr<char[]> received_;
    bool isReading_ = false;
    std::shared_ptr<NSTimer> deadline_;
};

}  // namespace xel
