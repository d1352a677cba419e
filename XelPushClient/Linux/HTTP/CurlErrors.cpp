#include "XelPushClient/Linux/HTTP/CurlErrors.h"

#include <cerrno>

#include <curl/curl.h>

#include "XelPushClient/Foundation/FormattedText.h"

namespace xel {

namespace {

NSURLErrorCode codeOfFailedConnect(const CurlFailureFacts& facts) {
    const auto reason = facts.connectErrno;
    if (facts.isOffline || reason == ENETUNREACH || reason == ENETDOWN) {
        return NSURLErrorCode::NotConnectedToInternet;
    }
    if (reason == EACCES || reason == EPERM) {
        // A rule of this machine forbids the connection, such as a firewall or a sandbox.
        return NSURLErrorCode::DataNotAllowed;
    }
    return reason == ETIMEDOUT ? NSURLErrorCode::TimedOut : NSURLErrorCode::CannotConnectToHost;
}

bool hasHarmlessDetail(NSURLErrorCode code) {
    switch (code) {
        case NSURLErrorCode::CannotFindHost:
        case NSURLErrorCode::CannotConnectToHost:
        case NSURLErrorCode::NotConnectedToInternet:
        case NSURLErrorCode::DataNotAllowed:
        case NSURLErrorCode::SecureConnectionFailed:
        case NSURLErrorCode::ServerCertificateUntrusted: return true;
        default: return false;
    }
}

}  // namespace

NSURLErrorCode urlErrorCodeOfCurl(int curlCode, const CurlFailureFacts& facts) {
    if (facts.answerTooLarge) {
        return NSURLErrorCode::DataLengthExceedsMaximum;
    }
    switch (curlCode) {
        case CURLE_URL_MALFORMAT: return NSURLErrorCode::BadURL;
        case CURLE_UNSUPPORTED_PROTOCOL: return NSURLErrorCode::UnsupportedURL;
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_RESOLVE_PROXY:
            // Without a network no name is found; that the network is missing is the cause to tell.
            return facts.isOffline ? NSURLErrorCode::NotConnectedToInternet : NSURLErrorCode::CannotFindHost;
        case CURLE_COULDNT_CONNECT:
        case CURLE_PROXY:
        case CURLE_INTERFACE_FAILED:
        case CURLE_NO_CONNECTION_AVAILABLE:
        case CURLE_QUIC_CONNECT_ERROR: return codeOfFailedConnect(facts);
        case CURLE_OPERATION_TIMEDOUT: return NSURLErrorCode::TimedOut;
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
        case CURLE_GOT_NOTHING:
        case CURLE_PARTIAL_FILE:
        case CURLE_HTTP2:
        case CURLE_HTTP2_STREAM:
        case CURLE_HTTP3:
        case CURLE_SEND_FAIL_REWIND: return NSURLErrorCode::NetworkConnectionLost;
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_BAD_CONTENT_ENCODING:
        case CURLE_HTTP_RETURNED_ERROR:
        case CURLE_RANGE_ERROR:
        case CURLE_WRITE_ERROR: return NSURLErrorCode::BadServerResponse;
        case CURLE_FILESIZE_EXCEEDED: return NSURLErrorCode::DataLengthExceedsMaximum;
        case CURLE_TOO_MANY_REDIRECTS: return NSURLErrorCode::HTTPTooManyRedirects;
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
        case CURLE_SSL_INVALIDCERTSTATUS: return NSURLErrorCode::ServerCertificateUntrusted;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_CLIENTCERT:
        case CURLE_SSL_CRL_BADFILE:
        case CURLE_SSL_ENGINE_INITFAILED:
        case CURLE_SSL_ENGINE_NOTFOUND:
        case CURLE_SSL_ENGINE_SETFAILED:
        case CURLE_SSL_SHUTDOWN_FAILED:
        case CURLE_USE_SSL_FAILED: return NSURLErrorCode::SecureConnectionFailed;
        case CURLE_ABORTED_BY_CALLBACK: return NSURLErrorCode::Cancelled;
        default: return NSURLErrorCode::Unknown;
    }
}

NSError urlErrorOfCurl(int curlCode, const CurlFailureFacts& facts, std::string_view origin,
                       std::string_view detail) {
    const NSURLErrorCode code = urlErrorCodeOfCurl(curlCode, facts);
    if (facts.answerTooLarge) {
        return makeURLError(code, formatted("The answer of %@ is larger than allowed", origin));
    }
    const std::string_view cause = hasHarmlessDetail(code) && !detail.empty()
                                       ? detail
                                       : curl_easy_strerror(static_cast<CURLcode>(curlCode));
    return makeURLError(code, formatted("The request to %@ failed: %@", origin, cause));
}

NSError makeURLError(NSURLErrorCode code, std::string_view description) {
    return makeError(NSURLErrorDomain, static_cast<std::int64_t>(code), description);
}

}  // namespace xel
