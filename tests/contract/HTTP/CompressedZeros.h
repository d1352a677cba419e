#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace xel::contract {

/// That many zeros in gzip's format, a thousandth of their size.
inline std::string compressedZeros(std::size_t count) {
    const auto close = [](FILE* pipe) { return ::pclose(pipe); };
    const std::unique_ptr<FILE, decltype(close)> pipe(
        ::popen(("head -c " + std::to_string(count) + " /dev/zero | gzip -c").c_str(), "r"), close);
    std::string out;
    std::array<char, 65536> piece{};
    for (std::size_t size = 1; size > 0;) {
        size = std::fread(piece.data(), 1, piece.size(), pipe.get());
        out.append(piece.data(), size);
    }
    return out;
}

}  // namespace xel::contract
