#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace xel::bench {

/// Command-line options of the bench programs: pairs of "--name value", nothing else.
/// Throws std::invalid_argument, with the offending word, for anything that is not such a pair.
class BenchOptions {
public:
    BenchOptions(int argc, const char* const* argv);

    std::string text(std::string_view name, std::string_view fallback) const;
    /// A decimal number without sign. A missing option without a fallback is an error as well.
    std::uint64_t number(std::string_view name) const;
    std::uint64_t number(std::string_view name, std::uint64_t fallback) const;

private:
    std::map<std::string, std::string, std::less<>> values_;
};

}  // namespace xel::bench
