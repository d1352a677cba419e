#pragma once

#include <memory>

#include "XelPushClient/Foundation/NSNotificationCenter.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

struct PushClientMessage;

/// The broadcast of each received message, on the main run loop and in order.
///
/// One post stands for all the messages that arrive before the loop comes to it: they may be many, and most
/// hosts observe none. Whoever observes them by then hears of each, as if each had a post of its own.
/// Owner: `EventFanout`. Thread: the manager's run loop.
class MessageBroadcasts {
public:
    MessageBroadcasts(std::shared_ptr<NSRunLoop> mainRunLoop, std::shared_ptr<NSNotificationCenter> center);
    MessageBroadcasts(const MessageBroadcasts&) = delete;
    MessageBroadcasts& operator=(const MessageBroadcasts&) = delete;
    ~MessageBroadcasts();

    /// Posts it as a notification about the manager, which is dropped once that is gone.
    void post(std::shared_ptr<const PushClientMessage> message,
              const std::weak_ptr<NSObject* const>& manager);

    /// Something else is posted: no later message may be told before that.
    void beginAnotherPost() { posted_.reset(); }

private:
    class Post;

    std::shared_ptr<NSRunLoop> mainRunLoop_;
    std::shared_ptr<NSNotificationCenter> center_;
    /// The newest, which may take more messages; null for none.
    std::shared_ptr<Post> posted_;
};

}  // namespace xel
