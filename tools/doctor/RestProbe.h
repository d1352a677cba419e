#pragma once

#include <ctime>

#include "XelPushClient/Platform/HTTPTransport.h"
#include "tools/doctor/Finding.h"
#include "tools/options/ServiceAccess.h"

namespace xel::tools {

/// Asks the REST backend for something that it does not have: is it there, does it take the API key, and does
/// its clock say what this machine's says? Blocks.
[[nodiscard]] Findings probeRest(const ServiceAccess& access);

/// What the backend's answer says of the key, and what its "Date" says of the clock that shows `now`.
[[nodiscard]] Finding judgeToken(const HTTPResponse& response);
[[nodiscard]] Finding judgeClock(const HTTPResponse& response, std::time_t now);

}  // namespace xel::tools
