#include "bench/common/ProcessTables.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

#include <sys/resource.h>

namespace xel::bench {

namespace {

constexpr const char* kMemory = "/proc/self/smaps_rollup";

/// The number behind "Name:" in one of them.
std::uint64_t entryOf(const char* table, const std::string& name) {
    std::ifstream lines(table);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name + ":")) {
            return std::strtoull(line.c_str() + name.size() + 1, nullptr, 10);
        }
    }
    throw std::runtime_error(std::string(table) + " has no " + name);
}

}  // namespace

std::uint64_t residentKilobytes() {
    return entryOf(kMemory, "Rss");
}

std::uint64_t ownKilobytes() {
    return entryOf(kMemory, "Anonymous");
}

std::uint64_t threadsOfProcess() {
    return entryOf("/proc/self/status", "Threads");
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator listing("/proc/self/fd");
    // One of them is what the folder is being read by.
    return static_cast<std::size_t>(std::distance(begin(listing), end(listing))) - 1;
}

std::size_t raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        if (setrlimit(RLIMIT_NOFILE, &limit) == 0) {
            return limit.rlim_cur;
        }
    }
    throw std::system_error(errno, std::generic_category(), "RLIMIT_NOFILE");
}

}  // namespace xel::bench
