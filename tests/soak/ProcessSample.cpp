#include "tests/soak/ProcessSample.h"

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

#include <unistd.h>

namespace xel::soak {

namespace fs = std::filesystem;

namespace {

std::size_t countOf(const fs::path& folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

std::size_t residentPages(const fs::path& process) {
    std::ifstream file(process / "statm");
    std::size_t all = 0;
    std::size_t resident = 0;
    if (!(file >> all >> resident)) {
        throw std::runtime_error("the process " + process.filename().string() + " cannot be looked at");
    }
    return resident;
}

// A file may go while the folder is being read: SQLite's journals come and go.
std::size_t octetsIn(const fs::path& folder) {
    std::size_t octets = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        std::error_code gone;
        const auto size = entry.is_regular_file(gone) ? entry.file_size(gone) : 0;
        octets += gone ? 0 : size;
    }
    return octets;
}

}  // namespace

ProcessSample sampleOf(int pid, const fs::path& stateFolder) {
    const fs::path process = "/proc/" + std::to_string(pid);
    ProcessSample sample;
    sample.memory = residentPages(process) * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    sample.descriptors = countOf(process / "fd");
    sample.threads = countOf(process / "task");
    sample.store = octetsIn(stateFolder);
    return sample;
}

}  // namespace xel::soak
