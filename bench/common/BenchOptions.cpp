#include "bench/common/BenchOptions.h"

#include <charconv>
#include <stdexcept>

namespace xel::bench {

BenchOptions::BenchOptions(int argc, const char* const* argv) {
    for (int i = 1; i < argc; i += 2) {
        const std::string_view name = argv[i];
        if (!name.starts_with("--") || name.size() == 2 || i + 1 >= argc) {
            throw std::invalid_argument("expected '--name value', got '" + std::string(name) + "'");
        }
        values_.insert_or_assign(std::string(name.substr(2)), std::string(argv[i + 1]));
    }
}

std::string BenchOptions::text(std::string_view name, std::string_view fallback) const {
    const auto found = values_.find(name);
    return found == values_.end() ? std::string(fallback) : found->second;
}

std::uint64_t BenchOptions::number(std::string_view name) const {
    const auto found = values_.find(name);
    if (found == values_.end()) {
        throw std::invalid_argument("option --" + std::string(name) + " is required");
    }
    const std::string& digits = found->second;
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc{} || end != digits.data() + digits.size()) {
        throw std::invalid_argument("option --" + std::string(name) + " wants a number, got '" + digits +
                                    "'");
    }
    return value;
}

std::uint64_t BenchOptions::number(std::string_view name, std::uint64_t fallback) const {
    return values_.contains(name) ? number(name) : fallback;
}

}  // namespace xel::bench
