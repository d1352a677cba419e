#pragma once

#include <memory>

#include "XelPushClient/MQTTSDK/MQTTSessionOptions.h"
#include "XelPushClient/Platform/ByteStream.h"
#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {

/// Makes the client's own MQTT sessions over a machine's streams. Its sessions may outlive it.
class MQTTClientSessionFactory final : public MQTTSessionFactory {
public:
    /// The main run loop, on which broadcast notifications travel, outlives every session; null when the
    /// sessions' own loops are that.
    MQTTClientSessionFactory(std::shared_ptr<ByteStreamFactory> streams, std::shared_ptr<const Clock> clock,
                             NSRunLoop* mainRunLoop = nullptr, MQTTSessionOptions options = {});

    [[nodiscard]] std::shared_ptr<MQTTSession> makeSession(MQTTSessionParameters parameters,
                                                           NSRunLoop& runLoop,
                                                           SessionMemory& memory) override;

private:
    std::shared_ptr<ByteStreamFactory> streams_;
    std::shared_ptr<const Clock> clock_;
    NSRunLoop* mainRunLoop_;
    MQTTSessionOptions options_;
};

}  // namespace xel
