#pragma once

#include <cstdint>
#include <string>

#include "bench/common/BenchOptions.h"
#include "bench/common/Checksum.h"
#include "bench/common/Instants.h"
#include "bench/common/SampleMessage.h"

namespace xel::bench {

/// What every receiving subject is told on its command line:
/// `--port P --count N [--checksum C] [--state-dir D] [--tls CERTIFICATE] [--arrivals FILE]`.
struct SubjectOptions {
    explicit SubjectOptions(const BenchOptions& options);

    int port;
    std::uint64_t count;
    std::uint64_t checksum;  ///< what the fields must add up to; 0 for subjects that do not parse
    std::string stateFolder;
    std::string certificate;  ///< the PEM file that the stand-in's TLS is trusted by; empty: no TLS
    std::string arrivals;     ///< where the instants of the callbacks go; empty: they are not taken
};

/// What a subject's callback has seen, and the verdict at the end.
struct SubjectTally {
    explicit SubjectTally(const SubjectOptions& options) : arrivals(options.arrivals, options.count) {}

    std::uint64_t messages = 0;
    std::uint64_t payloadBytes = 0;
    Checksum checksum{};
    Instants arrivals;

    /// One message more, of which the callback has read the fields.
    void add(const SeenFields& fields);
    /// One more of a subject that does not parse.
    void addUnread(std::size_t bytes);

    /// Prints one line of JSON on standard output and answers the process's exit code: 0 only when
    /// exactly the expected messages were seen. A subject that parses must also have reached the
    /// checksum. Writes the instants of the arrivals, where they were asked for.
    int finish(const SubjectOptions& expected, bool parses) const;
};

/// Runs a bench program's body: an exception becomes a line on standard error and exit code 1.
int runGuarded(int (*body)(const BenchOptions&), int argc, const char* const* argv);

/// CPU time of this process so far, all threads, user and system, in microseconds.
double processCpuMicroseconds();

}  // namespace xel::bench
