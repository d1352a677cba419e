#include "XelPushClient/Linux/Log/LineWriter.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>

#include <poll.h>
#include <unistd.h>

namespace xel {

namespace {

using std::chrono::milliseconds;
using SteadyClock = std::chrono::steady_clock;

constexpr milliseconds kPatience{1000};

/// Whether a piece of the size of PIPE_BUF can be written at once. A pipe that nobody reads any more cannot:
/// writing to it would end the process.
bool waitForRoom(int descriptor, SteadyClock::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - SteadyClock::now());
        pollfd room{descriptor, POLLOUT, 0};
        const int ready = ::poll(&room, 1, static_cast<int>(std::max(left, milliseconds::zero()).count()));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0 && (room.revents & POLLOUT) != 0 && (room.revents & (POLLERR | POLLNVAL)) == 0;
        }
    }
}

}  // namespace

std::string_view LineWriter::writeWhatFits(std::string_view text) const {
    const auto deadline = SteadyClock::now() + (isStalled_ ? milliseconds::zero() : kPatience);
    while (!text.empty() && waitForRoom(descriptor_, deadline)) {
        const ssize_t written =
            ::write(descriptor_, text.data(), std::min(text.size(), static_cast<std::size_t>(PIPE_BUF)));
        if (written < 0 && errno != EINTR && errno != EAGAIN) {
            break;
        }
        text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return text;
}

void LineWriter::write(std::string_view line) {
    const std::lock_guard lock(mutex_);
    if (isLineCut_) {
        isStalled_ = !writeWhatFits("\n").empty();
        isLineCut_ = isStalled_;
    }
    if (isLineCut_) {
        return;
    }
    const std::string_view left = writeWhatFits(line);
    isStalled_ = !left.empty();
    isLineCut_ = isStalled_ && left.size() < line.size();
}

}  // namespace xel
