#pragma once

#include <cstddef>
#include <string>

#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/XelPushClient.h"
#include "tests/kill/ReceivedLog.h"

namespace xel::soak {

/// A host that one user leaves to the next, for ever: each registers, connects, subscribes, has a number of
/// messages, publishes an event for each, and is reset. Each reset is a line in the notes.
class UserAfterUser final : public xel::PushClientManagerDelegate {
public:
    /// All three outlive the run loop's last turn.
    UserAfterUser(xel::PushClientManager& push, xel::NSRunLoop& runLoop, xel::killtest::ReceivedLog& log,
                  std::size_t messagesAUser);

    void letTheNextOneIn();

    void pushClientManagerDidReceivedMessage(const xel::PushClientMessage& message) override;

private:
    void letThisOneGo();

    xel::PushClientManager& push_;
    xel::NSRunLoop& runLoop_;
    xel::killtest::ReceivedLog& log_;
    std::size_t messagesAUser_;
    std::size_t users_ = 0;
    std::size_t messages_ = 0;
};

}  // namespace xel::soak
