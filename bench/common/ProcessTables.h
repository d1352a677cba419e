#pragma once

#include <cstddef>
#include <cstdint>

namespace xel::bench {

/// What the kernel's tables say about this process now. Each throws std::runtime_error where it says nothing.

std::uint64_t residentKilobytes();
/// The part of it that the process has written itself: pages of no file.
std::uint64_t ownKilobytes();
std::uint64_t threadsOfProcess();
std::size_t openDescriptors();

/// Raises the limit of descriptors as far as this process may, and answers it.
std::size_t raiseDescriptorLimit();

}  // namespace xel::bench
