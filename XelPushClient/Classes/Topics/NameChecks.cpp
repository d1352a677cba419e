#include "XelPushClient/Classes/Topics/NameChecks.h"

#include "XelPushClient/Classes/Topics/NameRules.h"
#include "XelPushClient/Classes/Topics/TopicScheme.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"

namespace xel {
namespace {

Result<void> checkSendable(std::string_view what, std::string_view name) {
    if (isSendableText(name)) {
        return {};
    }
    return generateInvalidParameterErrorWithMessage(
        formatted("%@ '%@' is not valid: it %@", what, shownName(name), reasonNotSendable(name)));
}

}  // namespace

Result<void> checkUserId(const std::optional<std::string>& userId) {
    if (!userId) {
        return generateInvalidParameterErrorWithMessage("User id is missing");
    }
    if (!isUserIdValid(userId)) {
        return generateInvalidParameterErrorWithMessage(formatted(
            "User id '%@' is not valid: 3 to 32 characters, no white space, none of #, +, /, * and \\",
            shownName(*userId)));
    }
    return checkSendable("User id", *userId);
}

Result<void> checkChannel(std::string_view channel) {
    // Who the user is makes no difference to whether the channel is taken.
    if (const auto topic = generateTopicWithChannel({}, channel); !topic) {
        return topic.error();
    }
    return checkSendable("Channel", channel);
}

}  // namespace xel
