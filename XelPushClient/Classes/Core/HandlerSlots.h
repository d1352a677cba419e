#pragma once

#include <memory>

#include "XelPushClient/Classes/Core/HandlerBlocks.h"

namespace xel {

/// Holds one handler block so that it may be replaced, by itself too, while it runs.
template <class Block>
class HandlerSlot {
public:
    HandlerSlot& operator=(Block block) {
        block_ = block ? std::make_shared<const Block>(std::move(block)) : nullptr;
        return *this;
    }

    explicit operator bool() const { return block_ != nullptr; }

    template <class... Arguments>
    void callIfSet(const Arguments&... arguments) const {
        if (const auto running = block_) {
            (*running)(arguments...);
        }
    }

private:
    std::shared_ptr<const Block> block_;
};

/// All handler blocks; an empty one is not called.
struct HandlerSlots {
    HandlerSlot<PushClientMessageHandlerBlock> messageHandler;
    /// When set, the host shows its own notifications and the client shows none.
    HandlerSlot<PushClientMessageUILocalNotificationHandlerBlock> messageUILocalNotificationHandler;
    /// Kept for hosts; the client never calls it.
    HandlerSlot<PushClientMessageDeliveredHandlerBlock> messageDeliveredHandler;
    HandlerSlot<PushClientRegistrationHandlerBlock> registrationHandler;
    HandlerSlot<PushClientServerConnectionStateHandlerBlock> serverConnectionStateHandler;
    HandlerSlot<PushClientServerReachabilityCallBackBlock> serverReachabilityHandler;
    HandlerSlot<PushClientVerificationHandlerBlock> verificationHandler;
    HandlerSlot<PushClientVerifyUserCodeHandlerBlock> verifiyUserCodeHandler;
};

}  // namespace xel
