#pragma once

#include "bench/common/BenchOptions.h"
#include "bench/ours/OursPlatform.h"

namespace xel::bench {

/// The smallest host: connects, waits for its first message, and tells what it holds once it idles
/// (`ProcessFigures`). With `--rest-port P --rest-certificate FILE` it has made a request to the REST
/// backend before, by HTTPS, so that the HTTP library has done its work once.
int runIdleHost(const BenchOptions& options, MachineMaker makeMachine);

}  // namespace xel::bench
