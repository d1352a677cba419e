#include "XelPushClient/LoopBack/LBRESTAdapter.h"

#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {

namespace {

std::string pathWithToken(std::string_view path, const std::optional<std::string>& accessToken) {
    std::string target(path);
    if (accessToken) {
        target += target.find('?') == std::string::npos ? '?' : '&';
        target += "access_token=";
        target += encodeUrlString(*accessToken);
    }
    return target;
}

NSError unreadableAnswer(const HTTPResponse& response, const NSError& cause) {
    NSError error = makeError(NSURLErrorDomain, static_cast<std::int64_t>(NSURLErrorCode::BadServerResponse),
                              "The server's answer is not a JSON document: " + cause.localizedDescription());
    error.userInfo.set(NSLocalizedRecoverySuggestionErrorKey, response.body);
    return error;
}

}  // namespace

LBRESTAdapter::LBRESTAdapter(std::string url, std::shared_ptr<HTTPTransport> transport,
                             std::shared_ptr<NSJSONSerialization> json)
    : url_(std::move(url)), transport_(std::move(transport)), json_(std::move(json)) {}

std::shared_ptr<LBRESTAdapter> LBRESTAdapter::adapterWithURL(std::string url,
                                                             std::shared_ptr<HTTPTransport> transport,
                                                             std::shared_ptr<NSJSONSerialization> json) {
    return std::shared_ptr<LBRESTAdapter>(
        new LBRESTAdapter(std::move(url), std::move(transport), std::move(json)));
}

void LBRESTAdapter::setAccessToken(std::optional<std::string> accessToken) {
    accessToken_ = std::move(accessToken);
}

void LBRESTAdapter::send(std::string_view method, std::string_view path,
                         const std::optional<Dictionary>& body, Success success, const Failure& failure) {
    const auto client = SLAFHTTPClient::clientWithBaseURL(url_, transport_);
    HTTPRequest request = client.requestWithMethod(method, pathWithToken(path, accessToken_), std::nullopt);
    if (body) {
        request.body = printJSON(*body, JSONLayout::OneLine);
        setHTTPHeaderField(request.headers, "Content-Type", "application/json");
    }

    const auto operation = client.operationWithRequest(std::move(request));
    // The adaptor may be dropped while the request is out, so nothing here refers to it.
    operation->setCompletionBlock(
        [json = json_, success = std::move(success), failure](const HTTPResponse& response) {
            if (response.body.empty()) {
                if (success) {
                    success(Value());
                }
                return;
            }
            const Result<Value> answer = json->JSONObjectWithData(response.body);
            if (answer) {
                if (success) {
                    success(answer.value());
                }
            } else if (failure) {
                failure(unreadableAnswer(response, answer.error()));
            }
        },
        failure);
    operation->start();
}

}  // namespace xel
