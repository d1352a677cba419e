#include "XelPushClient/Linux/Stream/TLSContext.h"

#include <exception>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include "XelPushClient/Linux/Stream/StreamErrors.h"

namespace xel {

namespace {

bool isAddress(const std::string& host) {
    in6_addr address{};
    return ::inet_pton(AF_INET, host.c_str(), &address) == 1 ||
           ::inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

/// A host may give sessions at any time, each to be used once. None is left to OpenSSL's own list, which
/// knows nothing of names.
int keepSession(SSL* connection, SSL_SESSION* session) {
    auto* const sessions = static_cast<TLSSessions*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(connection)));
    const auto* const peer = static_cast<const std::string*>(SSL_get_app_data(connection));
    if (sessions != nullptr && peer != nullptr) {
        try {
            sessions->keep(*peer, session);
        } catch (const std::exception&) {
            return 0;  // for want of memory; no exception may pass through OpenSSL
        }
    }
    return 0;  // the session itself stays OpenSSL's
}

}  // namespace

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
    // Without renegotiation writing never waits for something to read, which `TLSEngine::encrypt` relies
    // on. Compression would let lengths tell of secrets (RFC 9325 section 3.3).
    SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
    // A connection that is idle most of its life keeps no record buffers meanwhile.
    SSL_CTX_set_mode(context.get(), SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE |
                                        SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
    SSL_CTX_set_app_data(context.get(), &sessions_);
    SSL_CTX_sess_set_new_cb(context.get(), keepSession);
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

void keepSessionsOf(ssl_st* connection, const std::string& peer) {
    // Only read from, by `keepSession`.
    SSL_set_app_data(connection, const_cast<std::string*>(&peer));
}

bool expectHost(ssl_st* connection, const std::string& host) {
    X509_VERIFY_PARAM* const rules = SSL_get0_param(connection);
    X509_VERIFY_PARAM_set_hostflags(
        rules, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
    if (isAddress(host)) {
        return X509_VERIFY_PARAM_set1_ip_asc(rules, host.c_str()) == 1;
    }
    // An address is no server name (RFC 6066 section 3), so only a name is told to the host.
    return X509_VERIFY_PARAM_set1_host(rules, host.data(), host.size()) == 1 &&
           SSL_set_tlsext_host_name(connection, host.c_str()) == 1;
}

}  // namespace xel
