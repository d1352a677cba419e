// A run loop whose timers the kernel does not watch must not be made: it would stand still without a word.

#include <cerrno>
#include <chrono>

#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"

namespace {

/// Until the failing one; below zero, none fails.
int epollCallsLeft = -1;

}  // namespace

// In the place of the system's.
extern "C" int epoll_ctl(int epoll, int operation, int descriptor, epoll_event* event) noexcept {
    if (epollCallsLeft == 0) {
        epollCallsLeft = -1;
        errno = ENOMEM;
        return -1;
    }
    epollCallsLeft -= epollCallsLeft > 0 ? 1 : 0;
    return static_cast<int>(::syscall(SYS_epoll_ctl, epoll, operation, descriptor, event));
}

namespace xel::torture {
namespace {

TEST(RunLoopWithoutEpoll, HasTimersOrIsNotMade) {
    int refused = 0;
    bool hasFailed = true;
    for (int number = 1; hasFailed; ++number) {
        epollCallsLeft = number - 1;
        bool hasFired = false;
        try {
            AsioRunLoop loop;
            hasFailed = epollCallsLeft < 0;
            epollCallsLeft = -1;
            loop.scheduleTimer(std::chrono::milliseconds(0), [&hasFired] { hasFired = true; });
            while (!hasFired && loop.ioContext().run_one_for(std::chrono::seconds(2)) != 0) {}
            EXPECT_TRUE(hasFired) << "call " << number;
        } catch (const boost::system::system_error&) {
            ++refused;
        }
        epollCallsLeft = -1;
    }
    EXPECT_GE(refused, 1);
}

}  // namespace
}  // namespace xel::torture
