#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Foundation/NSError.h"

namespace xel {

class NSJSONSerialization;

/// An error of the client's domain with description, failure reason and recovery suggestion.
[[nodiscard]] NSError makeRegistrationError(PushClientErrorCode code, std::string_view description,
                                            std::string_view failureReason,
                                            std::string_view recoverySuggestion);

/// What the host is told of a failed registration: URL-loading errors become the client's own codes and keep
/// their details; every other error passes unchanged.
struct MappedRegistrationError {
    NSError error;
    /// The network caused it: the registration is worth repeating when the network is back.
    bool isTransient = false;
};
[[nodiscard]] MappedRegistrationError mapRegistrationError(const NSError& error);

/// The service does not know the installation, whose id the store keeps because it cannot be written.
[[nodiscard]] NSError makeUnknownInstallationKeptError();

/// Whether the backend's answer in the error says that it does not know the installation: a JSON body
/// `{"error": {"status": 404}}`. The body is under the error's recovery suggestion.
[[nodiscard]] bool saysInstallationIsUnknown(const NSError& error, NSJSONSerialization& json);

}  // namespace xel
