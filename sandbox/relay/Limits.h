#pragma once

#include <cstddef>

namespace xel::sandbox {

/// The largest payload that the service takes, in bytes. Clients refuse packets above 1 MiB; the rest is room
/// for what the relay adds.
inline constexpr std::size_t kLargestPayload = 1000000;

}  // namespace xel::sandbox
