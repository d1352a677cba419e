#pragma once

#include "XelPushClient/Platform/NSJSONSerialization.h"
#include "XelPushClient/Platform/SessionMemory.h"
#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"
#include "tests/simulation/Fact.h"

namespace xel::simulation {

/// A packet that the fake broker's reader has read.
[[nodiscard]] PacketFact factOf(const FakeBrokerPacket& packet);

/// A publication as the outbox holds it.
[[nodiscard]] PacketFact factOf(const OutboxEntry& entry);

/// Reads what the payload of a publication to a client of that application says, by the wire forms of its
/// three kinds.
void readPayload(PacketFact& packet, NSJSONSerialization& json);

}  // namespace xel::simulation
