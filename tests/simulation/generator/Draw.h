#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace xel::simulation {

/// Draws that are the same on every machine for a seed: the distributions of the standard library are not.
class Draw {
public:
    explicit Draw(std::uint64_t seed) : engine_(seed) {}

    /// From `first` to `last`, both possible.
    [[nodiscard]] int number(int first, int last) {
        const auto count = static_cast<std::uint64_t>(last - first) + 1;
        return first + static_cast<int>(engine_() % count);
    }
    [[nodiscard]] bool chance(int percent) { return number(1, 100) <= percent; }

    template <class T>
    [[nodiscard]] T oneOf(const std::vector<T>& choices) {
        return choices[static_cast<std::size_t>(number(0, static_cast<int>(choices.size()) - 1))];
    }

private:
    std::mt19937_64 engine_;
};

}  // namespace xel::simulation
