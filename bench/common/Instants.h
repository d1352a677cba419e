#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace xel::bench {

/// Instants of CLOCK_MONOTONIC, which all processes of the machine share, in nanoseconds. The stand-in
/// notes when it sends each message, the subject when its callback is called, and the harness subtracts.
/// Without a file nothing is noted, and the clock is not read.
class Instants {
public:
    /// Room for that many, so that noting one allocates nothing.
    Instants(std::string file, std::size_t expected);

    void add() {
        if (!file_.empty()) {
            values_.push_back(now());
        }
    }
    /// The same instant for several.
    void add(std::size_t count) {
        if (!file_.empty() && count > 0) {
            values_.insert(values_.end(), count, now());
        }
    }

    /// Writes them, eight octets each in the machine's order, where there is a file. Throws
    /// std::runtime_error.
    void write() const;

    static std::int64_t now();

private:
    std::string file_;
    std::vector<std::int64_t> values_;
};

}  // namespace xel::bench
