#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Stream/TLSSessions.h"

struct ssl_ctx_st;
struct ssl_st;

namespace xel {

/// What a host may choose about TLS. Verification cannot be switched off.
struct LinuxTLSOptions {
    /// A file of PEM certificates to trust instead of the system's store. Without one the system's is used,
    /// and OpenSSL's variables SSL_CERT_FILE and SSL_CERT_DIR count.
    std::optional<std::string> caFile;
};

/// What all TLS connections share: the trust store, the rules, and the sessions that hosts let one go on
/// with. The trust store is read on first use, which takes a while: not on a run loop. It then stays as it
/// was read, whatever becomes of its files. Thread: any.
class TLSContext {
public:
    explicit TLSContext(LinuxTLSOptions options);
    ~TLSContext();
    TLSContext(const TLSContext&) = delete;
    TLSContext& operator=(const TLSContext&) = delete;

    /// The context, or why the trust store cannot be used. A failure is tried again by the next call.
    [[nodiscard]] Result<ssl_ctx_st*> native();

    [[nodiscard]] TLSSessions& sessions() { return sessions_; }

private:
    struct Free {
        void operator()(ssl_ctx_st* context) const;
    };
    using Handle = std::unique_ptr<ssl_ctx_st, Free>;

    [[nodiscard]] Result<void> trust(ssl_ctx_st* context) const;

    LinuxTLSOptions options_;
    TLSSessions sessions_;
    std::mutex mutex_;
    Handle handle_;
};

/// Has the sessions of the connection kept under that name, which must outlive it.
void keepSessionsOf(ssl_st* connection, const std::string& peer);

/// Has the connection verify that the certificate is of that host, a name or an address, by a subjectAltName
/// alone: a subject's common name is free text (RFC 9525 section 2). The host is told the name that is asked
/// for. False when that cannot be.
[[nodiscard]] bool expectHost(ssl_st* connection, const std::string& host);

}  // namespace xel
