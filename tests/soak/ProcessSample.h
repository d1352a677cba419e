#pragma once

#include <cstddef>
#include <filesystem>

namespace xel::soak {

/// What a process holds at one moment.
struct ProcessSample {
    std::size_t memory = 0;  ///< resident, in octets
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    std::size_t store = 0;  ///< the files of its state folder, in octets
};

/// Throws when the process is gone.
[[nodiscard]] ProcessSample sampleOf(int pid, const std::filesystem::path& stateFolder);

}  // namespace xel::soak
