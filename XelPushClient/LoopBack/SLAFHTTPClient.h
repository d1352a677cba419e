#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Value.h"
#include "XelPushClient/Platform/HTTPTransport.h"

namespace xel {

/// Sets a header field; a field of that name, in whatever letter case, is replaced.
void setHTTPHeaderField(HTTPHeaders& headers, std::string_view name, std::string value);

/// One request, started once.
///
/// Success is a response with a status of 200 to 299. Everything else is a failure: the transport's error as
/// it is, or, for another status, an error of `NSURLErrorDomain` with code -1011 whose recovery suggestion is
/// the response body. The completions run on the machine's run loop.
class SLAFHTTPRequestOperation : public std::enable_shared_from_this<SLAFHTTPRequestOperation> {
public:
    using Success = std::function<void(const HTTPResponse&)>;
    using Failure = std::function<void(const NSError&)>;

    SLAFHTTPRequestOperation(std::shared_ptr<HTTPTransport> transport, HTTPRequest request);

    /// Either may be empty.
    void setCompletionBlock(Success success, Failure failure);

    /// Sends the request; the operation stays alive until its completion. Starting it again does nothing.
    void start();

    /// Between `start` and the completion.
    [[nodiscard]] bool isExecuting() const { return isExecuting_; }

private:
    void finish(const Result<HTTPResponse>& outcome);

    std::shared_ptr<HTTPTransport> transport_;
    HTTPRequest request_;
    Success success_;
    Failure failure_;
    bool wasStarted_ = false;
    bool isExecuting_ = false;
};

/// Makes requests below a base URL.
class SLAFHTTPClient {
public:
    [[nodiscard]] static SLAFHTTPClient clientWithBaseURL(std::string baseURL,
                                                          std::shared_ptr<HTTPTransport> transport);

    /// The path is taken relative to the base URL and may carry a query of its own. Parameters of a GET, HEAD
    /// or DELETE go into the query, percent-encoded, in their order, nested ones as `key[inner]` and `key[]`;
    /// those of other methods become the body as a form (application/x-www-form-urlencoded), for the caller
    /// to replace.
    [[nodiscard]] HTTPRequest requestWithMethod(std::string_view method, std::string_view path,
                                                const std::optional<Dictionary>& parameters) const;

    [[nodiscard]] std::shared_ptr<SLAFHTTPRequestOperation> operationWithRequest(HTTPRequest request) const;

private:
    SLAFHTTPClient(std::string baseURL, std::shared_ptr<HTTPTransport> transport);

    std::string baseURL_;
    std::shared_ptr<HTTPTransport> transport_;
};

}  // namespace xel
