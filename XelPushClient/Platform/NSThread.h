#pragma once

#include <string>
#include <vector>

namespace xel {

/// The calling thread. From any thread.
class NSThread {
public:
    virtual ~NSThread() = default;

    /// The calling thread's stack, innermost call first, one text for each. Allocates, so not for a signal
    /// handler.
    [[nodiscard]] virtual std::vector<std::string> callStackSymbols() = 0;
};

}  // namespace xel
