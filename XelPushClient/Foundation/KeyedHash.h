#pragma once

#include <cstdint>
#include <string_view>

namespace xel {

/// 128 bits that stand for two texts.
struct KeyedHash {
    std::uint64_t low = 0;
    std::uint64_t high = 0;

    friend bool operator==(const KeyedHash&, const KeyedHash&) = default;
};

/// The hash of two texts, such as a topic and its payload; where the one ends counts. Its key is random for
/// each process, so that nobody outside can make two pairs that have the same; not for use on disk or between
/// processes.
[[nodiscard]] KeyedHash keyedHashOf(std::string_view first, std::string_view second);

/// A hash of a text and two numbers that is the same in each process and on each machine: for use on disk,
/// against accidents. Whoever wants to finds two texts that have the same.
[[nodiscard]] std::uint64_t lastingHashOf(std::string_view text, std::uint64_t first, std::uint64_t second);

/// Both halves of the product of two numbers, folded into one by exclusive or: the step that the hash is made
/// of.
[[nodiscard]] std::uint64_t foldedProduct(std::uint64_t a, std::uint64_t b);
/// The same by 32-bit multiplications, for processors and compilers without the wide one.
[[nodiscard]] std::uint64_t foldedProductByHalves(std::uint64_t a, std::uint64_t b);

}  // namespace xel
