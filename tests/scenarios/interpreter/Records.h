#pragma once

#include <optional>
#include <string>

#include "XelPushClient/Testing/Broker/FakeBroker.h"
#include "tests/scenarios/interpreter/Journal.h"

namespace xel::scenario {

/// How a packet that the broker received reads in a journal.
[[nodiscard]] JournalEntry entryOf(const FakeBrokerRecord& record);

}  // namespace xel::scenario
