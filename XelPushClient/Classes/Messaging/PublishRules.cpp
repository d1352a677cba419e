#include "XelPushClient/Classes/Messaging/PublishRules.h"

#include "XelPushClient/Classes/Topics/NameRules.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

constexpr std::string_view kDefaultChannel = "default";
constexpr std::string_view kChannelIsNotValid = "Channel '%@' is not valid";
constexpr std::string_view kTextMissing = "text parameter should have value";
constexpr std::string_view kChannelMissing = "channel parameter should have value";

bool isUsableChannel(const std::optional<std::string>& channel) {
    return channel && isChannelValid(*channel);
}

bool hasScope(const std::optional<std::string>& channel) {
    return channel && channel->find('/') != std::string::npos;
}

}  // namespace

std::optional<std::string> channelToPublishOn(const std::optional<std::string>& channel) {
    if (isMissingOrBlank(channel)) {
        return std::string(kDefaultChannel);
    }
    return isUsableChannel(channel) && !hasScope(channel) ? channel : std::nullopt;
}

std::optional<std::string> messageRefusal(const PushClientMessage& message) {
    if (isMissingOrBlank(message.messageBody)) {
        return "message.messageBody property should have value";
    }
    if (!channelToPublishOn(message.channel)) {
        return formatted(kChannelIsNotValid, message.channel);
    }
    return std::nullopt;
}

std::optional<std::string> textRefusal(const std::optional<std::string>& channel,
                                       const std::optional<std::string>& text) {
    std::optional<std::string> refusal;
    if (isMissingOrBlank(text)) {
        refusal = kTextMissing;
    }
    if (!isUsableChannel(channel)) {
        refusal = kChannelMissing;
    }
    return refusal;
}

std::optional<std::string> textToUserRefusal(const std::optional<std::string>& userId,
                                             const std::optional<std::string>& channel,
                                             const std::optional<std::string>& text) {
    std::optional<std::string> refusal;
    if (!isUserIdValid(userId)) {
        refusal = "userId parameter should have value";
    }
    if (isMissingOrBlank(text)) {
        refusal = kTextMissing;
    }
    // Whatever is wrong with the channel, hosts know this one text for it here.
    if (!isUsableChannel(channel) || hasScope(channel)) {
        refusal = formatted(kChannelIsNotValid, channel);
    }
    return refusal;
}

std::optional<std::string> eventRefusal(const TopicIdentity& identity, std::string_view eventName,
                                        const std::optional<Dictionary>& data) {
    std::optional<std::string> refusal;
    if (!identity.appId) {
        refusal = "You are not initialized yet.";
    }
    if (!identity.deviceId) {
        refusal = "You are not registered yet.";
    }
    if (!data) {
        refusal = "data parameter should have value.";
    }
    if (!isEventNameValid(eventName)) {
        refusal = formatted("Eventname '%@' is not valid", eventName);
    }
    return refusal;
}

}  // namespace xel
