#pragma once

#include <cstdint>

namespace xel {

/// Tells a process from the children that fork(2) makes of it: a child has another number than its parent. It
/// costs one load. From any thread.
[[nodiscard]] std::uint32_t processNumber() noexcept;

/// For the platform, in the child, before anything else runs there (pthread_atfork(3)).
void raiseProcessNumber() noexcept;

}  // namespace xel
