#include "XelPushClient/Linux/Application/RemoteNotificationQueue.h"

#include <utility>

namespace xel {

RemoteNotificationQueue::RemoteNotificationQueue(std::size_t mostKept, std::shared_ptr<NSRunLoop> runLoop,
                                                 std::shared_ptr<LogSink> logSink,
                                                 RemoteNotificationTakers& takers)
    : mostKept_(mostKept), runLoop_(std::move(runLoop)), logSink_(std::move(logSink)), takers_(takers) {}

void RemoteNotificationQueue::add(Dictionary payload) {
    if (kept_.size() >= mostKept_) {
        kept_.pop_front();
        logSink_->write("The oldest remote notification is dropped: too many wait for somebody to take them");
    }
    kept_.push_back(std::move(payload));
    tellLater();
}

void RemoteNotificationQueue::tellLater() {
    if (kept_.empty()) {
        return;
    }
    runLoop_->post([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->tellNext();
        }
    });
}

void RemoteNotificationQueue::tellNext() {
    if (kept_.empty() || !takers_.isAnyoneThere()) {
        return;
    }
    const Dictionary payload = std::move(kept_.front());
    kept_.pop_front();
    tellLater();  // before a taker that may throw
    takers_.take(payload);
}

}  // namespace xel
