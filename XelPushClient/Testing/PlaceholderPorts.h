#pragma once

#include <memory>

#include "XelPushClient/Platform/Machine.h"

namespace xel {

/// A machine for a platform in the making, on that platform's own loop and clock: every port that a client
/// can do without stands in by a fake, until the platform has one of its own. There is no disk, no place, no
/// push token and no desktop; the network is always there; nothing is logged. `sessions` and `http` are left
/// for the platform: without them there is no road to the service.
[[nodiscard]] Machine makePlaceholderMachine(const std::shared_ptr<NSRunLoop>& runLoop,
                                             const std::shared_ptr<Clock>& clock);

}  // namespace xel
