#pragma once

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <curl/curl.h>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Linux/HTTP/CurlHTTPTransport.h"
#include "XelPushClient/Linux/HTTP/CurlHeaders.h"
#include "XelPushClient/Linux/HTTP/CurlReach.h"
#include "XelPushClient/Linux/HTTP/CurlRedirects.h"
#include "XelPushClient/Linux/HTTP/CurlURL.h"
#include "XelPushClient/Platform/HTTPTransport.h"

namespace xel {

/// Takes an answer's body piece by piece, in place of memory: of an answer with a status of 200 to 299 only.
/// Thread: the worker's.
class CurlBodySink {
public:
    virtual ~CurlBodySink() = default;

    /// False when the octets cannot be kept, which ends the transfer.
    [[nodiscard]] virtual bool take(std::string_view octets) = 0;
    /// The body is complete. False when it could not be kept.
    [[nodiscard]] virtual bool finish() = 0;
    /// Why it could not.
    [[nodiscard]] virtual std::optional<NSError> failure() const = 0;
};

/// One request on its way: libcurl's handle, what has arrived, and where it may go.
///
/// Owner: the transport's thread; everything runs there.
class CurlTransfer {
public:
    /// A null sink: the body is kept in memory.
    CurlTransfer(HTTPRequest request, HTTPTransport::Completion completion, const CurlHTTPOptions& options,
                 std::shared_ptr<CurlBodySink> sink);
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    /// Sets the handle up; the error when the request cannot be sent as it is.
    [[nodiscard]] std::optional<NSError> prepare();

    /// What to do with a transfer that ended: the outcome, or nothing when a redirect sends it out again.
    [[nodiscard]] std::optional<Result<HTTPResponse>> conclude(CURLcode code);

    [[nodiscard]] CURL* handle() const { return easy_.get(); }
    [[nodiscard]] HTTPTransport::Completion takeCompletion() { return std::move(completion_); }

private:
    struct EasyCleanup {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    };
    struct ListCleanup {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };

    [[nodiscard]] std::optional<NSError> applyHeaders();
    [[nodiscard]] std::optional<NSError> applyTrust();
    void applyLimits();
    void applyMethod();
    void applyTimeLeft();
    [[nodiscard]] long status() const;
    [[nodiscard]] Result<bool> followRedirect();
    void forgetAnswer();
    [[nodiscard]] NSError errorOf(CURLcode code) const;

    std::size_t takeHeaderLine(std::string_view line);
    std::size_t takeBody(std::string_view octets);
    static std::size_t onHeader(char* text, std::size_t size, std::size_t count, void* self);
    static std::size_t onBody(char* octets, std::size_t size, std::size_t count, void* self);

    HTTPRequest request_;
    HTTPTransport::Completion completion_;
    const CurlHTTPOptions& options_;
    std::shared_ptr<CurlBodySink> sink_;
    CurlReach reach_;
    CurlRedirects redirects_;
    std::unique_ptr<curl_slist, ListCleanup> headerList_;
    std::unique_ptr<CURL, EasyCleanup> easy_;
    std::array<char, CURL_ERROR_SIZE> errorText_{};
    std::chrono::steady_clock::time_point deadline_;
    URLOrigin origin_;
    HTTPResponse response_;
    CurlHeaderBlock header_;
    std::size_t bodyOctets_ = 0;
    bool answerTooLarge_ = false;
};

}  // namespace xel
