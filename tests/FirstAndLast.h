#pragma once

#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace xel {

/// Throws, which fails the test that asks, where nothing is although a test expects something: to look at the
/// first or the last of nothing would end the whole program, or worse.
inline void requireAny(bool isEmpty, const char* file, int line) {
    if (isEmpty) {
        throw std::out_of_range("nothing is there to be looked at, at " + std::string(file) + ":" +
                                std::to_string(line));
    }
}

/// The first of what a test has found: a reference into a container that lasts, a value out of one that goes.
template <class Container>
[[nodiscard]] decltype(auto) firstOf(Container&& found, const char* file = __builtin_FILE(),
                                     int line = __builtin_LINE()) {
    requireAny(found.empty(), file, line);
    if constexpr (std::is_lvalue_reference_v<Container>) {
        return (found.front());
    } else {
        return std::remove_cvref_t<decltype(found.front())>(std::move(found.front()));
    }
}

/// The last one, likewise.
template <class Container>
[[nodiscard]] decltype(auto) lastOf(Container&& found, const char* file = __builtin_FILE(),
                                    int line = __builtin_LINE()) {
    requireAny(found.empty(), file, line);
    if constexpr (std::is_lvalue_reference_v<Container>) {
        return (found.back());
    } else {
        return std::remove_cvref_t<decltype(found.back())>(std::move(found.back()));
    }
}

}  // namespace xel
