#pragma once

#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"
#include "bench/peers/TeamPipeline.h"

namespace xel::bench {

/// The application's callback of the peers: counts, and touches the fields.
inline void tallyTeamMessage(SubjectTally& tally, const TeamMessage& message) {
    SeenFields seen;
    seen.id = message.id;
    seen.messageBody = message.messageBody;
    seen.senderId = message.senderId;
    seen.serverTimeMs = message.serverTimeMs;
    if (message.data != nullptr) {
        const auto state = message.data->FindMember("state");
        if (state != message.data->MemberEnd() && state->value.IsString()) {
            seen.state = {state->value.GetString(), state->value.GetStringLength()};
        }
        const auto order = message.data->FindMember("orderId");
        if (order != message.data->MemberEnd() && order->value.IsInt64()) {
            seen.orderId = order->value.GetInt64();
        }
    }
    tally.add(seen);
}

}  // namespace xel::bench
