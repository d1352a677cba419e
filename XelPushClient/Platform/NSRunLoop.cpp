#include "XelPushClient/Platform/NSRunLoop.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace xel {

void NSRunLoop::abortAsDestroyedWhileRunning() {
    // The loop's frames come next, and there is nothing left for them to return to.
    std::fputs(
        "XelPushClient: a run loop was destroyed inside one of its own blocks, so the process ends here; "
        "keep the loop until run() has returned\n",
        stderr);
    std::abort();
}

void throwInTheLoop(NSRunLoop& runLoop, std::exception_ptr error) noexcept {
    try {
        runLoop.post([error = std::move(error)] { std::rethrow_exception(error); });
    } catch (...) {
        return;
    }
}

}  // namespace xel
