#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Platform/PushClientServerReachability.h"

namespace xel {

struct PushClientMessage;

// The handler blocks that a host may set, beside or instead of delegates. Each is called on the manager's run
// loop and may call any operation of the manager.
using PushClientMessageHandlerBlock = std::function<void(const PushClientMessage& message)>;
using PushClientMessageUILocalNotificationHandlerBlock =
    std::function<void(const PushClientMessage& message)>;
using PushClientMessageDeliveredHandlerBlock = std::function<void(const PushClientMessage& message)>;
using PushClientRegistrationHandlerBlock = std::function<void(
    bool registered, const std::optional<std::string>& userId, const std::optional<NSError>& error)>;
using PushClientServerConnectionStateHandlerBlock = std::function<void()>;
using PushClientServerReachabilityCallBackBlock =
    std::function<void(bool reachable, PushClientServerReachabilityNetworkType networkType)>;
using PushClientVerificationHandlerBlock =
    std::function<void(bool sent, const std::optional<NSError>& error)>;
using PushClientVerifyUserCodeHandlerBlock =
    std::function<void(bool verified, const std::optional<NSError>& error)>;

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
struct HandlerBlocks {
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
