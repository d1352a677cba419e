#pragma once

#include <memory>

namespace xel {

class AsioRunLoop;

/// The process's main run loop, the one that `NSRunLoop::mainRunLoop` answers. It is never destroyed, so that
/// a host may end its process from anywhere.
[[nodiscard]] const std::shared_ptr<AsioRunLoop>& sharedMainRunLoop();

}  // namespace xel
