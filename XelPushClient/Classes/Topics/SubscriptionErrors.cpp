#include "XelPushClient/Classes/Topics/SubscriptionErrors.h"

#include <string>

#include "XelPushClient/Classes/Topics/NameRules.h"
#include "XelPushClient/Classes/Topics/TopicScheme.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"

namespace xel {
namespace {

NSError makeTopicError(std::string_view what, std::string_view topic, const NSError& reason) {
    const auto channel = getChannelFromTopic(topic);
    const auto description =
        formatted(what, shownName(channel ? *channel : topic), reason.localizedDescription());
    NSError error = isMQTTError(reason, MQTTErrorCode::NameNotSendable)
                        ? generateInvalidParameterErrorWithMessage(description)
                        : makeError(reason.domain, reason.code, description);
    error.userInfo.set("topic", topic);
    return error;
}

}  // namespace

NSError makeSubscriptionError(std::string_view topic, const NSError& reason) {
    return makeTopicError("Channel '%@' is not subscribed to: %@", topic, reason);
}

NSError makeUnsubscriptionError(std::string_view topic, const NSError& reason) {
    return makeTopicError("Channel '%@' is not unsubscribed from: %@", topic, reason);
}

}  // namespace xel
