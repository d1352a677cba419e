#pragma once

#include <functional>

#include "XelPushClient/Linux/Network/NetworkKind.h"
#include "XelPushClient/Platform/Endpoints.h"

namespace xel {

/// Answers whether a network other than the internet is one in which the service's own REST host lies, in the
/// environment that the process talks to at that moment. Media may come from there: whoever runs a service
/// inside a network keeps the media there. Looks the REST host up, and so blocks. Thread: any.
[[nodiscard]] std::function<bool(NetworkKind)> networksOfService(Endpoints endpoints);

}  // namespace xel
