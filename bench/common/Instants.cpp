#include "bench/common/Instants.h"

#include <ctime>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace xel::bench {

Instants::Instants(std::string file, std::size_t expected) : file_(std::move(file)) {
    if (!file_.empty()) {
        values_.reserve(expected);
    }
}

void Instants::write() const {
    if (file_.empty()) {
        return;
    }
    std::ofstream out(file_, std::ios::binary);
    out.write(reinterpret_cast<const char*>(values_.data()),
              static_cast<std::streamsize>(values_.size() * sizeof(std::int64_t)));
    if (!out.flush()) {
        throw std::runtime_error("the instants could not be written to " + file_);
    }
}

std::int64_t Instants::now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

}  // namespace xel::bench
