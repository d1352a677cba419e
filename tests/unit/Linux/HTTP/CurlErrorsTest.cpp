#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string>

#include <curl/curl.h>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/HTTP/CurlErrors.h"

namespace xel {
namespace {

struct ErrorCase {
    const char* name;
    CURLcode code;
    CurlFailureFacts facts;
    NSURLErrorCode expected;
};

class CurlErrorCodes : public testing::TestWithParam<ErrorCase> {};

TEST_P(CurlErrorCodes, BecomeThePublishedOnes) {
    EXPECT_EQ(urlErrorCodeOfCurl(GetParam().code, GetParam().facts), GetParam().expected);
    EXPECT_EQ(urlErrorOfCurl(GetParam().code, GetParam().facts, "https://h:1", "detail").code,
              static_cast<std::int64_t>(GetParam().expected));
}

const CurlFailureFacts kNothing;
const CurlFailureFacts kOffline{0, false, true};
const CurlFailureFacts kNoRoute{ENETUNREACH, false, false};
const CurlFailureFacts kNetworkDown{ENETDOWN, false, false};
const CurlFailureFacts kForbidden{EACCES, false, false};
const CurlFailureFacts kNotPermitted{EPERM, false, false};
const CurlFailureFacts kForbiddenOffline{EPERM, false, true};
const CurlFailureFacts kNoAnswer{ETIMEDOUT, false, false};
const CurlFailureFacts kHostUnreachable{EHOSTUNREACH, false, false};
const CurlFailureFacts kRefused{ECONNREFUSED, false, false};
const CurlFailureFacts kTooLarge{0, true, false};

const ErrorCase kErrors[] = {
    {"MalformedURL", CURLE_URL_MALFORMAT, kNothing, NSURLErrorCode::BadURL},
    {"Scheme", CURLE_UNSUPPORTED_PROTOCOL, kNothing, NSURLErrorCode::UnsupportedURL},
    {"NameNotFound", CURLE_COULDNT_RESOLVE_HOST, kNothing, NSURLErrorCode::CannotFindHost},
    {"NameNotFoundOffline", CURLE_COULDNT_RESOLVE_HOST, kOffline, NSURLErrorCode::NotConnectedToInternet},
    {"ProxyNotFoundOffline", CURLE_COULDNT_RESOLVE_PROXY, kOffline, NSURLErrorCode::NotConnectedToInternet},
    {"ProxyNotFound", CURLE_COULDNT_RESOLVE_PROXY, kNothing, NSURLErrorCode::CannotFindHost},
    {"Refused", CURLE_COULDNT_CONNECT, kRefused, NSURLErrorCode::CannotConnectToHost},
    {"NoRoute", CURLE_COULDNT_CONNECT, kNoRoute, NSURLErrorCode::NotConnectedToInternet},
    {"NetworkDown", CURLE_COULDNT_CONNECT, kNetworkDown, NSURLErrorCode::NotConnectedToInternet},
    {"NotConnectedOffline", CURLE_COULDNT_CONNECT, kOffline, NSURLErrorCode::NotConnectedToInternet},
    {"Forbidden", CURLE_COULDNT_CONNECT, kForbidden, NSURLErrorCode::DataNotAllowed},
    {"NotPermitted", CURLE_COULDNT_CONNECT, kNotPermitted, NSURLErrorCode::DataNotAllowed},
    {"ForbiddenOffline", CURLE_COULDNT_CONNECT, kForbiddenOffline, NSURLErrorCode::NotConnectedToInternet},
    {"ConnectUnanswered", CURLE_COULDNT_CONNECT, kNoAnswer, NSURLErrorCode::TimedOut},
    {"HostUnreachable", CURLE_COULDNT_CONNECT, kHostUnreachable, NSURLErrorCode::CannotConnectToHost},
    {"Interface", CURLE_INTERFACE_FAILED, kNothing, NSURLErrorCode::CannotConnectToHost},
    {"NoConnection", CURLE_NO_CONNECTION_AVAILABLE, kNothing, NSURLErrorCode::CannotConnectToHost},
    {"QUIC", CURLE_QUIC_CONNECT_ERROR, kNothing, NSURLErrorCode::CannotConnectToHost},
    {"ProxyOffline", CURLE_PROXY, kOffline, NSURLErrorCode::NotConnectedToInternet},
    {"Proxy", CURLE_PROXY, kNothing, NSURLErrorCode::CannotConnectToHost},
    {"TimeOut", CURLE_OPERATION_TIMEDOUT, kNothing, NSURLErrorCode::TimedOut},
    {"TimeOutOffline", CURLE_OPERATION_TIMEDOUT, kOffline, NSURLErrorCode::TimedOut},
    {"Send", CURLE_SEND_ERROR, kNothing, NSURLErrorCode::NetworkConnectionLost},
    {"Receive", CURLE_RECV_ERROR, kNothing, NSURLErrorCode::NetworkConnectionLost},
    {"NoAnswer", CURLE_GOT_NOTHING, kNothing, NSURLErrorCode::NetworkConnectionLost},
    {"HalfAnAnswer", CURLE_PARTIAL_FILE, kNothing, NSURLErrorCode::NetworkConnectionLost},
    {"HTTP2", CURLE_HTTP2, kNothing, NSURLErrorCode::NetworkConnectionLost},
    {"HTTP2Stream", CURLE_HTTP2_STREAM, kNothing, NSURLErrorCode::NetworkConnectionLost},
    {"HTTP3", CURLE_HTTP3, kNothing, NSURLErrorCode::NetworkConnectionLost},
    {"Rewind", CURLE_SEND_FAIL_REWIND, kNothing, NSURLErrorCode::NetworkConnectionLost},
    {"Status", CURLE_HTTP_RETURNED_ERROR, kNothing, NSURLErrorCode::BadServerResponse},
    {"Range", CURLE_RANGE_ERROR, kNothing, NSURLErrorCode::BadServerResponse},
    {"NoHTTP", CURLE_WEIRD_SERVER_REPLY, kNothing, NSURLErrorCode::BadServerResponse},
    {"BadCompression", CURLE_BAD_CONTENT_ENCODING, kNothing, NSURLErrorCode::BadServerResponse},
    {"NotTaken", CURLE_WRITE_ERROR, kNothing, NSURLErrorCode::BadServerResponse},
    {"AnnouncedTooLarge", CURLE_FILESIZE_EXCEEDED, kNothing, NSURLErrorCode::DataLengthExceedsMaximum},
    {"CutTooLarge", CURLE_WRITE_ERROR, kTooLarge, NSURLErrorCode::DataLengthExceedsMaximum},
    {"Redirects", CURLE_TOO_MANY_REDIRECTS, kNothing, NSURLErrorCode::HTTPTooManyRedirects},
    {"Certificate", CURLE_PEER_FAILED_VERIFICATION, kNothing, NSURLErrorCode::ServerCertificateUntrusted},
    {"Issuer", CURLE_SSL_ISSUER_ERROR, kNothing, NSURLErrorCode::ServerCertificateUntrusted},
    {"PinnedKey", CURLE_SSL_PINNEDPUBKEYNOTMATCH, kNothing, NSURLErrorCode::ServerCertificateUntrusted},
    {"Stapling", CURLE_SSL_INVALIDCERTSTATUS, kNothing, NSURLErrorCode::ServerCertificateUntrusted},
    {"Handshake", CURLE_SSL_CONNECT_ERROR, kNothing, NSURLErrorCode::SecureConnectionFailed},
    {"Cipher", CURLE_SSL_CIPHER, kNothing, NSURLErrorCode::SecureConnectionFailed},
    {"OwnCertificate", CURLE_SSL_CERTPROBLEM, kNothing, NSURLErrorCode::SecureConnectionFailed},
    {"BadCAFile", CURLE_SSL_CACERT_BADFILE, kNothing, NSURLErrorCode::SecureConnectionFailed},
    {"ClientCertificate", CURLE_SSL_CLIENTCERT, kNothing, NSURLErrorCode::SecureConnectionFailed},
    {"BadCRLFile", CURLE_SSL_CRL_BADFILE, kNothing, NSURLErrorCode::SecureConnectionFailed},
    {"EngineNotInitialised", CURLE_SSL_ENGINE_INITFAILED, kNothing, NSURLErrorCode::SecureConnectionFailed},
    {"EngineNotFound", CURLE_SSL_ENGINE_NOTFOUND, kNothing, NSURLErrorCode::SecureConnectionFailed},
    {"EngineNotSet", CURLE_SSL_ENGINE_SETFAILED, kNothing, NSURLErrorCode::SecureConnectionFailed},
    {"Shutdown", CURLE_SSL_SHUTDOWN_FAILED, kNothing, NSURLErrorCode::SecureConnectionFailed},
    {"NoTLS", CURLE_USE_SSL_FAILED, kNothing, NSURLErrorCode::SecureConnectionFailed},
    {"Aborted", CURLE_ABORTED_BY_CALLBACK, kNothing, NSURLErrorCode::Cancelled},
    {"ReadOfTheBody", CURLE_READ_ERROR, kNothing, NSURLErrorCode::Unknown},
    {"Memory", CURLE_OUT_OF_MEMORY, kNothing, NSURLErrorCode::Unknown},
};

INSTANTIATE_TEST_SUITE_P(CurlErrors, CurlErrorCodes, testing::ValuesIn(kErrors),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(CurlErrorTable, HasTheCodesThatARegistrationIsJudgedBy) {
    for (const std::int64_t wanted : {-1001, -1004, -1005, -1009, -1011, -1020}) {
        const bool isThere = std::any_of(std::begin(kErrors), std::end(kErrors), [&](const ErrorCase& row) {
            return static_cast<std::int64_t>(row.expected) == wanted;
        });
        EXPECT_TRUE(isThere) << wanted;
    }
}

TEST(CurlErrors, NameTheOriginAndTheCause) {
    const NSError error =
        urlErrorOfCurl(CURLE_PEER_FAILED_VERIFICATION, kNothing, "https://h:1", "certificate has expired");
    EXPECT_EQ(error.domain, NSURLErrorDomain);
    EXPECT_EQ(error.localizedDescription(), "The request to https://h:1 failed: certificate has expired");
}

TEST(CurlErrors, LeaveDetailOutWhereItCouldHoldTheURL) {
    for (const CURLcode code : {CURLE_URL_MALFORMAT, CURLE_OPERATION_TIMEDOUT, CURLE_UNSUPPORTED_PROTOCOL,
                                CURLE_RECV_ERROR, CURLE_OUT_OF_MEMORY}) {
        const NSError error = urlErrorOfCurl(code, kNothing, "https://h:1", "see ?access_token=s3cret");
        EXPECT_EQ(error.localizedDescription().find("s3cret"), std::string::npos) << code;
    }
}

}  // namespace
}  // namespace xel
