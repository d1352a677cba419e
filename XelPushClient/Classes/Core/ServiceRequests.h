#pragma once

#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/LoopBack/SLAFHTTPClient.h"
#include "XelPushClient/Platform/Endpoints.h"

namespace xel {

/// Makes requests to the application's REST backend, over TLS whatever the broker is connected by.
[[nodiscard]] SLAFHTTPClient serviceHTTPClient(const Endpoints& endpoints,
                                               const std::optional<std::string>& appId,
                                               std::shared_ptr<HTTPTransport> transport);

/// Gives the request a body of JSON text and the fields that name it.
void setJSONBody(HTTPRequest& request, std::string text);

}  // namespace xel
