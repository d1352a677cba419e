#include "XelPushClient/Classes/Topics/EventRequestRules.h"

#include "XelPushClient/Classes/Topics/NameRules.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

constexpr std::string_view kBlankInstallationId = "registerationId should have value";

}  // namespace

std::optional<std::string> eventSubscribeRefusal(const TopicIdentity& identity, std::string_view eventName,
                                                 const std::optional<std::string>& installationId) {
    std::optional<std::string> refusal;
    if (!identity.appId) {
        refusal = "You are not initilized yet.";
    }
    if (isEmptyOrBlank(installationId)) {
        refusal = kBlankInstallationId;
    }
    if (!isEventNameValid(eventName)) {
        refusal = formatted("Eventname '%@' is not valid.", eventName);
    }
    return refusal;
}

std::optional<std::string> eventUnsubscribeRefusal(const TopicIdentity& identity, std::string_view eventName,
                                                   const std::optional<std::string>& installationId) {
    std::optional<std::string> refusal;
    if (!identity.appId) {
        refusal = "You are not initilized yet ...";
    }
    if (installationId && !identity.deviceId) {
        refusal = "You are not registered yet...";
    }
    if (isEmptyOrBlank(installationId)) {
        refusal = kBlankInstallationId;
    }
    if (!isEventNameValid(eventName)) {
        refusal = formatted("Eventname '%@' is not valid", eventName);
    }
    return refusal;
}

}  // namespace xel
