#pragma once

#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Foundation/Value.h"
#include "tools/options/ServiceAccess.h"
#include "tools/output/Output.h"

namespace xel::tools {

/// Posts to the local push service and waits for the answer. Throws `CommandFailure` with the code that fits:
/// refused credentials, no service, or the service's own words for anything else.
[[nodiscard]] Dictionary postToService(const ServiceAccess& access, const std::string& path, Dictionary body);
/// The same for a GET, whose path may carry a query.
[[nodiscard]] Dictionary getFromService(const ServiceAccess& access, const std::string& path);

/// The code that a failed request to the REST backend amounts to.
struct RestFailure {
    bool isRefusal = false;    ///< the key is wrong
    bool wasAnswered = false;  ///< the service answered at all
    std::string text;
};
[[nodiscard]] RestFailure describeRestFailure(const NSError& error);
[[nodiscard]] ExitCode exitCodeOf(const RestFailure& failure);

}  // namespace xel::tools
