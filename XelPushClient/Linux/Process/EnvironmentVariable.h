#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace xel {

/// The variable's value; nothing when it is missing or empty, or the program has raised rights
/// (secure_getenv(3)), whose user must not steer it.
inline std::optional<std::string> environmentVariable(const char* name) {
    const char* value = ::secure_getenv(name);
    if (value == nullptr || *value == '\0') {
        return std::nullopt;
    }
    return value;
}

}  // namespace xel
