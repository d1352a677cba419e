#include "XelPushClient/Classes/Core/ServiceRequests.h"

#include <utility>

#include "XelPushClient/Classes/Core/ServiceAddresses.h"

namespace xel {

SLAFHTTPClient serviceHTTPClient(const Endpoints& endpoints, const std::optional<std::string>& appId,
                                 std::shared_ptr<HTTPTransport> transport) {
    constexpr bool kUsingSSL = true;
    return SLAFHTTPClient::clientWithBaseURL(restBaseURL(endpoints, appId, kUsingSSL), std::move(transport));
}

void setJSONBody(HTTPRequest& request, std::string text) {
    // The backend knows the header by this spelling; the true length is the transport's business.
    setHTTPHeaderField(request.headers, "Content-Lenght", std::to_string(text.size()));
    setHTTPHeaderField(request.headers, "Content-Type", "application/json");
    request.body = std::move(text);
}

}  // namespace xel
