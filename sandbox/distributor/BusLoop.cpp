#include "sandbox/distributor/BusLoop.h"

#include <utility>

#include <boost/asio/post.hpp>
#include <poll.h>
#include <sdbus-c++/sdbus-c++.h>
#include <unistd.h>

#include "sandbox/process/SandboxError.h"

namespace xel::sandbox {

namespace asio = boost::asio;
using boost::system::error_code;

namespace {

// Asio closes what it watches, and the bus's own is the bus's.
int copyDescriptor(const sdbus::IConnection& connection) {
    const int copy = ::dup(connection.getEventLoopPollData().fd);
    if (copy < 0) {
        throw SandboxError("the session bus cannot be watched: no file descriptor is left");
    }
    return copy;
}

}  // namespace

BusLoop::BusLoop(asio::io_context& loop, sdbus::IConnection& connection,
                 std::function<void(const std::string& reason)> onEnd)
    : loop_(loop),
      connection_(connection),
      onEnd_(std::move(onEnd)),
      descriptor_(loop, copyDescriptor(connection)),
      timer_(loop) {}

BusLoop::~BusLoop() = default;

void BusLoop::serveSoon() {
    asio::post(loop_, life_.guarded([](BusLoop& self) { self.serve(); }));
}

void BusLoop::serve() {
    if (hasEnded_) {
        return;
    }
    try {
        while (connection_.processPendingRequest()) {}
        waitForMore();
    } catch (const sdbus::Error&) {
        hasEnded_ = true;
        timer_.cancel();
        onEnd_("the session bus has gone");
    }
}

void BusLoop::waitForMore() {
    const auto wanted = connection_.getEventLoopPollData();
    const auto watch = [this](asio::posix::stream_descriptor::wait_type what, bool& isWaiting) {
        if (std::exchange(isWaiting, true)) {
            return;
        }
        descriptor_.async_wait(what, life_.guarded([flag = &isWaiting](BusLoop& self, error_code error) {
            if (!error) {
                *flag = false;
                self.serve();
            }
        }));
    };
    watch(asio::posix::stream_descriptor::wait_read, isWaitingToRead_);
    if ((wanted.events & POLLOUT) != 0) {
        watch(asio::posix::stream_descriptor::wait_write, isWaitingToWrite_);
    }
    timer_.cancel();
    if (const auto timeout = wanted.getRelativeTimeout()) {
        timer_.expires_after(*timeout);
        timer_.async_wait(life_.guarded([](BusLoop& self, error_code error) {
            if (!error) {
                self.serve();
            }
        }));
    }
}

}  // namespace xel::sandbox
