#pragma once

#include <cstdint>
#include <memory>

namespace xel {

/// Tells a process from the children that fork(2) makes of it: a child has another number than its parent. It
/// costs one load. From any thread.
[[nodiscard]] std::uint32_t processNumber() noexcept;

/// For the platform, in the child, before anything else runs there (pthread_atfork(3)).
void raiseProcessNumber() noexcept;

/// Keeps what a child inherited for good: it must not be destroyed there, for the threads that it belongs
/// with are not there, and what it would close is the parent's.
void leaveInherited(std::shared_ptr<const void> inherited);

}  // namespace xel
