#pragma once

#include <cstdio>
#include <cstdlib>

namespace xel::fuzz {

/// Ends the program where a property does not hold: whoever runs it keeps the input, and sees which one.
inline void require(bool holds, const char* property) {
    if (!holds) {
        std::fprintf(stderr, "This does not hold: %s\n", property);
        std::abort();
    }
}

}  // namespace xel::fuzz
