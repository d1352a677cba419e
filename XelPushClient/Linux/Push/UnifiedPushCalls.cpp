#include "XelPushClient/Linux/Push/UnifiedPushCalls.h"

#include <utility>

#include "XelPushClient/Linux/Push/UnifiedPushRules.h"
#include "XelPushClient/Linux/Push/WebPushDecryption.h"

namespace xel {

namespace {

constexpr const char* kSucceeded = "REGISTRATION_SUCCEEDED";

/// The value of exactly that type; missing when it is absent or of another one.
template <class T>
std::optional<T> argument(const UnifiedPushArguments& arguments, const std::string& name) {
    const auto found = arguments.find(name);
    if (found == arguments.end() || !found->second.containsValueOfType<T>()) {
        return std::nullopt;
    }
    return found->second.get<T>();
}

}  // namespace

std::optional<UnifiedPushMessage> messageOfCall(const UnifiedPushArguments& arguments) {
    auto token = tokenOfCall(arguments);
    auto message = argument<Data>(arguments, "message");
    if (!token || !message || message->empty() || message->size() > kLargestWebPushMessage) {
        return std::nullopt;
    }
    return UnifiedPushMessage{std::move(*token), std::move(*message),
                              argument<std::string>(arguments, "id").value_or("")};
}

std::optional<UnifiedPushEndpoint> endpointOfCall(const UnifiedPushArguments& arguments) {
    auto token = tokenOfCall(arguments);
    auto endpoint = argument<std::string>(arguments, "endpoint");
    if (!token || !endpoint || !isPushEndpoint(*endpoint)) {
        return std::nullopt;
    }
    return UnifiedPushEndpoint{std::move(*token), std::move(*endpoint)};
}

std::optional<std::string> tokenOfCall(const UnifiedPushArguments& arguments) {
    auto token = argument<std::string>(arguments, "token");
    return token && isConnectionToken(*token) ? token : std::nullopt;
}

std::optional<NSError> refusalOfAnswer(const UnifiedPushArguments& answer) {
    if (argument<std::string>(answer, "success") == kSucceeded) {
        return std::nullopt;
    }
    const auto reason = argument<std::string>(answer, "reason").value_or("");
    std::string text = "The distributor does not register the host";
    for (const auto* known :
         {"INTERNAL_ERROR", "NETWORK", "ACTION_REQUIRED", "VAPID_REQUIRED", "UNAUTHORIZED"}) {
        if (reason == known) {
            text += ": " + reason;
        }
    }
    return makeUnifiedPushError(UnifiedPushErrorCode::Refused, text);
}

}  // namespace xel
