#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/soak/ProcessSample.h"

namespace xel::soak {

/// Whether a process that does the same again and again holds more and more.
struct SoakVerdict {
    ProcessSample warm;  ///< the most of each once it had warmed up: in the second quarter of the samples
    ProcessSample last;  ///< the most of each in the last quarter
    std::vector<std::string> grown;  ///< what grew past its allowance, in words

    [[nodiscard]] bool isGood() const { return grown.empty(); }
};

/// Memory may grow by 3%, but by 2 MiB in any case, which an allocator's pages take; the store likewise, by 1
/// MiB; descriptors and threads by two, because a moment with one more may have been missed before.
/// There must be eight samples at least.
[[nodiscard]] SoakVerdict judge(const std::vector<ProcessSample>& samples);

}  // namespace xel::soak
