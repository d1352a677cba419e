#include "XelPushClient/MQTTSDK/MQTTClientSessionFactory.h"

#include <utility>

#include "XelPushClient/MQTTSDK/MQTTClientSession.h"

namespace xel {

MQTTClientSessionFactory::MQTTClientSessionFactory(std::shared_ptr<ByteStreamFactory> streams,
                                                   std::shared_ptr<const Clock> clock, NSRunLoop* mainRunLoop,
                                                   MQTTSessionOptions options)
    : streams_(std::move(streams)), clock_(std::move(clock)), mainRunLoop_(mainRunLoop), options_(options) {}

std::shared_ptr<MQTTSession> MQTTClientSessionFactory::makeSession(MQTTSessionParameters parameters,
                                                                   NSRunLoop& runLoop,
                                                                   SessionMemory& memory) {
    return std::make_shared<MQTTClientSession>(
        std::move(parameters), options_,
        MQTTSessionSurroundings{runLoop, mainRunLoop_, memory, streams_, clock_});
}

}  // namespace xel
