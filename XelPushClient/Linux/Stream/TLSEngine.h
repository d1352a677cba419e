#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Linux/Stream/TLSContext.h"
#include "XelPushClient/Linux/Stream/TLSWire.h"

struct ssl_st;

namespace xel {

/// One TLS connection's cryptography, without I/O: what came from the network goes in, what must go there
/// comes out.
///
/// Certificate and host name are verified against the context's trust store; a host that is an address is
/// verified as one. A connection goes on with a session of one before it, to the same name and port and by
/// the same context, where the host lets it: then the name stands as it was verified when that began.
///
/// Thread: one at a time; the handshake may be on another thread than the rest.
class TLSEngine {
public:
    enum class Progress { NeedsMore, Done, Ended, Failed };

    TLSEngine(std::shared_ptr<TLSContext> context, std::string host, std::uint16_t port);
    ~TLSEngine();
    TLSEngine(const TLSEngine&) = delete;
    TLSEngine& operator=(const TLSEngine&) = delete;

    /// The next step of the handshake with what was received, nothing at first. What must be sent is
    /// appended, also when the outcome is Failed: the peer is told why.
    [[nodiscard]] Progress shakeHands(std::string_view received, std::string& toSend);

    /// Takes what was received once the handshake is done.
    void take(std::string_view received);

    /// Decrypts into the buffer as much as fits. Done: `count` octets, at least one; NeedsMore: none until
    /// more is taken; Ended: the peer has ended the stream in order.
    [[nodiscard]] Progress decrypt(std::span<char> buffer, std::size_t& count, std::string& toSend);

    /// Whether `decrypt` may have something to say before more is taken.
    [[nodiscard]] bool mayHoldMore() const { return mayHoldMore_; }

    /// False when the connection is broken.
    [[nodiscard]] bool encrypt(std::string_view octets, std::string& toSend);

    /// The end of the stream, for the peer.
    void end(std::string& toSend);

    /// After Failed, or a failed `encrypt`: whether it was the certificate, and why in words.
    [[nodiscard]] bool isCertificateRefused() const { return isCertificateRefused_; }
    [[nodiscard]] const std::string& failure() const { return failure_; }

private:
    struct Free {
        void operator()(ssl_st* connection) const;
    };

    [[nodiscard]] bool setUp();
    void goOnWithEarlierSession();
    Progress fail(std::string why);

    std::shared_ptr<TLSContext> context_;
    std::string host_;
    std::string peer_;  // host and port, the name of its sessions
    TLSWire wire_;
    std::unique_ptr<ssl_st, Free> connection_;
    bool mayHoldMore_ = false;
    bool isCertificateRefused_ = false;
    std::string failure_;
};

}  // namespace xel
