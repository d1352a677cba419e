#pragma once

#include <memory>

#include "XelPushClient/Platform/Machine.h"

namespace xel {

/// A machine for a platform in the making, on that platform's own loop and clock: a fake stands in for every
/// port that a client can do without, until the platform has its own. There is no disk, no location, no push
/// token and no desktop; the network is always there; nothing is logged. `sessions` and `http` are left to
/// the platform: without them the service cannot be reached.
[[nodiscard]] Machine makePlaceholderMachine(const std::shared_ptr<NSRunLoop>& runLoop,
                                             const std::shared_ptr<Clock>& clock);

}  // namespace xel
