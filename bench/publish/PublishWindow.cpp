#include "bench/publish/PublishWindow.h"

#include <algorithm>
#include <cstdio>

#include "bench/common/SubjectRun.h"

namespace xel::bench {

PublishOptions::PublishOptions(const BenchOptions& options)
    : port(static_cast<int>(options.number("port"))),
      unacknowledged(options.number("unacked")),
      count(options.number("count")),
      warmUp(options.number("warm-up", 1000)),
      batch(std::max<std::uint64_t>(options.number("batch", 10), 1)) {}

std::uint64_t PublishWindow::allowedNow() {
    if (published_ < options_.unacknowledged) {
        return options_.unacknowledged - published_;
    }
    const std::uint64_t beyond = published_ - options_.unacknowledged;
    if (beyond != acknowledged_) {
        return 0;
    }
    if (beyond < options_.warmUp) {
        return std::min(options_.batch, options_.warmUp - beyond);
    }
    if (!measuring_) {
        measuring_ = true;
        cpuAtStart_ = processCpuMicroseconds();
    }
    return std::min(options_.batch, options_.warmUp + options_.count - beyond);
}

void PublishWindow::acknowledged() {
    ++acknowledged_;
    if (finished()) {
        cpuAtEnd_ = processCpuMicroseconds();
    }
}

int PublishWindow::report() const {
    const bool complete = finished() && published_ == options_.total();
    const double each = (cpuAtEnd_ - cpuAtStart_) / static_cast<double>(options_.count);
    std::printf(R"({"published":%llu,"acknowledged":%llu,"cpu_us_per_publication":%.4f})"
                "\n",
                static_cast<unsigned long long>(published_), static_cast<unsigned long long>(acknowledged_),
                complete ? each : 0.0);
    return complete ? 0 : 1;
}

}  // namespace xel::bench
