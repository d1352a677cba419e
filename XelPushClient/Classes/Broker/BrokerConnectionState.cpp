#include "XelPushClient/Classes/Broker/BrokerConnectionState.h"

namespace xel {

void BrokerConnectionState::assign(PushClientServerConnectionState state) {
    value_ = state;
    fanout_.callBackConnectionStateDidChanged();
}

}  // namespace xel
