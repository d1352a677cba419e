#include "bench/common/ProcessFigures.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>

#include "bench/common/Instants.h"
#include "bench/common/ProcessTables.h"

namespace xel::bench {

namespace {

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
    const std::uint64_t resident = residentKilobytes();
    const std::uint64_t own = ownKilobytes();
    std::ostringstream line;
    line << R"({"main_ms":)" << sinceExec(main_) << R"(,"connected_ms":)" << sinceExec(connected_)
         << R"(,"first_message_ms":)" << sinceExec(first_) << R"(,"resident_kb":)" << resident
         << R"(,"private_kb":)" << own << R"(,"libraries":)" << countSharedLibraries() << R"(,"threads":)"
         << threadsOfProcess() << "}";
    std::puts(line.str().c_str());
    return connected_ != 0 && first_ != 0 ? 0 : 1;
}

}  // namespace xel::bench
