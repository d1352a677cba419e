#include "XelPushClient/Linux/Stream/StreamErrors.h"

#include <array>

#include <boost/asio/error.hpp>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

namespace xel {
namespace {

std::string_view wordsFor(long verifyResult) {
    switch (verifyResult) {
        case X509_V_ERR_CERT_HAS_EXPIRED: return "the certificate has expired";
        case X509_V_ERR_CERT_NOT_YET_VALID: return "the certificate is not valid yet";
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT: return "the certificate is self-signed";
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        // Somebody by the name of a trusted authority, but with another key.
        case X509_V_ERR_CERT_SIGNATURE_FAILURE: return "the certificate was issued by an unknown authority";
        case X509_V_ERR_HOSTNAME_MISMATCH:
        case X509_V_ERR_IP_ADDRESS_MISMATCH:
            return "the certificate belongs to another host: no subjectAltName of it names this one";
        case X509_V_ERR_CERT_REVOKED: return "the certificate has been revoked";
        default: return "the certificate cannot be trusted";
    }
}

}  // namespace

NSError streamError(ByteStreamErrorCode code, std::string_view description) {
    return makeError(kByteStreamErrorDomain, static_cast<std::int64_t>(code), description);
}

NSError tlsError(std::string_view description) {
    return streamError(ByteStreamErrorCode::TLSFailed, description);
}

NSError StreamPeer::cannotConnect(ByteStreamErrorCode code, std::string_view why) const {
    return streamError(code,
                       "cannot connect to " + host + ":" + std::to_string(port) + ": " + std::string(why));
}

NSError StreamPeer::cannotConnectByTLS(std::string_view why, ByteStreamErrorCode code) const {
    return streamError(
        code, "cannot connect to " + host + ":" + std::to_string(port) + " by TLS: " + std::string(why));
}

NSError StreamPeer::wasLost(std::string_view why, ByteStreamErrorCode code) const {
    return streamError(
        code, "the connection to " + host + ":" + std::to_string(port) + " was lost: " + std::string(why));
}

NSError StreamPeer::wasLost(const boost::system::error_code& error) const {
    const bool isByPeer =
        error == boost::asio::error::connection_reset || error == boost::asio::error::broken_pipe;
    return wasLost(error.message(),
                   isByPeer ? ByteStreamErrorCode::ConnectionReset : ByteStreamErrorCode::ConnectionLost);
}

std::string describeOpenSSLErrors() {
    std::string description;
    for (unsigned long code = ERR_get_error(); code != 0; code = ERR_get_error()) {
        const char* const reason = ERR_reason_error_string(code);
        std::array<char, 256> text{};
        ERR_error_string_n(code, text.data(), text.size());
        description += (description.empty() ? "" : ", ");
        description += reason != nullptr ? reason : text.data();
    }
    return description.empty() ? "no further details" : description;
}

std::string describeRefusedCertificate(long verifyResult) {
    return std::string(wordsFor(verifyResult)) + " (" + X509_verify_cert_error_string(verifyResult) + ")";
}

std::string describeFailedHandshake() {
    // The oldest entry is the cause. It is looked at before the texts are fetched, which
    // empties the queue.
    const unsigned long code = ERR_peek_error();
    const int reason = ERR_GET_LIB(code) == ERR_LIB_SSL ? ERR_GET_REASON(code) : 0;
    const std::string detail = " (" + describeOpenSSLErrors() + ")";
    switch (reason) {
        case SSL_R_UNSUPPORTED_PROTOCOL:
        case SSL_R_TLSV1_ALERT_PROTOCOL_VERSION:
        case SSL_R_VERSION_TOO_LOW: return "the host does not speak TLS 1.2 or later" + detail;
        case SSL_R_WRONG_VERSION_NUMBER: return "the host does not speak TLS on this port" + detail;
        default: return "the TLS handshake failed" + detail;
    }
}

}  // namespace xel
