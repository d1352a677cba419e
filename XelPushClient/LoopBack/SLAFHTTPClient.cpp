#include "XelPushClient/LoopBack/SLAFHTTPClient.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/LoopBack/QueryString.h"

namespace xel {

namespace {

constexpr int kFirstSuccessStatus = 200;
constexpr int kLastSuccessStatus = 299;

bool takesParametersInQuery(std::string_view method) {
    constexpr std::array<std::string_view, 3> kMethods{"GET", "HEAD", "DELETE"};
    return std::find(kMethods.begin(), kMethods.end(), method) != kMethods.end();
}

bool isSameFieldName(std::string_view left, std::string_view right) {
    const auto lower = [](char character) { return std::tolower(static_cast<unsigned char>(character)); };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [&](char one, char other) { return lower(one) == lower(other); });
}

std::string joinURL(std::string_view base, std::string_view path) {
    while (base.ends_with('/')) {
        base.remove_suffix(1);
    }
    while (path.starts_with('/')) {
        path.remove_prefix(1);
    }
    std::string url(base);
    url += '/';
    url += path;
    return url;
}

NSError errorOfResponse(const HTTPResponse& response) {
    NSError error = makeError(NSURLErrorDomain, static_cast<std::int64_t>(NSURLErrorCode::BadServerResponse),
                              formatted("Expected a status of 200 to 299, got %d", response.status));
    error.userInfo.set(NSLocalizedRecoverySuggestionErrorKey, response.body);
    return error;
}

}  // namespace

void setHTTPHeaderField(HTTPHeaders& headers, std::string_view name, std::string value) {
    const auto known = std::find_if(headers.begin(), headers.end(),
                                    [&](const auto& field) { return isSameFieldName(field.first, name); });
    if (known != headers.end()) {
        known->second = std::move(value);
        return;
    }
    headers.emplace_back(std::string(name), std::move(value));
}

SLAFHTTPRequestOperation::SLAFHTTPRequestOperation(std::shared_ptr<HTTPTransport> transport,
                                                   HTTPRequest request)
    : transport_(std::move(transport)), request_(std::move(request)) {}

void SLAFHTTPRequestOperation::setCompletionBlock(Success success, Failure failure) {
    success_ = std::move(success);
    failure_ = std::move(failure);
}

void SLAFHTTPRequestOperation::start() {
    if (wasStarted_) {
        return;
    }
    wasStarted_ = true;
    isExecuting_ = true;
    // In flight the transport holds this operation: holding it back would keep both for ever.
    const auto transport = std::exchange(transport_, nullptr);
    transport->send(std::move(request_), [self = shared_from_this()](const Result<HTTPResponse>& outcome) {
        self->finish(outcome);
    });
}

void SLAFHTTPRequestOperation::finish(const Result<HTTPResponse>& outcome) {
    isExecuting_ = false;
    // The completions may hold whoever holds this operation.
    const Success success = std::exchange(success_, nullptr);
    const Failure failure = std::exchange(failure_, nullptr);

    if (!outcome) {
        if (failure) {
            failure(outcome.error());
        }
        return;
    }
    const HTTPResponse& response = outcome.value();
    if (response.status < kFirstSuccessStatus || response.status > kLastSuccessStatus) {
        if (failure) {
            failure(errorOfResponse(response));
        }
        return;
    }
    if (success) {
        success(response);
    }
}

SLAFHTTPClient::SLAFHTTPClient(std::string baseURL, std::shared_ptr<HTTPTransport> transport)
    : baseURL_(std::move(baseURL)), transport_(std::move(transport)) {}

SLAFHTTPClient SLAFHTTPClient::clientWithBaseURL(std::string baseURL,
                                                 std::shared_ptr<HTTPTransport> transport) {
    return SLAFHTTPClient(std::move(baseURL), std::move(transport));
}

HTTPRequest SLAFHTTPClient::requestWithMethod(std::string_view method, std::string_view path,
                                              const std::optional<Dictionary>& parameters) const {
    HTTPRequest request;
    request.method = std::string(method);
    request.url = joinURL(baseURL_, path);
    setHTTPHeaderField(request.headers, "Accept", "application/json");
    if (!parameters) {
        return request;
    }
    const std::string query = queryString(*parameters);
    if (!takesParametersInQuery(method)) {
        request.body = query;
        setHTTPHeaderField(request.headers, "Content-Type",
                           "application/x-www-form-urlencoded; charset=utf-8");
    } else if (!query.empty()) {
        request.url += path.find('?') == std::string_view::npos ? '?' : '&';
        request.url += query;
    }
    return request;
}

std::shared_ptr<SLAFHTTPRequestOperation> SLAFHTTPClient::operationWithRequest(HTTPRequest request) const {
    return std::make_shared<SLAFHTTPRequestOperation>(transport_, std::move(request));
}

}  // namespace xel
