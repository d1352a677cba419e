#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"

namespace xel {

/// Domain of a stream's errors. The codes are `ByteStreamErrorCode`; the description names host, port and
/// cause.
inline constexpr std::string_view kByteStreamErrorDomain = "ByteStream";

enum class ByteStreamErrorCode : std::int64_t {
    NameNotFound = 1,
    ConnectFailed = 2,
    CertificateRefused = 3,  ///< expired, self-signed, unknown authority, another host's
    TLSFailed = 4,
    ConnectionLost = 5,
    ConnectionReset = 6,  ///< the peer reset it
};

/// Hears what a stream reports, on the stream's run loop, never inside one of its own calls.
class ByteStreamObserver {
public:
    virtual ~ByteStreamObserver() = default;

    /// The stream has had to wait for its turn before it could begin to open (see `isAwaitingTurn`), and
    /// begins now.
    virtual void streamDidGetItsTurn() {}

    /// Connected and, with TLS, verified: writing and receiving may begin.
    virtual void streamDidOpen() = 0;

    /// What one read brought: at least one octet. The view is valid only during the call. The next read
    /// starts when `receive` is called again.
    virtual void streamDidReceive(std::string_view octets) = 0;

    /// The peer closed the stream in order, and everything it sent has been received.
    virtual void streamDidEndByPeer() = 0;

    /// The stream could not be opened, or was lost. Nothing follows.
    virtual void streamDidFail(const NSError& error) = 0;
};

/// One connection to a host, plain TCP or TLS; opened once.
///
/// Contract: `open` looks the name up, connects and, with TLS, shakes hands without ever blocking the run
/// loop: server name indication, TLS 1.2 at least, certificate and host name verified against the trust
/// store. `write` keeps order and never blocks; what is written in one run-loop pass may leave in one
/// packet. `closeAfterWriting` stops all callbacks at once and lets the stream linger by itself, a few
/// seconds at most, until everything written has left and the peer has ended its side. `ended`, which may
/// be empty, is called once then, on the run loop and never inside the call: true when everything has
/// left. Dropping the stream ends it at once; no callback follows. Thread: its run loop.
class ByteStream {
public:
    virtual ~ByteStream() = default;

    virtual void open(std::string_view host, std::uint16_t port, bool usingTLS) = 0;

    /// Asks for one `streamDidReceive`. Calling again before it arrives is harmless.
    virtual void receive() = 0;

    virtual void write(std::string_view octets) = 0;

    /// True when what is written in one run-loop pass leaves together at its end: then nobody else has to
    /// gather it first, and plan for the end of the pass a second time.
    [[nodiscard]] virtual bool gathersWrites() const { return false; }

    using Ended = std::function<void(bool everythingWasSent)>;
    virtual void closeAfterWriting(Ended ended) = 0;

    /// True while the opening has not begun, because the machine opens connections one after the other.
    /// The time that an opening may take counts from `streamDidGetItsTurn` then.
    [[nodiscard]] virtual bool isAwaitingTurn() const { return false; }

    /// What the stream is waiting for, as it reads in the error of a time-out: "the look-up of the name
    /// push.example has not been answered". Empty: nothing, or not known.
    [[nodiscard]] virtual std::string describeProgress() const { return {}; }
};

class NSRunLoop;

/// Makes streams. Thread: that of the run loop they are made for.
class ByteStreamFactory {
public:
    virtual ~ByteStreamFactory() = default;

    /// The observer outlives the stream.
    [[nodiscard]] virtual std::unique_ptr<ByteStream> makeStream(NSRunLoop& runLoop,
                                                                 ByteStreamObserver& observer) = 0;
};

}  // namespace xel
