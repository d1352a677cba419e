#include "XelPushClient/Linux/HTTP/CurlTransfer.h"

#include <algorithm>
#include <new>

#include <unistd.h>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/HTTP/CurlCertificates.h"
#include "XelPushClient/Linux/HTTP/CurlErrors.h"
#include "XelPushClient/Linux/HTTP/CurlHeaders.h"
#include "XelPushClient/Linux/Process/ForkedChildren.h"

namespace xel {

namespace {

bool sendsBody(const HTTPRequest& request) {
    return !request.body.empty() || request.method == "POST" || request.method == "PUT" ||
           request.method == "PATCH";
}

int closeSocketInChildren(void* /*unused*/, curl_socket_t socket, curlsocktype /*purpose*/) {
    try {
        closeInChildren(socket);
        return CURL_SOCKOPT_OK;
    } catch (const std::bad_alloc&) {
        return CURL_SOCKOPT_ERROR;
    }
}

int closeSocket(void* /*unused*/, curl_socket_t socket) {
    try {
        closeInChildren(socket);  // also one that came to nothing before it was named
        closeInThisProcess(socket, [socket] { ::close(socket); });
    } catch (const std::bad_alloc&) {
        ::close(socket);
    }
    return 0;
}

bool isSuccess(long status) {
    return status >= 200 && status <= 299;
}

}  // namespace

CurlTransfer::CurlTransfer(HTTPRequest request, HTTPTransport::Completion completion,
                           const CurlHTTPOptions& options, std::shared_ptr<CurlBodySink> sink)
    : request_(std::move(request)),
      completion_(std::move(completion)),
      options_(options),
      sink_(std::move(sink)),
      reach_(options.mayReach),
      redirects_(options) {}

std::optional<NSError> CurlTransfer::prepare() {
    easy_.reset(curl_easy_init());
    deadline_ = std::chrono::steady_clock::now() + options_.totalTimeout;
    if (easy_ == nullptr) {
        return makeURLError(NSURLErrorCode::Unknown, "The request cannot be made: out of memory");
    }
    auto origin = originOfURL(request_.url);
    if (!origin) {
        return makeURLError(NSURLErrorCode::BadURL, "The request's URL is not a valid absolute URL");
    }
    origin_ = std::move(*origin);
    if (!origin_.hasHTTPScheme()) {
        return makeURLError(NSURLErrorCode::UnsupportedURL,
                            formatted("Only http and https can be asked, not %@", origin_.scheme));
    }
    if (!isHeaderToken(request_.method)) {
        return makeURLError(NSURLErrorCode::BadURL, "The request's method is not a valid HTTP method");
    }
    if (auto error = applyHeaders()) {
        return error;
    }
    // Signals are the host's: libcurl may time look-ups by SIGALRM, in whatever thread gets it.
    curl_easy_setopt(handle(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle(), CURLOPT_ERRORBUFFER, errorText_.data());
    curl_easy_setopt(handle(), CURLOPT_URL, request_.url.c_str());
    // A tag may be called "." or "..", which libcurl would fold into the path before it.
    curl_easy_setopt(handle(), CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(handle(), CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle(), CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(handle(), CURLOPT_USERAGENT, options_.userAgent.c_str());
    // Empty: whatever this libcurl can decode.
    curl_easy_setopt(handle(), CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(handle(), CURLOPT_HEADERFUNCTION, &CurlTransfer::onHeader);
    curl_easy_setopt(handle(), CURLOPT_HEADERDATA, this);
    // What a proxy answers to CONNECT is no header of the answer.
    curl_easy_setopt(handle(), CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    curl_easy_setopt(handle(), CURLOPT_SOCKOPTFUNCTION, &closeSocketInChildren);
    curl_easy_setopt(handle(), CURLOPT_CLOSESOCKETFUNCTION, &closeSocket);
    curl_easy_setopt(handle(), CURLOPT_WRITEFUNCTION, &CurlTransfer::onBody);
    curl_easy_setopt(handle(), CURLOPT_WRITEDATA, this);
    reach_.watch(handle());
    if (auto error = applyTrust()) {
        return error;
    }
    applyLimits();
    applyMethod();
    return reach_.head(handle(), request_.url, origin_);
}

std::optional<NSError> CurlTransfer::applyHeaders() {
    headerList_.reset();
    bool hasContentType = false;
    std::vector<std::string> lines;
    for (const auto& [name, value] : request_.headers) {
        if (!isHeaderToken(name) || !isHeaderValue(value)) {
            return makeURLError(NSURLErrorCode::BadURL,
                                "The request holds a header with characters that no header may hold");
        }
        hasContentType = hasContentType || lowerCase(name) == "content-type";
        // libcurl takes "Name:" as "leave that header out" and "Name;" as the header with no value.
        std::string& line = lines.emplace_back(name);
        line += value.empty() ? ";" : ": ";
        line += value;
    }
    // libcurl would ask whether a large body may come, and wait a second for servers that do not answer
    // that; and it would call a body a form's.
    lines.emplace_back("Expect:");
    if (!hasContentType) {
        lines.emplace_back("Content-Type:");
    }
    for (const std::string& line : lines) {
        curl_slist* longer = curl_slist_append(headerList_.get(), line.c_str());
        if (longer == nullptr) {
            return makeURLError(NSURLErrorCode::Unknown, "The request cannot be made: out of memory");
        }
        static_cast<void>(headerList_.release());
        headerList_.reset(longer);
    }
    curl_easy_setopt(handle(), CURLOPT_HTTPHEADER, headerList_.get());
    return std::nullopt;
}

std::optional<NSError> CurlTransfer::applyTrust() {
    if (!requireAlternativeNames(handle())) {
        return makeURLError(NSURLErrorCode::SecureConnectionFailed,
                            "The request cannot be made: libcurl is not built with OpenSSL here, so that "
                            "certificates cannot be verified in full");
    }
    curl_easy_setopt(handle(), CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(handle(), CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(handle(), CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (!options_.caFile.empty()) {
        curl_easy_setopt(handle(), CURLOPT_CAINFO, options_.caFile.c_str());
        // The file counts instead of the system's certificates, not beside them.
        curl_easy_setopt(handle(), CURLOPT_CAPATH, nullptr);
    }
    return std::nullopt;
}

void CurlTransfer::applyLimits() {
    curl_easy_setopt(handle(), CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options_.connectTimeout.count()));
    curl_easy_setopt(handle(), CURLOPT_LOW_SPEED_LIMIT, options_.lowSpeedOctetsPerSecond);
    curl_easy_setopt(handle(), CURLOPT_LOW_SPEED_TIME, static_cast<long>(options_.lowSpeedPeriod.count()));
    // For a length that is announced; `takeBody` counts what comes.
    curl_easy_setopt(handle(), CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(options_.largestAnswer));
    applyTimeLeft();
}

void CurlTransfer::applyTimeLeft() {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
    // 0 would mean no limit.
    curl_easy_setopt(handle(), CURLOPT_TIMEOUT_MS, static_cast<long>(std::max<long>(1, left.count())));
}

void CurlTransfer::applyMethod() {
    // By its name alone libcurl would wait for a body that never comes (CURLOPT_CUSTOMREQUEST(3)).
    if (request_.method == "HEAD") {
        curl_easy_setopt(handle(), CURLOPT_NOBODY, 1L);
        return;
    }
    if (sendsBody(request_)) {
        // For every method: it is how libcurl sends a body from memory. The name is set below.
        curl_easy_setopt(handle(), CURLOPT_POST, 1L);
        curl_easy_setopt(handle(), CURLOPT_POSTFIELDSIZE_LARGE,
                         static_cast<curl_off_t>(request_.body.size()));
        curl_easy_setopt(handle(), CURLOPT_POSTFIELDS, request_.body.c_str());
    } else {
        curl_easy_setopt(handle(), CURLOPT_HTTPGET, 1L);
    }
    curl_easy_setopt(handle(), CURLOPT_CUSTOMREQUEST, request_.method.c_str());
}

std::optional<Result<HTTPResponse>> CurlTransfer::conclude(CURLcode code) {
    if (code != CURLE_OK) {
        return errorOf(code);
    }
    // libcurl takes a connection that ends between two lines of the head for the end of the answer.
    if (!header_.isWhole()) {
        return errorOf(CURLE_GOT_NOTHING);
    }
    if (isRedirect(status())) {
        const Result<bool> followed = followRedirect();
        if (!followed) {
            return followed.error();
        }
        if (followed.value()) {
            return std::nullopt;
        }
    }
    response_.status = static_cast<int>(status());
    response_.headers = header_.takeFields();
    if (sink_ != nullptr && isSuccess(status()) && !sink_->finish()) {
        return errorOf(CURLE_WRITE_ERROR);
    }
    return std::move(response_);
}

/// True when the request goes out again.
Result<bool> CurlTransfer::followRedirect() {
    const char* location = nullptr;
    // Absolute already, also where the answer's Location is not.
    curl_easy_getinfo(handle(), CURLINFO_REDIRECT_URL, &location);
    if (location == nullptr) {
        return false;
    }
    auto followed = redirects_.follow(request_, origin_, status(), location);
    if (!followed || !followed.value()) {
        return followed;
    }
    if (auto error = applyHeaders()) {
        return std::move(*error);
    }
    applyMethod();
    curl_easy_setopt(handle(), CURLOPT_URL, request_.url.c_str());
    applyTimeLeft();
    forgetAnswer();
    if (auto refusal = reach_.head(handle(), request_.url, origin_)) {
        return std::move(*refusal);
    }
    return true;
}

void CurlTransfer::forgetAnswer() {
    response_ = HTTPResponse();
    header_ = CurlHeaderBlock();
    bodyOctets_ = 0;
    errorText_.fill('\0');
}

long CurlTransfer::status() const {
    long status = 0;
    curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
    return status;
}

NSError CurlTransfer::errorOf(CURLcode code) const {
    // libcurl knows no more than that a callback has refused.
    if (auto failure = sink_ != nullptr ? sink_->failure() : std::nullopt) {
        return std::move(*failure);
    }
    if (reach_.refusal() && code == CURLE_COULDNT_CONNECT) {
        return *reach_.refusal();
    }
    CurlFailureFacts facts;
    curl_easy_getinfo(handle(), CURLINFO_OS_ERRNO, &facts.connectErrno);
    facts.answerTooLarge = answerTooLarge_;
    facts.isOffline = options_.isOnline != nullptr && !origin_.isLoopback() && !options_.isOnline();
    return urlErrorOfCurl(code, facts, origin_.text(), errorText_.data());
}

std::size_t CurlTransfer::takeHeaderLine(std::string_view line) {
    // Any other count than that of what came ends the transfer (CURLOPT_HEADERFUNCTION(3)).
    if (!header_.take(line)) {
        answerTooLarge_ = true;
        return 0;
    }
    return line.size();
}

std::size_t CurlTransfer::takeBody(std::string_view octets) {
    // libcurl hands out decoded octets piece by piece, so a compressed answer is cut at the same size.
    if (octets.size() > options_.largestAnswer - bodyOctets_) {
        answerTooLarge_ = true;
        return 0;
    }
    bodyOctets_ += octets.size();
    if (sink_ == nullptr) {
        response_.body.append(octets);
    } else if (isSuccess(status()) && !sink_->take(octets)) {
        return 0;
    }
    return octets.size();
}

std::size_t CurlTransfer::onHeader(char* text, std::size_t size, std::size_t count, void* self) {
    try {
        return static_cast<CurlTransfer*>(self)->takeHeaderLine({text, size * count});
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

std::size_t CurlTransfer::onBody(char* octets, std::size_t size, std::size_t count, void* self) {
    try {
        return static_cast<CurlTransfer*>(self)->takeBody({octets, size * count});
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

}  // namespace xel
