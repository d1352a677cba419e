#pragma once

#include <cstddef>

namespace xel::sandbox {

/// How many bytes of records go into one answer: what a client of the REST backend is sure to take.
inline constexpr std::size_t kLargestAnswer = 2UL * 1024 * 1024;

/// Counts the records that go into one answer. The newest come first and the first always fits.
class AnswerSize {
public:
    [[nodiscard]] bool takes(std::size_t bytes) {
        const bool fits = used_ == 0 || used_ + bytes <= kLargestAnswer;
        used_ += bytes;
        return fits;
    }

private:
    std::size_t used_{0};
};

}  // namespace xel::sandbox
