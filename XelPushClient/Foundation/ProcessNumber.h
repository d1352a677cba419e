#pragma once

#include <cstdint>
#include <memory>

namespace xel {

/// Tells a process from its fork(2) children, which have numbers of their own. Costs one load. From any
/// thread.
[[nodiscard]] std::uint32_t processNumber() noexcept;

/// For the platform, in the child, before anything else runs there (pthread_atfork(3)).
void raiseProcessNumber() noexcept;

/// Keeps for ever what a child has inherited. Destroying it there would wait for threads that the child
/// does not have, and close what belongs to the parent.
void leaveInherited(std::shared_ptr<const void> inherited);

}  // namespace xel
