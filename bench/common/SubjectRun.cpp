#include "bench/common/SubjectRun.h"

#include <cstdio>
#include <exception>

#include <sys/resource.h>

namespace xel::bench {

SubjectOptions::SubjectOptions(const BenchOptions& options)
    : port(static_cast<int>(options.number("port"))),
      count(options.number("count")),
      checksum(options.number("checksum", 0)),
      stateFolder(options.text("state-dir", ".")),
      certificate(options.text("tls", "")),
      arrivals(options.text("arrivals", "")) {}

void SubjectTally::add(const SeenFields& fields) {
    arrivals.add();
    addSeenFields(checksum, fields);
    payloadBytes += fields.messageBody.size();
    ++messages;
}

void SubjectTally::addUnread(std::size_t bytes) {
    arrivals.add();
    payloadBytes += bytes;
    ++messages;
}

int SubjectTally::finish(const SubjectOptions& expected, bool parses) const {
    const bool complete = messages == expected.count && payloadBytes > 0;
    const bool read = !parses || checksum.value() == expected.checksum;
    std::printf(R"({"messages":%llu,"expected":%llu,"checksum_ok":%s})"
                "\n",
                static_cast<unsigned long long>(messages), static_cast<unsigned long long>(expected.count),
                read ? "true" : "false");
    arrivals.write();
    return complete && read ? 0 : 1;
}

int runGuarded(int (*body)(const BenchOptions&), int argc, const char* const* argv) {
    try {
        return body(BenchOptions(argc, argv));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}

double processCpuMicroseconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto micros = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
    };
    return micros(usage.ru_utime) + micros(usage.ru_stime);
}

}  // namespace xel::bench
