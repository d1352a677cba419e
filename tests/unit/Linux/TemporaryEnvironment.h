#pragma once

#include <cstdlib>
#include <map>
#include <optional>
#include <string>

namespace xel {

/// Sets environment variables for the length of a test.
class TemporaryEnvironment {
public:
    TemporaryEnvironment() = default;
    TemporaryEnvironment(const TemporaryEnvironment&) = delete;
    TemporaryEnvironment& operator=(const TemporaryEnvironment&) = delete;
    ~TemporaryEnvironment() {
        for (const auto& [name, value] : before_) {
            assign(name, value);
        }
    }

    /// A missing value removes the variable.
    void set(const std::string& name, const std::optional<std::string>& value) {
        const char* before = std::getenv(name.c_str());
        before_.emplace(name, before == nullptr ? std::nullopt : std::optional<std::string>(before));
        assign(name, value);
    }

private:
    static void assign(const std::string& name, const std::optional<std::string>& value) {
        if (value) {
            ::setenv(name.c_str(), value->c_str(), 1);
        } else {
            ::unsetenv(name.c_str());
        }
    }

    std::map<std::string, std::optional<std::string>> before_;
};

}  // namespace xel
