// The smallest host on the Linux platform without a bus.

#include "XelPushClient/Linux/Headless/HeadlessPlatform.h"
#include "bench/common/SubjectRun.h"
#include "bench/idle/IdleHost.h"

int main(int argc, char** argv) {
    return xel::bench::runGuarded(
        [](const xel::bench::BenchOptions& options) {
            return xel::bench::runIdleHost(options, xel::makeHeadlessMachine);
        },
        argc, argv);
}
