#include "tests/integration/desktop/support/MockLogind.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace xel::test {

namespace {

constexpr const char* kLogindName = "org.freedesktop.login1";
constexpr const char* kLogindPath = "/org/freedesktop/login1";
constexpr const char* kManager = "org.freedesktop.login1.Manager";

bool isHeld(const FileDescriptor& watchedEnd) {
    pollfd end{watchedEnd.number(), POLLIN, 0};
    return ::poll(&end, 1, 0) == 0;
}

}  // namespace

MockLogind::MockLogind(const std::string& busAddress, std::chrono::microseconds longestDelay, bool isRefusing)
    : isRefusing_(isRefusing),
      connection_(sdbus::createSessionBusConnectionWithAddress(busAddress)),
      object_(sdbus::createObject(*connection_, kLogindPath)) {
    object_->registerMethod(kManager, "Inhibit", "ssss", "h",
                            [this](sdbus::MethodCall call) { takeInhibit(call); });
    object_->registerProperty(kManager, "InhibitDelayMaxUSec", "t",
                              [count = static_cast<std::uint64_t>(longestDelay.count())](
                                  sdbus::PropertyGetReply& reply) { reply << count; });
    object_->registerSignal(kManager, "PrepareForSleep", "b");
    object_->finishRegistration();
    connection_->requestName(kLogindName);
    loop_.begin(*connection_);
}

MockLogind::~MockLogind() = default;

void MockLogind::takeInhibit(sdbus::MethodCall& call) {
    ReceivedInhibit inhibit;
    call >> inhibit.what >> inhibit.who >> inhibit.why >> inhibit.mode;
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("there is no pipe to be had");
    }
    FileDescriptor watchedEnd(ends[0]);
    const sdbus::UnixFd handedOut(ends[1], sdbus::adopt_fd);
    {
        const std::lock_guard lock(mutex_);
        inhibits_.push_back(inhibit);
        if (!isRefusing_) {
            watchedEnds_.push_back(std::move(watchedEnd));
        }
    }
    if (isRefusing_) {
        call.createErrorReply(sdbus::Error("org.freedesktop.DBus.Error.AccessDenied", "not you")).send();
        return;
    }
    auto reply = call.createReply();
    reply << handedOut;
    reply.send();
}

void MockLogind::prepareForSleep(bool isBefore) {
    auto signal = object_->createSignal(kManager, "PrepareForSleep");
    signal << isBefore;
    object_->emitSignal(signal);
}

std::vector<ReceivedInhibit> MockLogind::inhibits() const {
    const std::lock_guard lock(mutex_);
    return inhibits_;
}

std::size_t MockLogind::heldCount() const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count_if(watchedEnds_.begin(), watchedEnds_.end(), isHeld));
}

}  // namespace xel::test
