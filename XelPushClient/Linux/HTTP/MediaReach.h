#pragma once

#include <functional>

#include "XelPushClient/Linux/Network/NetworkKind.h"
#include "XelPushClient/Platform/Endpoints.h"

namespace xel {

/// Tells whether the service's own REST host, in the environment that the process talks to at that moment,
/// lies in such a network. Media may come from there: whoever runs a service inside a network keeps the media
/// there. Looks the REST host up, and so blocks. From any thread.
[[nodiscard]] std::function<bool(NetworkKind)> networksOfService(Endpoints endpoints);

}  // namespace xel
