#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/LoopBack/SLAFHTTPClient.h"
#include "XelPushClient/Platform/NSJSONSerialization.h"

namespace xel {

/// The way to one REST backend: base URL and access token.
///
/// Owner: `ClientSettings`; requests under way do not need it any more. Thread: the machine's run
/// loop.
class LBRESTAdapter {
public:
    using Success = std::function<void(const Value& response)>;
    using Failure = std::function<void(const NSError& error)>;

    [[nodiscard]] static std::shared_ptr<LBRESTAdapter> adapterWithURL(
        std::string url, std::shared_ptr<HTTPTransport> transport, std::shared_ptr<NSJSONSerialization> json);

    void setAccessToken(std::optional<std::string> accessToken);
    [[nodiscard]] const std::string& url() const { return url_; }

    /// Sends a request with the token as query parameter "access_token" and, when there is one, a JSON body.
    /// Success gets the parsed answer, null for an empty body; an answer that is not JSON is a failure
    /// (`NSURLErrorDomain` -1011). A failure with a response carries the response body as its recovery
    /// suggestion.
    void send(std::string_view method, std::string_view path, const std::optional<Dictionary>& body,
              Success success, const Failure& failure);

private:
    LBRESTAdapter(std::string url, std::shared_ptr<HTTPTransport> transport,
                  std::shared_ptr<NSJSONSerialization> json);

    std::string url_;
    std::shared_ptr<HTTPTransport> transport_;
    std::shared_ptr<NSJSONSerialization> json_;
    std::optional<std::string> accessToken_;
};

}  // namespace xel
