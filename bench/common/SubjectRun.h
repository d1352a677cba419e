#pragma once

#include <cstdint>
#include <string>

#include "bench/common/BenchOptions.h"
#include "bench/common/Checksum.h"

namespace xel::bench {

/// What every receiving subject is told on its command line:
/// `--port P --count N [--checksum C] [--state-dir D]`.
struct SubjectOptions {
    explicit SubjectOptions(const BenchOptions& options);

    int port;
    std::uint64_t count;
    std::uint64_t checksum;  ///< what the fields must add up to; 0 for subjects that do not parse
    std::string stateFolder;
};

/// What a subject's callback has seen, and the verdict at the end.
struct SubjectTally {
    std::uint64_t messages = 0;
    std::uint64_t payloadBytes = 0;
    Checksum checksum;

    /// Prints one line of JSON on standard output and answers the process's exit code: 0 only when exactly
    /// the expected messages were seen. A subject that parses must also have reached the checksum.
    int finish(const SubjectOptions& expected, bool parses) const;
};

/// Runs a bench program's body: an exception becomes a line on standard error and exit code 1.
int runGuarded(int (*body)(const BenchOptions&), int argc, const char* const* argv);

/// CPU time of this process so far, all threads, user and system, in microseconds.
double processCpuMicroseconds();

}  // namespace xel::bench
