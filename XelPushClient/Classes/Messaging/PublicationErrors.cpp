#include "XelPushClient/Classes/Messaging/PublicationErrors.h"

#include "XelPushClient/Classes/Topics/NameRules.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"

namespace xel {

NSError makePublicationError(std::string_view topic, const Dictionary& payload, const NSError& reason) {
    NSError error = saysItCanNeverBeSent(reason)
                        ? generateInvalidParameterErrorWithMessage(reason.localizedDescription())
                        : reason;
    error.userInfo.set("topic", topic);
    const Value* id = payload.find("id");
    if (id != nullptr && (id->isString() || id->isInteger() || id->isDouble())) {
        error.userInfo.set("id", *id);
    }
    return error;
}

bool saysTopicIsNotSendable(const NSError& error) {
    return isMQTTError(error, MQTTErrorCode::NameNotSendable);
}

bool saysItCanNeverBeSent(const NSError& error) {
    return saysTopicIsNotSendable(error) || isMQTTError(error, MQTTErrorCode::PublicationTooLarge);
}

}  // namespace xel
