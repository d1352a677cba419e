#pragma once

#include <chrono>
#include <cstdint>

namespace xel::sandbox {

/// Now, in milliseconds since 1 January 1970 (UTC): the form of every instant on the wire.
inline std::int64_t millisecondsSince1970() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

}  // namespace xel::sandbox
