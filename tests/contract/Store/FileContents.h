#pragma once

#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

namespace xel::contract {

/// Every octet of the file; none when it is not there.
inline std::optional<std::string> contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

/// The file's new contents, whether it was there or not.
inline void replaceContents(const std::string& path, std::string_view octets) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << octets;
}

}  // namespace xel::contract
