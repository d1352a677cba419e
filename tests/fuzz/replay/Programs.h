#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace xel::fuzz {

using FuzzedFunction = int(const std::uint8_t* data, std::size_t size);

/// A fuzz program, as the replay runs it.
struct Program {
    std::string_view name;
    FuzzedFunction* run;
};

/// Every program of the tree. Its definition is written by the build.
[[nodiscard]] std::span<const Program> programs();

}  // namespace xel::fuzz
