#include "XelPushClient/Foundation/NSError.h"

#include "XelPushClient/Foundation/DictionaryReading.h"

namespace xel {

std::string NSError::localizedDescription() const {
    if (auto text = textUnder(userInfo, NSLocalizedDescriptionKey)) {
        return *text;
    }
    return domain + " error " + std::to_string(code);
}

std::optional<std::string> NSError::localizedFailureReason() const {
    return textUnder(userInfo, NSLocalizedFailureReasonErrorKey);
}

std::optional<std::string> NSError::localizedRecoverySuggestion() const {
    return textUnder(userInfo, NSLocalizedRecoverySuggestionErrorKey);
}

NSError makeError(std::string_view domain, std::int64_t code, std::string_view description) {
    NSError error{std::string(domain), code, {}};
    error.userInfo.set(NSLocalizedDescriptionKey, description);
    return error;
}

std::string describeError(const NSError& error) {
    return "Error Domain=" + error.domain + " Code=" + std::to_string(error.code) + " \"" +
           error.localizedDescription() + "\"";
}

}  // namespace xel
