#pragma once

#include <cstdint>
#include <string_view>

#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {

[[nodiscard]] NSError makeMQTTError(MQTTErrorCode code, std::string_view description);
[[nodiscard]] bool isMQTTError(const NSError& error, MQTTErrorCode code);

/// The error of a publication over a limit on its packet's size.
[[nodiscard]] NSError makeTooLargeError(std::string_view topic, std::size_t size, std::size_t limit);

/// The error of a topic that was asked for with more others than one SUBSCRIBE can hold.
[[nodiscard]] NSError makeTooManyTopicsError(std::string_view topic);

/// The error of a refusal. The return code is one of 1 to 5.
[[nodiscard]] NSError makeConnackError(std::uint8_t returnCode);

}  // namespace xel
