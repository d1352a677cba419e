#pragma once

#include <cstdint>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"

namespace xel {

/// Codes in `kMQTTErrorDomain`. Up to 5 they are CONNACK's return codes (MQTT 3.1.1 section 3.2.2.3).
enum class MQTTErrorCode : std::int64_t {
    UnacceptableProtocolVersion = 1,
    IdentifierRejected = 2,
    ServerUnavailable = 3,
    NotAuthorized = 5,  ///< return codes 4 and 5
    ConnectTimedOut = 101,
    PingTimedOut = 102,
    ProtocolViolation = 103,
    ClosedByBroker = 104,
    ParametersInvalid = 105,
};

[[nodiscard]] NSError makeMQTTError(MQTTErrorCode code, std::string_view description);

/// The error of a refusal. The return code is one of 1 to 5.
[[nodiscard]] NSError makeConnackError(std::uint8_t returnCode);

}  // namespace xel
