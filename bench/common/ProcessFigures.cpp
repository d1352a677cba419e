#include "bench/common/ProcessFigures.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>

#include "bench/common/Instants.h"

namespace xel::bench {

namespace {

/// The number behind "Name:" in one of the kernel's tables.
std::uint64_t entryOf(const char* table, const std::string& name) {
    std::ifstream lines(table);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name + ":")) {
            return std::strtoull(line.c_str() + name.size() + 1, nullptr, 10);
        }
    }
    throw std::runtime_error(std::string(table) + " has no " + name);
}

std::size_t countSharedLibraries() {
    std::set<std::string> libraries;
    std::ifstream lines("/proc/self/maps");
    for (std::string line; std::getline(lines, line);) {
        const std::size_t path = line.find('/');
        if (path != std::string::npos && line.find(".so", path) != std::string::npos) {
            libraries.insert(line.substr(path));
        }
    }
    return libraries.size();
}

}  // namespace

ProcessFigures::ProcessFigures() : main_(Instants::now()) {}

void ProcessFigures::didConnect() {
    connected_ = connected_ == 0 ? Instants::now() : connected_;
}

void ProcessFigures::didReceiveFirst() {
    first_ = first_ == 0 ? Instants::now() : first_;
}

int ProcessFigures::report() const {
    const char* exec = std::getenv("BENCH_EXEC_NS");
    if (exec == nullptr) {
        throw std::runtime_error("run me by exec_clock");
    }
    const std::int64_t start = std::strtoll(exec, nullptr, 10);
    const auto sinceExec = [start](std::int64_t instant) {
        return instant == 0 ? 0.0 : static_cast<double>(instant - start) / 1e6;
    };
    constexpr const char* kMemory = "/proc/self/smaps_rollup";
    const std::uint64_t resident = entryOf(kMemory, "Rss");
    const std::uint64_t own = entryOf(kMemory, "Anonymous");
    std::ostringstream line;
    line << R"({"main_ms":)" << sinceExec(main_) << R"(,"connected_ms":)" << sinceExec(connected_)
         << R"(,"first_message_ms":)" << sinceExec(first_) << R"(,"resident_kb":)" << resident
         << R"(,"private_kb":)" << own << R"(,"libraries":)" << countSharedLibraries() << R"(,"threads":)"
         << entryOf("/proc/self/status", "Threads") << "}";
    std::puts(line.str().c_str());
    return connected_ != 0 && first_ != 0 ? 0 : 1;
}

}  // namespace xel::bench
