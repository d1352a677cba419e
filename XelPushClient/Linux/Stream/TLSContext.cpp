#include "XelPushClient/Linux/Stream/TLSContext.h"

#include <utility>

#include <openssl/err.h>
#include <openssl/ssl.h>

#include "XelPushClient/Linux/Stream/TLSErrors.h"

namespace xel {

void TLSContext::Free::operator()(ssl_ctx_st* context) const {
    SSL_CTX_free(context);
}

TLSContext::TLSContext(LinuxTLSOptions options) : options_(std::move(options)) {}

TLSContext::~TLSContext() = default;

Result<ssl_ctx_st*> TLSContext::native() {
    const std::lock_guard lock(mutex_);
    if (handle_) {
        return handle_.get();
    }
    ERR_clear_error();
    Handle context(SSL_CTX_new(TLS_client_method()));
    if (!context || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1) {
        return tlsError("TLS cannot be set up: " + describeOpenSSLErrors());
    }
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
    // A connection that is idle most of its life keeps no record buffers meanwhile.
    SSL_CTX_set_mode(context.get(), SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE |
                                        SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    if (auto trusted = trust(context.get()); !trusted) {
        return trusted.error();
    }
    handle_ = std::move(context);
    return handle_.get();
}

Result<void> TLSContext::trust(ssl_ctx_st* context) const {
    if (!options_.caFile) {
        return SSL_CTX_set_default_verify_paths(context) == 1
                   ? Result<void>()
                   : tlsError("the system's trusted certificates cannot be read: " + describeOpenSSLErrors());
    }
    if (SSL_CTX_load_verify_file(context, options_.caFile->c_str()) == 1) {
        return {};
    }
    return tlsError("the trusted certificates in " + *options_.caFile +
                    " cannot be read: " + describeOpenSSLErrors());
}

}  // namespace xel
