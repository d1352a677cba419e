#pragma once

#include <cstdint>

#include "bench/common/BenchOptions.h"

namespace xel::bench {

/// A publishing run: `--port P --unacked K --count N [--warm-up W] [--batch B]`. First K publications are
/// made that the stand-in leaves unacknowledged, then W more and then N more, in batches of B, each batch
/// waiting for as many acknowledgements. Only the N are measured: from the first to the last of them between
/// K and K + B are in flight, and the process has seen its code and its memory before. The figure covers a
/// publication's whole life: publishing, writing, the acknowledgement, forgetting it.
struct PublishOptions {
    explicit PublishOptions(const BenchOptions& options);

    int port;
    std::uint64_t unacknowledged;
    std::uint64_t count;
    std::uint64_t warmUp;
    std::uint64_t batch;

    std::uint64_t total() const { return unacknowledged + warmUp + count; }
};

/// Keeps the books of one run and takes the CPU time at its two ends. One thread at a time.
class PublishWindow {
public:
    explicit PublishWindow(const PublishOptions& options) : options_(options) {}

    /// How many publications may be made now: all that stay unacknowledged, then a batch when the last one
    /// has been acknowledged, then none. Starts the measurement with the first batch after the warm-up.
    std::uint64_t allowedNow();
    void published() { ++published_; }
    void acknowledged();
    bool finished() const { return acknowledged_ >= options_.warmUp + options_.count; }
    std::uint64_t publishedSoFar() const { return published_; }

    /// Prints the figure as one line of JSON; the exit code is 0 only for a run that came to its end.
    int report() const;

private:
    PublishOptions options_;
    std::uint64_t published_ = 0;
    std::uint64_t acknowledged_ = 0;
    bool measuring_ = false;
    double cpuAtStart_ = 0;
    double cpuAtEnd_ = 0;
};

}  // namespace xel::bench
