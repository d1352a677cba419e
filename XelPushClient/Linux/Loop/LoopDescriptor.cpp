#include "XelPushClient/Linux/Loop/LoopDescriptor.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include <sys/eventfd.h>
#include <unistd.h>

namespace xel {

namespace fs = std::filesystem;

namespace {

/// Whether the descriptor's information has a line "tfd: <watched> ...", as that of an epoll instance has.
bool watches(const fs::path& information, int watched) {
    std::ifstream lines(information);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string label;
        int target = -1;
        if (words >> label >> target && label == "tfd:" && target == watched) {
            return true;
        }
    }
    return false;
}

int epollThatWatches(int watched) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator("/proc/self/fdinfo", error)) {
        if (watches(entry.path(), watched)) {
            return std::stoi(entry.path().filename().string());
        }
    }
    throw std::runtime_error(
        "this system does not show which descriptor the run loop waits on (/proc/self/fdinfo" +
        (error ? ": " + error.message() : std::string()) + ")");
}

}  // namespace

LoopBell::LoopBell() : descriptor_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (descriptor_ < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

LoopBell::~LoopBell() {
    ::close(descriptor_);
}

void LoopBell::ring() const {
    constexpr std::uint64_t kOnce = 1;
    // It fails only when it has rung 2^64 - 2 times unheard.
    (void)!::write(descriptor_, &kOnce, sizeof kOnce);
}

void LoopBell::silence() const {
    std::uint64_t rung = 0;
    (void)!::read(descriptor_, &rung, sizeof rung);
}

LoopDescriptor::LoopDescriptor(boost::asio::io_context& context)
    : bell_(std::make_shared<LoopBell>()), watched_(context, bell_->fileDescriptor()) {
    waitForBell();
    try {
        epoll_ = epollThatWatches(bell_->fileDescriptor());
    } catch (...) {
        watched_.release();
        throw;
    }
}

LoopDescriptor::~LoopDescriptor() {
    // The bell closes it.
    watched_.release();
}

void LoopDescriptor::waitForBell() {
    // The bell is held, and this is not: when it has gone the wait ends with an error.
    watched_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                        [this, bell = bell_](const boost::system::error_code& error) {
                            bell->silence();
                            if (!error) {
                                waitForBell();
                            }
                        });
}

}  // namespace xel
