// The smallest host on the whole Linux platform.

#include "XelPushClient/Linux/LinuxPlatform.h"
#include "bench/common/SubjectRun.h"
#include "bench/idle/IdleHost.h"

int main(int argc, char** argv) {
    return xel::bench::runGuarded(
        [](const xel::bench::BenchOptions& options) {
            return xel::bench::runIdleHost(options, xel::makeLinuxMachine);
        },
        argc, argv);
}
