#pragma once

#include <cstddef>
#include <deque>
#include <memory>

#include "XelPushClient/Foundation/Value.h"
#include "XelPushClient/Platform/LogSink.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// Whom remote notifications are told.
class RemoteNotificationTakers {
public:
    virtual ~RemoteNotificationTakers() = default;
    [[nodiscard]] virtual bool isAnyoneThere() const = 0;
    /// May throw, and may take the queue away.
    virtual void take(const Dictionary& payload) = 0;
};

/// The remote notifications that nobody has taken yet, the oldest first. Each is told by a block of its own
/// on the run loop, so that a taker who throws costs no other one; while nobody is there they are kept.
///
/// Owner: the takers, by the one shared pointer; what is posted holds the queue weakly. Thread: the run loop.
class RemoteNotificationQueue : public std::enable_shared_from_this<RemoteNotificationQueue> {
public:
    /// Keeps `mostKept`; the oldest beyond them are dropped.
    RemoteNotificationQueue(std::size_t mostKept, std::shared_ptr<NSRunLoop> runLoop,
                            std::shared_ptr<LogSink> logSink, RemoteNotificationTakers& takers);

    void add(Dictionary payload);
    /// Posts the telling of what is kept; for a taker who has come.
    void tellLater();

private:
    void tellNext();

    std::size_t mostKept_;
    std::shared_ptr<NSRunLoop> runLoop_;
    std::shared_ptr<LogSink> logSink_;
    RemoteNotificationTakers& takers_;
    std::deque<Dictionary> kept_;
};

}  // namespace xel
