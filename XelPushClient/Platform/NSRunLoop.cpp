#include "XelPushClient/Platform/NSRunLoop.h"

#include <cstdio>
#include <cstdlib>

namespace xel {

void NSRunLoop::abortAsDestroyedWhileRunning() {
    // The loop's frames come next, and there is nothing left for them to return to.
    std::fputs(
        "XelPushClient: a run loop was destroyed inside one of its own blocks, so the process ends here; "
        "keep the loop until run() has returned\n",
        stderr);
    std::abort();
}

}  // namespace xel
