#pragma once

#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace xel::contract {

/// Every octet of the file; none when it is not there.
inline std::optional<std::string> contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

}  // namespace xel::contract
